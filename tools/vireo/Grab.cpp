#include "Grab.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <GenApi/GenApi.h>
#include <Vireo/Vireo.h>

#include "Camera.h"
#include "FeatureCommands.h"
#include "ImageFile.h"
#include "PixelFormatNames.h"
#include "Progress.h"
#include "ToolError.h"

namespace VireoTool {
namespace {

using Clock = std::chrono::steady_clock;

// Raw frames waiting for conversion and encoding hold at most this much memory; beyond it the
// acquisition waits for the writers, and the camera's frames that find no buffer are dropped,
// which the summary reports.
constexpr size_t kQueueBudgetBytes = size_t(512) << 20;

volatile std::sig_atomic_t g_interrupted = 0;
extern "C" void OnInterrupt(int) { g_interrupted = 1; }

// Ctrl-C ends the burst early with the summary of what arrived, instead of killing the process.
class InterruptHandler {
public:
    InterruptHandler() {
        g_interrupted = 0;
        struct sigaction action {};
        action.sa_handler = OnInterrupt;
        sigemptyset(&action.sa_mask);
        ::sigaction(SIGINT, &action, &m_previous);
    }
    InterruptHandler(const InterruptHandler&) = delete;
    InterruptHandler& operator=(const InterruptHandler&) = delete;
    ~InterruptHandler() { ::sigaction(SIGINT, &m_previous, nullptr); }

private:
    struct sigaction m_previous {};
};

struct ImageDeleter {
    void operator()(Vireo::IImage* image) const { OwnedImage release(image); }
};
struct CompressedDeleter {
    void operator()(Vireo::ICompressedImage* image) const {
        try {
            Vireo::ImageFactory::DestroyCompressedImage(image);
        } catch (...) {
        }
    }
};

// Whether a frame matches its CRC chunk (images by their geometry, compressed frames by the
// stream's chunk).
bool FrameMatchesCrc(Vireo::IBuffer* buffer) { return buffer->VerifyCRC(); }

// One delivered frame, copied out of the camera's buffer so that the buffer goes straight back.
struct FrameJob {
    uint64_t frameId = 0;
    std::unique_ptr<Vireo::IImage, ImageDeleter> image;
    std::unique_ptr<Vireo::ICompressedImage, CompressedDeleter> compressed;
};

class FrameQueue {
public:
    explicit FrameQueue(size_t capacity) : m_capacity(std::max<size_t>(capacity, 2)) {}

