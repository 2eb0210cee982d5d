#include <Vireo/ALogger.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>
#include <thread>

#include <GenApi/GenApi.h>
#include <Vireo/IDevice.h>

#include "TestSupport.h"

namespace Vireo {
namespace {

using nlohmann::json;
using PelgoLogTest::Collector;
using PelgoLogTest::TestSocket;
namespace fs = std::filesystem;

// Every record the process-wide service delivers.
class Tap : public Collector {
public:
    Tap() : m_service(PelgoLog::Init()) { m_service->RegisterLogCallback(this); }
    ~Tap() override {
        m_service->UnregisterLogCallback(this);
        PelgoLog::Deinit(m_service);
    }

private:
    PelgoLog::Service* m_service;
};

// A camera that has nothing but a node map, made of the given nodes.
class NodeMapDevice : public IDevice {
public:
    explicit NodeMapDevice(const std::string& nodes = "") {
        if (nodes.empty()) return;
        const std::string text = "<RegisterDescription ModelName=\"Test\" VendorName=\"Vireo\" "
                                 "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">" + nodes + "</RegisterDescription>";
        m_map = GenApi::CNodeMapFactory(GenApi::ContentType_Xml, text.data(), text.size()).CreateNodeMap();
    }
    ~NodeMapDevice() override {
        if (m_map != nullptr) dynamic_cast<GenApi::IDestroy*>(m_map)->Destroy();
    }
    GenApi::INodeMap* GetNodeMap() override { return m_map; }

    bool IsConnected() override { return true; }
    void StartStream(size_t) override {}
    void StopStream() override {}
    IImage* GetImage(uint64_t) override { return nullptr; }
    ICompressedImage* GetCompressedImage(uint64_t) override { return nullptr; }
    IBuffer* GetBuffer(uint64_t) override { return nullptr; }
    void RequeueBuffer(IBuffer*) override {}
    void WaitForNextLeader(uint64_t) override {}
    void ResetWaitForNextLeader() override {}
    void InitializeEvents() override {}
    void DeinitializeEvents() override {}
    void WaitOnEvent(uint64_t) override {}
    GenApi::INodeMap* GetTLDeviceNodeMap() override { return nullptr; }
    GenApi::INodeMap* GetTLStreamNodeMap() override { return nullptr; }
    GenApi::INodeMap* GetTLInterfaceNodeMap() override { return nullptr; }
    void SendActionCommand(uint32_t, uint32_t, uint32_t, uint64_t) override {}
    void RegisterImageCallback(IImageCallback*) override {}
    void DeregisterImageCallback(IImageCallback*) override {}
    void DeregisterAllImageCallbacks() override {}
    EvsTriggerEvent GetNextEvsTriggerEvent(uint64_t) override { return {}; }
    void DownloadXml() override {}

private:
    GenApi::INodeMap* m_map = nullptr;
};

// Runs each test in a fresh working directory, where the logger finds its configuration and
// leaves its files.
class LoggerTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_previous = fs::current_path();
        std::string pattern = (fs::temp_directory_path() / "vireo_logger_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        m_directory = pattern;
        fs::current_path(m_directory);
    }
    void TearDown() override {
        fs::current_path(m_previous);
        fs::remove_all(m_directory);
    }

    static void Configure(const std::string& text) { std::ofstream("pelgo_log.conf") << text; }

    static std::vector<std::string> LogFiles(const fs::path& directory = ".") {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(directory))
            if (entry.path().filename().string().rfind("vireo_", 0) == 0) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }
    // The text of the one log file with this extension.
    static std::string Contents(const std::string& extension) {
        const auto names = LogFiles();
        const auto found = std::find_if(names.begin(), names.end(),
                                        [&](const std::string& name) { return name.substr(name.find('.')) == extension; });
        EXPECT_NE(found, names.end()) << "no file ends in " << extension;
        if (found == names.end()) return "";
        std::ostringstream text;
        text << std::ifstream(*found).rdbuf();
        return text.str();
    }
    static std::vector<std::string> Lines(const std::string& text) {
        std::vector<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) lines.push_back(line);
        return lines;
    }

