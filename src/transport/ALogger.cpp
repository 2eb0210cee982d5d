#include <Vireo/ALogger.h>

#include <time.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>

#include <GenApi/GenApi.h>
#include <nlohmann/json.hpp>

#include <Vireo/IDevice.h>

namespace Vireo {
namespace {

using nlohmann::json;

constexpr const char* kModule = "vireo";
constexpr const char* kDefaultConfiguration = "pelgo_log.conf";

void Note(std::string& problems, const std::string& problem) {
    if (!problems.empty()) problems += "; ";
    problems += problem;
}

// --- configuration ------------------------------------------------------------------------

// The configuration as a JSON object; an empty object when there is none or it is unusable.
json ReadConfiguration(const std::string& path, std::string& problems) {
    std::ifstream file(path);
    if (!file) {
        std::error_code error;
        // A missing file is the normal, unconfigured case; any other failure is worth a word.
        if (std::filesystem::exists(path, error)) Note(problems, "cannot be read");
        return json::object();
    }
    json configuration = json::parse(file, nullptr, false);
    if (configuration.is_discarded()) {
        Note(problems, "is not valid JSON");
        return json::object();
    }
    if (!configuration.is_object()) {
        Note(problems, "does not hold a JSON object");
        return json::object();
    }
    for (const char* section : {"ports", "levels", "logging"}) {
        const auto found = configuration.find(section);
        if (found != configuration.end() && !found->is_object()) {
            Note(problems, std::string("\"") + section + "\" is not an object");
            configuration.erase(found);
        }
    }
    return configuration;
}

// The setting, or null when the file does not have it.
const json* Setting(const json& configuration, const char* section, const char* key) {
    const auto group = configuration.find(section);
    if (group == configuration.end()) return nullptr;
    const auto value = group->find(key);
    return value == group->end() ? nullptr : &*value;
}

std::string Name(const char* section, const char* key) { return std::string(section) + "." + key; }

uint32_t PortSetting(const json& configuration, const char* key, std::string& problems) {
    const json* value = Setting(configuration, "ports", key);
    if (value == nullptr) return 0;
    if (value->is_number_unsigned() && value->get<uint64_t>() <= std::numeric_limits<uint32_t>::max())
        return static_cast<uint32_t>(value->get<uint64_t>());
    Note(problems, Name("ports", key) + " is not a port number");
    return 0;
}

int ThresholdSetting(const json& configuration, std::string& problems) {
    const json* value = Setting(configuration, "levels", "vireo");
    if (value == nullptr) return PelgoLog::Info;
    if (value->is_number_integer() && value->get<int64_t>() >= std::numeric_limits<int>::min() &&
        value->get<int64_t>() <= std::numeric_limits<int>::max())
        return static_cast<int>(value->get<int64_t>());
    Note(problems, "levels.vireo is not an integer level");
    return PelgoLog::Info;
}

bool FlagSetting(const json& configuration, const char* key, std::string& problems) {
    const json* value = Setting(configuration, "logging", key);
    if (value == nullptr) return false;
    if (value->is_boolean()) return value->get<bool>();
    Note(problems, Name("logging", key) + " is not true or false");
    return false;
}

// --- records as text ----------------------------------------------------------------------

// "20261121_142530"
std::string FileStamp() {
    const time_t now = time(nullptr);
    struct tm local {};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d_%H%M%S", &local);
    return text;
}

// "2026-11-21 14:25:30.042", now.
std::string LineTimeNow() {
    const auto now = std::chrono::system_clock::now();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now - seconds).count();
    const time_t time = std::chrono::system_clock::to_time_t(seconds);
    struct tm local {};
    localtime_r(&time, &local);
    char text[40];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(milliseconds));
    return text;
}

// The record's "2026-11-21T14:25:30.042+01:00" as "2026-11-21 14:25:30.042"; the current time
// for a record that carries no such stamp (one from another program, say).
std::string LineTime(const json& record) {
    const auto stamp = record.find("timestamp");
    if (stamp != record.end() && stamp->is_string()) {
        const std::string& text = stamp->get_ref<const std::string&>();
        const char* const shape = "dddd-dd-ddTdd:dd:dd.ddd";
        bool matches = text.size() >= std::strlen(shape);
        for (size_t index = 0; matches && shape[index] != '\0'; ++index)
            matches = shape[index] == 'd' ? text[index] >= '0' && text[index] <= '9' : text[index] == shape[index];
        if (matches) return text.substr(0, 10) + ' ' + text.substr(11, 12);
    }
    return LineTimeNow();
}

const char* LevelName(int64_t level) {
    if (level <= PelgoLog::Fatal) return "Fatal";
    if (level <= PelgoLog::Error) return "Error";
    if (level <= PelgoLog::Warn) return "Warn";
    if (level <= PelgoLog::Info) return "Info";
    if (level <= PelgoLog::Debug) return "Debug";
    return "Verbose";
}