    void Push(FrameJob job) {
        std::unique_lock lock(m_mutex);
        m_notFull.wait(lock, [&] { return m_jobs.size() < m_capacity; });
        m_jobs.push_back(std::move(job));
        m_notEmpty.notify_one();
    }
    std::optional<FrameJob> Pop() {
        std::unique_lock lock(m_mutex);
        m_notEmpty.wait(lock, [&] { return !m_jobs.empty() || m_closed; });
        if (m_jobs.empty()) return std::nullopt;
        FrameJob job = std::move(m_jobs.front());
        m_jobs.pop_front();
        m_notFull.notify_one();
        return job;
    }
    void Close() {
        std::lock_guard lock(m_mutex);
        m_closed = true;
        m_notEmpty.notify_all();
    }

private:
    std::mutex m_mutex;  // the jobs and the closed flag
    std::condition_variable m_notEmpty, m_notFull;
    std::deque<FrameJob> m_jobs;
    size_t m_capacity;
    bool m_closed = false;
};

// What the writer threads did, for the summary.
class WriteResults {
public:
    void Written() {
        std::lock_guard lock(m_mutex);
        ++m_written;
    }
    void Failed(const std::string& message) {
        std::lock_guard lock(m_mutex);
        ++m_failed;
        if (m_firstError.empty()) m_firstError = message;
    }
    size_t WrittenCount() {
        std::lock_guard lock(m_mutex);
        return m_written;
    }
    size_t FailedCount() {
        std::lock_guard lock(m_mutex);
        return m_failed;
    }
    std::string FirstError() {
        std::lock_guard lock(m_mutex);
        return m_firstError;
    }

private:
    std::mutex m_mutex;  // the counts and the message
    size_t m_written = 0, m_failed = 0;
    std::string m_firstError;
};

std::string FrameFileName(const std::filesystem::path& directory, uint64_t frameId) {
    char name[48];
    std::snprintf(name, sizeof name, "frame_%06llu.png", static_cast<unsigned long long>(frameId));
    return (directory / name).string();
}

void WriteFrames(FrameQueue& queue, const std::filesystem::path& directory, uint64_t target,
                 Vireo::_EBayerAlgorithm algorithm, WriteResults& results) {
    while (std::optional<FrameJob> job = queue.Pop()) {
        try {
            OwnedImage decompressed;
            Vireo::IImage* source = job->image.get();
            if (job->compressed) {
                decompressed = OwnedImage(Vireo::ImageFactory::DecompressImage(job->compressed.get()));
                if (!decompressed) throw ToolError("frame " + std::to_string(job->frameId) + " could not be decompressed");
                source = decompressed.Get();
            }
            OwnedImage converted = ConvertImage(source, target, algorithm);
            WritePng(FrameFileName(directory, job->frameId), converted.Get(), algorithm);
            results.Written();
        } catch (const std::exception& error) {
            results.Failed(OneLine(error.what()));
        }
    }
}

bool HasNode(GenApi::INodeMap& features, const char* name) { return GenApi::IsAvailable(features.GetNode(name)); }

// Long enough for three frame periods at the camera's set rate, and never below two seconds.
uint64_t DefaultTimeoutMs(GenApi::INodeMap& features) {
    uint64_t timeout = 2000;
    try {
        if (GenApi::IsReadable(features.GetNode("AcquisitionFrameRateEnable")) &&
            Vireo::GetNodeValue<bool>(&features, "AcquisitionFrameRateEnable") &&
            GenApi::IsReadable(features.GetNode("AcquisitionFrameRate"))) {
            const double rate = Vireo::GetNodeValue<double>(&features, "AcquisitionFrameRate");
            if (rate > 0) timeout += uint64_t(3000.0 / rate);
        }
    } catch (const GenICam::GenericException&) {
        // The default stands for a camera that describes its rate otherwise.
    }
    return timeout;
}

// Fails before the stream starts when the frames could not be converted, rather than after
// the whole burst: a small blank image of the camera's format takes the same route to a PNG file.
void ProbeConversion(uint64_t cameraFormat, uint64_t target, Vireo::_EBayerAlgorithm algorithm) {
    constexpr size_t kWidth = 8, kHeight = 4;
    const uint64_t bytes = Vireo::ImageFactory::ExpectedLength(kWidth, kHeight, cameraFormat);
    OwnedImage blank;
    try {
        blank = OwnedImage(Vireo::ImageFactory::CreateEmpty(size_t(bytes), kWidth, kHeight, cameraFormat));
    } catch (const GenICam::GenericException&) {
        return;  // a format the factory cannot even hold: the frames will tell
    }
    try {
        OwnedImage converted = ConvertImage(blank.Get(), target, algorithm);
        OwnedImage stored = ToPngStorage(converted.Get(), algorithm);
    } catch (const ToolError& error) {
        throw ToolError(std::string(error.what()) + " (choose another --format, or --set PixelFormat=...)");
    }
}

struct StreamStatistics {
    size_t frames = 0, drops = 0, incomplete = 0, crcFailures = 0, compressed = 0, withoutImage = 0;
    uint64_t bytes = 0;
    std::optional<uint64_t> lastFrameId;
    Clock::time_point started, firstFrame, lastFrame;
    size_t width = 0, height = 0;
    uint64_t deliveredFormat = 0;