private:
    fs::path m_previous, m_directory;
};

// --- configuration ------------------------------------------------------------------------

TEST_F(LoggerTest, WithoutAConfigurationOnlyTheServiceHearsInfoAndAbove) {
    Tap tap;
    testing::internal::CaptureStdout();
    {
        ALogger logger;
        EXPECT_EQ(logger.Threshold(), 400);
        EXPECT_EQ(logger.InPort() + logger.OutPort() + logger.AuxInPort(), 0u);
        logger.Info("kept");
        logger.Debug("dropped");
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(tap.Field("message"), std::vector<std::string>{"kept"});
    EXPECT_TRUE(LogFiles().empty());
}

TEST_F(LoggerTest, UnusableSettingsKeepTheirDefaultsAndAreReportedOnce) {
    const std::map<std::string, std::vector<std::string>> cases = {
        {R"({ "logging": { "file": true )", {"not valid JSON"}},
        {R"([ {"logging": {"file": true}} ])", {"not hold a JSON object"}},
        {R"({"ports": 5, "levels": [500], "logging": true})", {"\"ports\"", "\"levels\"", "\"logging\""}},
        {R"({"ports": {"vireo_in": "5000", "vireo_out": -1, "av_in": 1.5}, "levels": {"vireo": "debug"},
             "logging": {"console": "yes", "file": 1, "json": null}})",
         {"ports.vireo_in", "ports.vireo_out", "ports.av_in", "levels.vireo", "logging.console", "logging.file",
          "logging.json"}}};
    for (const auto& [text, named] : cases) {
        SCOPED_TRACE(text);
        Configure(text);
        Tap tap;
        testing::internal::CaptureStdout();
        {
            ALogger logger;
            EXPECT_EQ(logger.Threshold(), 400);
            EXPECT_EQ(logger.InPort() + logger.OutPort() + logger.AuxInPort(), 0u);
        }
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_TRUE(LogFiles().empty());
        ASSERT_EQ(tap.Records().size(), 1u);
        EXPECT_EQ(tap.Records()[0]["level"], PelgoLog::Warn);
        const std::string warning = tap.Field("message")[0];
        EXPECT_NE(warning.find("pelgo_log.conf"), std::string::npos) << warning;
        for (const std::string& name : named) EXPECT_NE(warning.find(name), std::string::npos) << warning;
    }
}