std::string TextOf(const json& record, const char* key) {
    const auto value = record.find(key);
    if (value == record.end()) return std::string();
    if (value->is_string()) return value->get<std::string>();
    return value->dump(-1, ' ', false, json::error_handler_t::replace);
}

void AppendPadded(std::string& line, const std::string& text, size_t width) {
    line += text;
    if (text.size() < width) line.append(width - text.size(), ' ');
}

// "[ 2026-11-21 14:25:30.042 ] :: [ Info    ] :: [ SN4711    ] ||>  message\n"
std::string TextLine(const std::string& recordText) {
    json record = json::parse(recordText, nullptr, false);
    if (record.is_discarded() || !record.is_object()) {
        // Not a record the service composed; kept, as its bare text.
        record = json{{"message", recordText}};
    }
    const auto level = record.find("level");
    std::string line = "[ " + LineTime(record) + " ] :: [ ";
    AppendPadded(line, level != record.end() && level->is_number_integer() ? LevelName(level->get<int64_t>()) : "", 7);
    line += " ] :: [ ";
    AppendPadded(line, TextOf(record, "userid"), 9);
    line += " ] ||>  ";
    for (const char character : TextOf(record, "message")) {
        if (character == '\n')
            line += "\\n";
        else if (character == '\r')
            line += "\\r";
        else
            line += character;
    }
    line += '\n';
    return line;
}

// Creates directory/base + ext, or directory/base_1 + ext, ... when the name is taken.
std::FILE* CreateUnique(const std::string& directory, const std::string& base, const char* extension,
                        std::string& error) {
    const std::filesystem::path folder = directory.empty() ? std::filesystem::path(".") : std::filesystem::path(directory);
    for (int attempt = 0; attempt < 1000; ++attempt) {
        std::string name = base;
        if (attempt != 0) name += '_' + std::to_string(attempt);
        name += extension;
        const std::filesystem::path path = folder / name;
        if (std::FILE* file = std::fopen(path.c_str(), "wx")) return file;
        if (errno != EEXIST) {
            error = "cannot create " + path.string() + ": " + std::strerror(errno);
            return nullptr;
        }
    }
    error = "cannot create " + (folder / (base + extension)).string() + ": every alternative name is taken";
    return nullptr;
}

GenICam::gcstring SerialNumberOf(IDevice* device) {
    if (device == nullptr) return GenICam::gcstring();
    try {
        GenApi::INodeMap* map = device->GetNodeMap();
        if (map == nullptr) return GenICam::gcstring();
        GenApi::CStringPtr serial = map->GetNode("DeviceSerialNumber");
        if (!GenApi::IsReadable(serial)) return GenICam::gcstring();
        return serial->GetValue();
    } catch (...) {
        // A camera that cannot tell its serial number is logged without one.
        return GenICam::gcstring();
    }
}

} // namespace

ALogger::ALogger() : ALogger(kDefaultConfiguration) {}

ALogger::ALogger(const std::string& configurationPath, const std::string& logDirectory)
    : m_logDirectory(logDirectory) {
    std::string problems;
    const json configuration = ReadConfiguration(configurationPath, problems);

    m_service = PelgoLog::Init();
    try {
        m_inPort = PortSetting(configuration, "vireo_in", problems);
        m_outPort = PortSetting(configuration, "vireo_out", problems);
        m_auxInPort = static_cast<uint16_t>(PortSetting(configuration, "av_in", problems));
        m_threshold = ThresholdSetting(configuration, problems);
        if (m_service != nullptr) {
            // The service is shared by the whole process: without a "ports" section another
            // component's ports are left as they are.
            if (configuration.contains("ports")) m_service->SetPorts(m_inPort, m_outPort, m_auxInPort);
            m_service->RegisterLogCallback(this);
            m_service->RegisterFilterCallback(this);
        }

        const std::string stamp = FileStamp();
        std::string failures;
        const auto start = [&](const char* key, Writer& writer, Output output) {
            if (!FlagSetting(configuration, key, problems)) return;
            const std::string failure = Start(writer, output, stamp);
            if (!failure.empty()) Note(failures, failure);
        };
        start("console", m_console, Output::Console);
        start("file", m_textFile, Output::TextFile);
        start("json", m_jsonFile, Output::JsonFile);

        // Told through the log itself, now that the writers run.
        if (!problems.empty())
            Warn("Logging configuration \"" + configurationPath + "\": " + problems + "; defaults used instead");
        if (!failures.empty()) Warn(failures);
    } catch (...) {
        // Registered callbacks and running writers must not outlive a logger that was never made.
        Shutdown();
        throw;
    }
}