    double Seconds() const {
        if (frames >= 2) return std::chrono::duration<double>(lastFrame - firstFrame).count();
        return std::chrono::duration<double>(lastFrame - started).count();
    }
    // Frames after the first over the time since the first: the stream's own rate, without
    // the start-up time.
    double FramesPerSecond() const {
        const double seconds = Seconds();
        if (seconds <= 0) return 0;
        return frames >= 2 ? double(frames - 1) / seconds : double(frames) / seconds;
    }
    double MegabytesPerSecond() const {
        const double seconds = Seconds();
        if (seconds <= 0 || frames == 0) return 0;
        const double perFrame = double(bytes) / double(frames);
        return (frames >= 2 ? perFrame * double(frames - 1) : perFrame) / seconds / 1e6;
    }
};

} // namespace

int Grab(const GrabOptions& options, std::ostream& out, std::ostream& progressOut, bool progressIsTerminal) {
    if (options.count == 0) throw UsageError("--count must be at least 1");
    std::vector<std::pair<std::string, std::string>> settings;
    for (const std::string& setting : options.settings) settings.push_back(ParseAssignment(setting));
    const uint64_t requested = options.format.empty() ? 0 : RequirePixelFormat(options.format);  // 0: by camera

    const std::filesystem::path directory(options.outDir);
    if (!options.noWrite) {
        std::error_code error;
        std::filesystem::create_directories(directory, error);
        if (error || !std::filesystem::is_directory(directory))
            throw ToolError("cannot use " + options.outDir + " as the output directory: " + error.message());
    }

    CameraSystem system;
    OpenCamera camera(system, options.serial);
    GenApi::INodeMap& features = camera.Features();
    for (const auto& [name, value] : settings) SetFeature(camera, name, value);
    if (options.compress) {
        auto* mode = dynamic_cast<GenApi::IEnumeration*>(features.GetNode("ImageCompressionMode"));
        GenApi::IEnumEntry* qoi = mode != nullptr ? mode->GetEntryByName("QOI") : nullptr;
        if (qoi == nullptr || !GenApi::IsAvailable(qoi))
            throw ToolError("camera " + camera.Serial() + " cannot compress its frames (no ImageCompressionMode QOI)");
        SetFeature(camera, "ImageCompressionMode", "QOI");
    }
    if (options.chunks) {
        if (!HasNode(features, "ChunkModeActive") || !HasNode(features, "ChunkSelector"))
            throw ToolError("camera " + camera.Serial() + " sends no chunk data");
        SetFeature(camera, "ChunkModeActive", "true");
        SetFeature(camera, "ChunkSelector", "CRC");
        SetFeature(camera, "ChunkEnable", "true");
    }

    auto* pixelFormat = dynamic_cast<GenApi::IEnumeration*>(features.GetNode("PixelFormat"));
    if (pixelFormat == nullptr || !GenApi::IsReadable(pixelFormat))
        throw ToolError("camera " + camera.Serial() + " has no readable PixelFormat");
    const uint64_t cameraFormat = uint64_t(pixelFormat->GetIntValue());
    uint64_t target = requested;
    if (target == 0) target = IsColourFormat(cameraFormat) ? Vireo::PfncFormat::BGR8 : Vireo::PfncFormat::Mono8;
    ProbeConversion(cameraFormat, target, options.algorithm);
    const uint64_t timeout = options.timeoutMs != 0 ? options.timeoutMs : DefaultTimeoutMs(features);
    size_t frameBytes = 1;
    if (GenApi::IsReadable(features.GetNode("PayloadSize")))
        frameBytes = size_t(std::max<int64_t>(1, Vireo::GetNodeValue<int64_t>(&features, "PayloadSize")));

    FrameQueue queue(kQueueBudgetBytes / frameBytes);
    WriteResults results;
    std::vector<std::thread> writers;
    if (!options.noWrite) {
        const size_t writerCount = std::clamp<size_t>(std::thread::hardware_concurrency(), 1, 4);
        for (size_t index = 0; index < writerCount; ++index)
            writers.emplace_back(WriteFrames, std::ref(queue), std::cref(directory), target, options.algorithm,
                                 std::ref(results));
    }
    // The writers finish the queue however the acquisition ends.
    struct WriterJoin {
        FrameQueue& queue;
        std::vector<std::thread>& writers;
        ~WriterJoin() {
            queue.Close();
            for (std::thread& writer : writers) writer.join();
        }
    } joinWriters{queue, writers};

    StreamStatistics statistics;
    Progress progress(progressOut, options.count, progressIsTerminal);
    InterruptHandler interruptHandler;
    std::string failure;
    Vireo::IDevice& device = camera.Device();
    statistics.started = Clock::now();
    device.StartStream(options.buffers);
    while (statistics.frames < options.count && !g_interrupted) {
        Vireo::IBuffer* buffer = nullptr;
        try {
            buffer = device.GetBuffer(timeout);
        } catch (const GenICam::GenericException& error) {
            failure = "no frame within " + std::to_string(timeout) + " ms: " + OneLine(error.GetDescription());
            break;
        }
        FrameJob job;
        try {
            const Clock::time_point arrived = Clock::now();
            if (statistics.frames == 0) statistics.firstFrame = arrived;
            statistics.lastFrame = arrived;
            ++statistics.frames;
            job.frameId = buffer->GetFrameId();
            if (statistics.lastFrameId && job.frameId > *statistics.lastFrameId + 1)
                statistics.drops += size_t(job.frameId - *statistics.lastFrameId - 1);
            statistics.lastFrameId = job.frameId;
            statistics.bytes += buffer->GetSizeFilled();
            const bool incomplete = buffer->IsIncomplete();
            if (incomplete) ++statistics.incomplete;
            if (options.chunks && !incomplete && !FrameMatchesCrc(buffer)) ++statistics.crcFailures;
            if (Vireo::ICompressedImage* compressed = buffer->AsCompressedImage()) {
                ++statistics.compressed;
                statistics.deliveredFormat = compressed->GetPixelFormat();
                if (!incomplete && !options.noWrite)
                    job.compressed.reset(Vireo::ImageFactory::CopyCompressedImage(compressed));
            } else if (Vireo::IImage* image = buffer->AsImage()) {
                statistics.width = image->GetWidth();
                statistics.height = image->GetHeight();
                statistics.deliveredFormat = image->GetPixelFormat();
                if (!incomplete && !options.noWrite) job.image.reset(Vireo::ImageFactory::Copy(image));
            } else {
                ++statistics.withoutImage;
            }
        } catch (...) {
            device.RequeueBuffer(buffer);
            throw;
        }
        device.RequeueBuffer(buffer);
        if (job.image || job.compressed) queue.Push(std::move(job));
        progress.Update(statistics.frames, statistics.FramesPerSecond());
    }
    device.StopStream();
    progress.Finish(statistics.frames, statistics.FramesPerSecond());
    queue.Close();
    for (std::thread& writer : writers) writer.join();
    writers.clear();

    char line[160];
    out << camera.Serial() << ": " << statistics.frames << " frames";
    if (statistics.width != 0) out << " of " << statistics.width << 'x' << statistics.height;
    if (statistics.deliveredFormat != 0) out << ' ' << Vireo::GetPixelFormatName(statistics.deliveredFormat);
    if (!options.noWrite)
        out << ", written as " << Vireo::GetPixelFormatName(target) << " PNG files to " << options.outDir;
    out << '\n';
    out << "frames      " << statistics.frames << '\n';
    out << "drops       " << statistics.drops << '\n';
    out << "incomplete  " << statistics.incomplete << '\n';
    out << "crc errors  " << (options.chunks ? std::to_string(statistics.crcFailures) : std::string("not checked (--chunks)"))
        << '\n';
    if (options.compress) out << "compressed  " << statistics.compressed << '\n';
    if (!options.noWrite) out << "written     " << results.WrittenCount() << '\n';
    std::snprintf(line, sizeof line, "fps         %.2f\nMB/s        %.2f\n", statistics.FramesPerSecond(),
                  statistics.MegabytesPerSecond());
    out << line;
    out.flush();

    if (!failure.empty())
        throw ToolError("only " + std::to_string(statistics.frames) + " of " + std::to_string(options.count) +
                        " frames arrived; " + failure);
    if (g_interrupted) throw ToolError("interrupted after " + std::to_string(statistics.frames) + " frames");
    if (results.FailedCount() != 0)
        throw ToolError(std::to_string(results.FailedCount()) + " frames not written: " + results.FirstError());
    if (statistics.withoutImage != 0)
        throw ToolError(std::to_string(statistics.withoutImage) + " frames carried no image");
    if (statistics.incomplete != 0 || statistics.crcFailures != 0)
        throw ToolError(std::to_string(statistics.incomplete) + " incomplete frames, " +
                        std::to_string(statistics.crcFailures) + " CRC failures");
    return kExitSuccess;
}

} // namespace VireoTool
