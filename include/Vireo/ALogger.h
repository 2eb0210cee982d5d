// The SDK's log: severity calls that feed the process-wide PelgoLog service under the module
// name "vireo", a level filter, and writers that put the passing records on the console and
// into log files.
//
// Configuration: a JSON file, "pelgo_log.conf" in the working directory unless another path
// is given, e.g.
//   { "ports":   { "vireo_in": 0, "vireo_out": 0, "av_in": 0 },
//     "levels":  { "vireo": 400 },
//     "logging": { "console": false, "file": false, "json": false } }
// Every setting missing from the file, of the wrong type, or out of range keeps its default:
// ports 0 (off), threshold 400 (Info), every writer off; so the SDK is silent unless
// configured. Ports are integers 0..4294967295 (the service refuses those above 65535 and
// reports them through LastPortError); "av_in" is truncated to its low 16 bits. The service
// is shared by the whole process, so a file without a "ports" section leaves its ports as
// they are rather than turning off ports another component has set. A missing
// file is normal; a file that cannot be read or parsed, or holds settings of the wrong type,
// is reported once through the log itself, at Warn level, after the writers have started.
//
// Writers, each on a thread of its own, started when its "logging" flag is true:
//   console  one text line per record on standard output, flushed;
//   file     one text line per record in "vireo_<stamp>.log";
//   json     "vireo_<stamp>.log.json": one JSON array of the records, one per line, each
//            indented by a tab (an empty run gives "[\n\n]").
// <stamp> is the local time the logger was made, "YYYYMMDD_HHMMSS" (20261121_142530); should
// the name exist already, "_1", "_2", ... is added before the extension. The files go to the
// working directory unless another directory is given. A text line reads
//   [ 2026-11-21 14:25:30.042 ] :: [ Info    ] :: [ SN4711    ] ||>  message
// with the record's own time stamp, the level name padded to 7 and the user id to 9. Levels
// between the named ones take the name of the next more verbose one (250 is Warn); below
// Fatal reads Fatal, above Verbose Verbose. Line breaks in a message are written as \n and
// \r so that a record stays one line. On destruction every writer writes what is pending
// before it stops: nothing that passed is lost.
//
// Filtering: a record passes when its "level" is at most the threshold (higher is more
// verbose). Records without a readable integer level pass: the filter does not hide what it
// cannot judge. Since the service is shared, the threshold applies to every record of the
// process, including those arriving on the input ports.
//
// Every member may be called from any thread; logging never throws.
#ifndef VIREO_ALOGGER_H
#define VIREO_ALOGGER_H

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include <Base/GCString.h>
#include <PelgoLog/PelgoLog.h>
#include <Vireo/Config.h>

namespace Vireo {

class IDevice;

class VIREO_API ALogger : public PelgoLog::ILogCallback, public PelgoLog::IFilterCallback {
public:
    // Reads "pelgo_log.conf" from the working directory and writes log files there.
    ALogger();
    // Reads the configuration at configurationPath and writes log files into logDirectory
    // (the working directory when empty).
    explicit ALogger(const std::string& configurationPath, const std::string& logDirectory = std::string());
    ALogger(const ALogger&) = delete;
    ALogger& operator=(const ALogger&) = delete;
    // Unregisters, lets the writers drain and stop, and gives the service back.
    ~ALogger() override;

    // Each severity three ways: with an empty user id, with the given one, or with the
    // serial number of the device ("DeviceSerialNumber" of its node map; empty when the
    // device or the node is missing or unreadable).
    void Fatal(const GenICam::gcstring& message);
    void Fatal(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Fatal(IDevice* device, const GenICam::gcstring& message);
    void Error(const GenICam::gcstring& message);
    void Error(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Error(IDevice* device, const GenICam::gcstring& message);
    void Warn(const GenICam::gcstring& message);
    void Warn(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Warn(IDevice* device, const GenICam::gcstring& message);
    void Info(const GenICam::gcstring& message);
    void Info(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Info(IDevice* device, const GenICam::gcstring& message);
    void Debug(const GenICam::gcstring& message);
    void Debug(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Debug(IDevice* device, const GenICam::gcstring& message);
    void Verbose(const GenICam::gcstring& message);
    void Verbose(const GenICam::gcstring& message, const GenICam::gcstring& userid);
    void Verbose(IDevice* device, const GenICam::gcstring& message);
    // Any level (PelgoLog::Level or in between).
    void Log(int level, const GenICam::gcstring& message, const GenICam::gcstring& userid);

    // The settings in effect.
    int Threshold() const { return m_threshold; }
    uint32_t InPort() const { return m_inPort; }
    uint32_t OutPort() const { return m_outPort; }
    uint16_t AuxInPort() const { return m_auxInPort; }
    // The service this logger feeds (null only when it could not be created).
    PelgoLog::Service* GetService() const { return m_service; }

    // Callbacks of the service.
    void OnLog(const char* record) override;
    bool OnFilter(const char* record) override;
    bool OnFilterOut(const char* record) override;

private:
    enum class Output { Console, TextFile, JsonFile };
    struct Writer {
        std::condition_variable wake;
        std::deque<std::string> pending;  // guarded by m_lock
        bool stop = true;                 // guarded by m_lock; false while the writer runs
        std::thread thread;
        std::FILE* file = nullptr;        // the writer thread's own once it runs
    };

    // Opens the writer's file when it has one and starts its thread; the reason when it
    // cannot ("" on success).
    std::string Start(Writer& writer, Output output, const std::string& stamp);
    // Unregisters, drains and stops the writers, and gives the service back.
    void Shutdown() noexcept;
    void Run(Writer& writer, Output output);
    Writer& WriterOf(Output output);

    std::string m_logDirectory;
    int m_threshold = PelgoLog::Info;
    uint32_t m_inPort = 0;       // "vireo_in"
    uint32_t m_outPort = 0;      // "vireo_out"
    uint16_t m_auxInPort = 0;    // "av_in"
    PelgoLog::Service* m_service = nullptr;

    std::mutex m_lock;
    Writer m_console;
    Writer m_textFile;
    Writer m_jsonFile;
};

} // namespace Vireo

#endif