ALogger::~ALogger() { Shutdown(); }

void ALogger::Shutdown() noexcept {
    if (m_service != nullptr) {
        m_service->UnregisterLogCallback(this);
        m_service->UnregisterFilterCallback(this);
    }
    {
        std::lock_guard lock(m_lock);
        for (Writer* writer : {&m_console, &m_textFile, &m_jsonFile}) writer->stop = true;
    }
    for (Writer* writer : {&m_console, &m_textFile, &m_jsonFile}) {
        writer->wake.notify_all();
        if (writer->thread.joinable()) writer->thread.join();
    }
    PelgoLog::Deinit(m_service);
    m_service = nullptr;
}

std::string ALogger::Start(Writer& writer, Output output, const std::string& stamp) {
    std::string error;
    if (output != Output::Console) {
        writer.file = CreateUnique(m_logDirectory, "vireo_" + stamp, output == Output::TextFile ? ".log" : ".log.json", error);
        if (writer.file == nullptr) return error;
    }
    {
        std::lock_guard lock(m_lock);
        writer.stop = false;
    }
    try {
        writer.thread = std::thread(&ALogger::Run, this, std::ref(writer), output);
    } catch (const std::exception& failure) {
        std::lock_guard lock(m_lock);
        writer.stop = true;
        writer.pending.clear();
        if (writer.file != nullptr) std::fclose(writer.file);
        writer.file = nullptr;
        return std::string("cannot start a log writer: ") + failure.what();
    }
    return std::string();
}

void ALogger::Run(Writer& writer, Output output) {
    std::FILE* const out = output == Output::Console ? stdout : writer.file;
    const bool asJson = output == Output::JsonFile;
    bool first = true;
    if (asJson) std::fputs("[\n", out);
    std::deque<std::string> batch;
    for (;;) {
        {
            std::unique_lock lock(m_lock);
            writer.wake.wait(lock, [&] { return !writer.pending.empty() || writer.stop; });
            // Stopping, and everything that was pending has been written.
            if (writer.pending.empty()) break;
            batch.swap(writer.pending);
        }
        for (const std::string& record : batch) {
            if (asJson) {
                std::fputs(first ? "\t" : ",\n\t", out);
                std::fputs(record.c_str(), out);
                first = false;
            } else {
                try {
                    std::fputs(TextLine(record).c_str(), out);
                } catch (...) {
                    // Out of memory for one line: the next records may still fit.
                }
            }
        }
        batch.clear();
        std::fflush(out);
    }
    if (asJson) std::fputs("\n]", out);
    if (output == Output::Console)
        std::fflush(out);
    else
        std::fclose(out);
}

void ALogger::OnLog(const char* record) {
    try {
        std::lock_guard lock(m_lock);
        for (Writer* writer : {&m_console, &m_textFile, &m_jsonFile}) {
            if (writer->stop) continue;
            writer->pending.emplace_back(record);
            writer->wake.notify_one();
        }
    } catch (...) {
        // A record that cannot be queued is lost; logging never fails its caller.
    }
}

bool ALogger::OnFilter(const char*) { return true; }

bool ALogger::OnFilterOut(const char* record) {
    const json parsed = json::parse(record, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object()) return true;
    const auto level = parsed.find("level");
    if (level == parsed.end() || !level->is_number_integer()) return true;
    return level->get<int64_t>() <= m_threshold;
}

void ALogger::Log(int level, const GenICam::gcstring& message, const GenICam::gcstring& userid) {
    // Our own filter would drop the record anyway; this spares composing it.
    if (m_service == nullptr || level > m_threshold) return;
    m_service->Log(kModule, level, userid.c_str(), message.c_str());
}

#define VIREO_ALOGGER_SEVERITY(Name)                                                                   \
    void ALogger::Name(const GenICam::gcstring& message) { Log(PelgoLog::Name, message, GenICam::gcstring()); } \
    void ALogger::Name(const GenICam::gcstring& message, const GenICam::gcstring& userid) {            \
        Log(PelgoLog::Name, message, userid);                                                          \
    }                                                                                                  \
    void ALogger::Name(IDevice* device, const GenICam::gcstring& message) {                            \
        if (m_service == nullptr || PelgoLog::Name > m_threshold) return;                              \
        Log(PelgoLog::Name, message, SerialNumberOf(device));                                          \
    }

VIREO_ALOGGER_SEVERITY(Fatal)
VIREO_ALOGGER_SEVERITY(Error)
VIREO_ALOGGER_SEVERITY(Warn)
VIREO_ALOGGER_SEVERITY(Info)
VIREO_ALOGGER_SEVERITY(Debug)
VIREO_ALOGGER_SEVERITY(Verbose)

#undef VIREO_ALOGGER_SEVERITY

} // namespace Vireo