TEST_F(LoggerTest, PortsAndThresholdComeFromTheFile) {
    const uint16_t in = PelgoLogTest::FreePort(), aux = PelgoLogTest::FreePort();
    TestSocket viewer, other;
    Configure(json{{"ports", {{"vireo_in", in}, {"vireo_out", viewer.port}, {"av_in", 65536 * 2 + aux}}},
                   {"levels", {{"vireo", 500}}},
                   {"logging", {{"file", true}}}}
                  .dump());
    {
        ALogger logger;
        Tap tap;  // after the logger: a record the tap has seen is queued for writing
        EXPECT_EQ(logger.Threshold(), 500);
        EXPECT_EQ(logger.InPort(), in);
        EXPECT_EQ(logger.OutPort(), viewer.port);
        EXPECT_EQ(logger.AuxInPort(), aux);  // the low 16 bits
        ASSERT_EQ(logger.GetService()->LastPortError(), "");
        other.SendTo(in, R"({"level":600,"message":"too verbose"})");
        other.SendTo(in, R"({"level":500,"message":"from the in port"})");
        ASSERT_TRUE(tap.WaitFor(1));
        other.SendTo(aux, R"({"level":200,"userid":"cam7","message":"from the aux port"})");
        ASSERT_TRUE(tap.WaitFor(2));
        logger.Debug("local debug");
        logger.Verbose("local verbose");
        EXPECT_EQ(json::parse(viewer.Receive())["message"], "local debug");
    }
    const auto lines = Lines(Contents(".log"));
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_NE(lines[0].find(":: [ Debug   ] :: [           ] ||>  from the in port"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find(":: [ Error   ] :: [ cam7      ] ||>  from the aux port"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("||>  local debug"), std::string::npos) << lines[2];
}

// --- filtering ----------------------------------------------------------------------------

TEST_F(LoggerTest, AThresholdOfWarnKeepsFatalErrorAndWarn) {
    Configure(R"({"levels": {"vireo": 300}, "logging": {"file": true}})");
    {
        ALogger logger;
        logger.Fatal("fatal");
        logger.Error("error", "u");
        logger.Warn("warn");
        logger.Info("info");
        logger.Debug("debug", "u");
        logger.Verbose("verbose");
        logger.Log(301, "just above", "");
        logger.Log(250, "in between", "");
        // Records the filter cannot judge pass.
        EXPECT_TRUE(logger.OnFilter("anything"));
        EXPECT_FALSE(logger.OnFilterOut(R"({"level":99999999999})"));
        for (const char* unreadable : {"", "not json", "[300]", "{}", R"({"level":"300"})", R"({"level":2.5})"})
            EXPECT_TRUE(logger.OnFilterOut(unreadable)) << unreadable;
    }
    const auto lines = Lines(Contents(".log"));
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_NE(lines[0].find("[ Fatal   ] :: [           ] ||>  fatal"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("[ Error   ] :: [ u         ] ||>  error"), std::string::npos) << lines[1];
    EXPECT_NE(lines[2].find("[ Warn    ] :: [           ] ||>  warn"), std::string::npos) << lines[2];
    EXPECT_NE(lines[3].find("[ Warn    ] :: [           ] ||>  in between"), std::string::npos) << lines[3];
}

// --- writers ------------------------------------------------------------------------------

TEST_F(LoggerTest, TextLinesHaveAFixedLayoutWithTheRecordsTime) {
    Configure(R"({"logging": {"console": true, "file": true}})");
    Tap tap;
    testing::internal::CaptureStdout();
    {
        ALogger logger;
        logger.Info("hello world", "SN4711");
        logger.Error("two\nlines\r");
        logger.Warn("long id", "a-user-id-longer-than-nine");
    }
    const std::string console = testing::internal::GetCapturedStdout();
    const std::string text = Contents(".log");
    EXPECT_EQ(console, text);
    const auto lines = Lines(text);
    ASSERT_EQ(lines.size(), 3u);
    std::smatch match;
    ASSERT_TRUE(std::regex_match(lines[0], match, std::regex(R"(\[ (\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}) \] :: )"
                                                             R"(\[ Info    \] :: \[ SN4711    \] \|\|>  hello world)")))
        << lines[0];
    std::string stamp = tap.Records()[0]["timestamp"];
    stamp[10] = ' ';
    EXPECT_EQ(match[1].str(), stamp.substr(0, 23));
    EXPECT_EQ(lines[1].substr(25), " ] :: [ Error   ] :: [           ] ||>  two\\nlines\\r");
    EXPECT_EQ(lines[2].substr(25), " ] :: [ Warn    ] :: [ a-user-id-longer-than-nine ] ||>  long id");
}

TEST_F(LoggerTest, TheJsonFileIsOneArrayOfTheRecordsInOrder) {
    Configure(R"({"logging": {"json": true}})");
    Tap tap;
    {
        ALogger logger;
        for (const char* index : {"0", "1", "2", "3", "4"}) logger.Warn(std::string("record ") + index, index);
    }
    const std::string text = Contents(".log.json");
    EXPECT_EQ(text.substr(0, 4), "[\n\t{");
    EXPECT_EQ(text.substr(text.size() - 3), "}\n]");
    EXPECT_EQ(Lines(text).size(), 7u);  // brackets and one record per line
    EXPECT_EQ(json::parse(text), json(tap.Records()));

    // A run in which nothing passes still leaves a valid, empty array.
    fs::remove_all(LogFiles()[0]);
    Configure(R"({"levels": {"vireo": 100}, "logging": {"json": true}})");
    ALogger(std::string("pelgo_log.conf")).Info("filtered out");
    EXPECT_EQ(Contents(".log.json"), "[\n\n]");
    EXPECT_EQ(json::parse(Contents(".log.json")), json::array());
}

TEST_F(LoggerTest, FileNamesCarryTheStartTimeAndNeverOverwrite) {
    Configure(R"({"logging": {"file": true, "json": true}})");
    fs::create_directory("logs");
    {
        ALogger first("pelgo_log.conf", "logs");
        ALogger second("pelgo_log.conf", "logs");
        first.Info("both hear this");  // the service is shared
    }
    EXPECT_TRUE(LogFiles().empty());
    const auto names = LogFiles("logs");
    ASSERT_EQ(names.size(), 4u);
    for (const std::string& name : names) {
        EXPECT_TRUE(std::regex_match(name, std::regex(R"(vireo_\d{8}_\d{6}(_1)?\.log(\.json)?)"))) << name;
        std::ostringstream text;
        text << std::ifstream(fs::path("logs") / name).rdbuf();
        EXPECT_NE(text.str().find("both hear this"), std::string::npos) << name;
    }
}

// --- devices and threads ------------------------------------------------------------------

TEST_F(LoggerTest, DeviceRecordsCarryTheSerialNumberOrNothing) {
    NodeMapDevice camera(R"(<String Name="DeviceSerialNumber"><Value>SN4711</Value></String>)");
    NodeMapDevice unnamed(R"(<String Name="DeviceModelName"><Value>Model</Value></String>)");
    NodeMapDevice numbered(R"(<Integer Name="DeviceSerialNumber"><Value>4711</Value></Integer>)");
    NodeMapDevice unreadable(R"(<Port Name="Device"/><StringReg Name="DeviceSerialNumber"><Address>0</Address>
        <Length>16</Length><AccessMode>RO</AccessMode><pPort>Device</pPort></StringReg>)");  // no port connected
    NodeMapDevice mapless;
    Tap tap;
    ALogger logger;
    logger.Info(&camera, "a");
    logger.Fatal(&camera, "b");
    logger.Error(&unnamed, "c");
    logger.Warn(&numbered, "d");
    logger.Info(&unreadable, "e");
    logger.Info(&mapless, "f");
    logger.Info(static_cast<IDevice*>(nullptr), "g");
    logger.Debug(&camera, "below the threshold");
    EXPECT_EQ(tap.Field("userid"), (std::vector<std::string>{"SN4711", "SN4711", "", "", "", "", ""}));
    EXPECT_EQ(tap.Field("message"), (std::vector<std::string>{"a", "b", "c", "d", "e", "f", "g"}));
}

TEST_F(LoggerTest, ManyThreadsLoggingAtOnceLoseNoRecord) {
    Configure(R"({"levels": {"vireo": 600}, "logging": {"console": true, "file": true, "json": true}})");
    constexpr int kThreads = 4, kEach = 300;
    NodeMapDevice camera(R"(<String Name="DeviceSerialNumber"><Value>SN1</Value></String>)");
    testing::internal::CaptureStdout();
    {
        ALogger logger;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (int index = 0; index < kEach; ++index) {
                    const std::string message = std::to_string(thread) + " " + std::to_string(index);
                    if (index % 3 == 0) logger.Verbose(message, "u");
                    if (index % 3 == 1) logger.Info(message);
                    if (index % 3 == 2) logger.Debug(&camera, message);
                }
            });
        }
        for (auto& thread : threads) thread.join();
    }
    const size_t total = kThreads * kEach;
    EXPECT_EQ(Lines(testing::internal::GetCapturedStdout()).size(), total);
    EXPECT_EQ(Lines(Contents(".log")).size(), total);
    const json array = json::parse(Contents(".log.json"));
    ASSERT_EQ(array.size(), total);
    std::map<int, int> next;  // each thread's records keep their order
    for (const json& record : array) {
        std::istringstream message(record["message"].get<std::string>());
        int thread = 0, index = 0;
        message >> thread >> index;
        EXPECT_EQ(index, next[thread]++) << record;
    }
}

} // namespace
} // namespace Vireo
