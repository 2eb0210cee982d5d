// Aravis, a GigE Vision host written by others, judges the device server: it must find the
// served cameras, drive their features, and receive their frames byte for byte as the same
// camera built in-process draws them, through packet loss and in multi-part blocks.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <thread>

#include "AravisClient.h"
#include "ServerProcess.h"
#include "camera/Catalogue.h"

namespace {

using namespace GvCameraTest;
using namespace std::chrono_literals;

#define SKIP_WITHOUT_CAMERA_NETWORK()                                                      \
    if (!ServerProcess::Available()) GTEST_SKIP() << "needs the namespaces of CameraNetwork.sh"

VirtualGenTL::CatalogueEntry CatalogueEntry(const std::string& serial) {
    for (VirtualGenTL::CatalogueEntry& entry : VirtualGenTL::DefaultCatalogue())
        if (entry.identity.serialNumber == serial) return entry;
    throw std::invalid_argument("no camera " + serial);
}

std::string Lowercase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

std::string MacText(std::uint64_t mac) {
    char text[18];
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", unsigned(mac >> 40) & 0xFF,
                  unsigned(mac >> 32) & 0xFF, unsigned(mac >> 24) & 0xFF, unsigned(mac >> 16) & 0xFF,
                  unsigned(mac >> 8) & 0xFF, unsigned(mac) & 0xFF);
    return text;
}

std::string CommandOutput(const std::string& command) {
    std::string output;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char chunk[4096];
        while (std::size_t size = std::fread(chunk, 1, sizeof chunk, pipe)) output.append(chunk, size);
        ::pclose(pipe);
    }
    return output;
}

// The served camera built again in-process. A block of a served camera carries the frame its
// camera drew with the block's number as frame id (one frame per block, both counted from 1),
// so the in-process camera's frame with the same id, under the same settings, is the exact
// expected content.
class ExpectedCamera {
public:
    explicit ExpectedCamera(const std::string& serial)
        : m_entry(CatalogueEntry(serial)), m_camera(m_entry.model, m_entry.identity) {}

    void Set(const std::string& feature, std::int64_t value, std::uint32_t index = 0) {
        m_camera.Registers().SetInteger(feature, value, index);
    }
    void SetFloat(const std::string& feature, double value) { m_camera.Registers().SetFloat(feature, value); }
    void SetFormat(const std::string& name) { Set("PixelFormat", FormatCode(name)); }
    std::uint32_t FormatCode(const std::string& name) const {
        for (const VirtualGenTL::PixelFormatChoice& format : m_entry.model.pixelFormats)
            if (format.name == name) return format.code;
        throw std::invalid_argument("no pixel format " + name);
    }
    bool Offers(const std::string& format) const {
        const auto& formats = m_entry.model.pixelFormats;
        return std::any_of(formats.begin(), formats.end(), [&](const auto& choice) { return choice.name == format; });
    }
    const VirtualGenTL::CameraModel& Model() const { return m_entry.model; }
    std::size_t PayloadSize() const { return m_camera.PayloadSize(); }
    const VirtualGenTL::FrameInfo& Info() const { return m_info; }  // of the last frame drawn

    // Frame `id` under the current settings; the frames before it are drawn and dropped, as
    // the served camera drew them for blocks Aravis did not keep. Empty when `id` is behind.
    std::vector<std::uint8_t> Frame(std::uint64_t id) {
        if (id < m_produced || id - m_produced > 10'000'000) return {};
        while (m_produced < id) {
            m_frame.assign(m_camera.PayloadSize(), 0);
            const VirtualGenTL::FrameInfo info = m_camera.Produce(m_frame.data(), m_frame.size());
            m_produced = info.frameId;
            m_info = info;
            m_frame.resize(info.sizeFilled);
        }
        return m_frame;
    }

private:
    VirtualGenTL::CatalogueEntry m_entry;
    VirtualGenTL::VirtualCamera m_camera;
    std::uint64_t m_produced = 0;
    std::vector<std::uint8_t> m_frame;
    VirtualGenTL::FrameInfo m_info;
};

// Aravis' counters once they stop moving: the block in flight when acquisition stopped is
// still being completed (and resent) for a moment.
AravisStreamStatistics SettledStatistics(const AravisStream& stream) {
    AravisStreamStatistics last = stream.Statistics();
    for (int attempt = 0; attempt < 30; ++attempt) {
        std::this_thread::sleep_for(100ms);
        AravisStreamStatistics now = stream.Statistics();
        if (now.counters == last.counters) return now;
        last = now;
    }
    return last;
}

TEST(AravisInterop, DiscoveryFindsEveryServedCamera) {
    SKIP_WITHOUT_CAMERA_NETWORK();
    const std::vector<std::pair<std::string, std::string>> served = {{"VC2448C-0001", "10.42.0.11"},
                                                                     {"VM1280M-0001", "10.42.0.12"},
                                                                     {"VL4096L-0001", "10.42.0.13"},
                                                                     {"VX2048S-0001", "10.42.0.14"}};
    std::vector<std::string> arguments;
    for (const auto& [serial, address] : served) arguments.insert(arguments.end(), {"--camera", serial + "@" + address});
    ServerProcess server(arguments);

    const std::vector<AravisDeviceInfo> devices = AravisDiscoverDevices();
    const std::string tool = CommandOutput("timeout 30 arv-tool-0.8 2>&1");
    for (const auto& [serial, address] : served) {
        SCOPED_TRACE(serial);
        const VirtualGenTL::CatalogueEntry entry = CatalogueEntry(serial);
        const auto isIt = [&](const AravisDeviceInfo& device) { return device.serialNumber == serial; };
        ASSERT_EQ(std::count_if(devices.begin(), devices.end(), isIt), 1);
        const AravisDeviceInfo& device = *std::find_if(devices.begin(), devices.end(), isIt);
        EXPECT_EQ(device.protocol, "GigEVision");
        EXPECT_EQ(device.vendor, entry.model.vendorName);
        EXPECT_EQ(device.model, entry.model.modelName);
        EXPECT_EQ(Lowercase(device.physicalId), MacText(entry.identity.macAddress));
        EXPECT_EQ(device.address, address);
        const std::string line = entry.model.vendorName + "-" + entry.model.modelName + "-" + serial + " (" + address + ")";
        EXPECT_NE(tool.find(line), std::string::npos) << "arv-tool-0.8 printed:\n" << tool;
    }
}

TEST(AravisInterop, FeaturesWrittenThroughAravisShowInFrames) {
    SKIP_WITHOUT_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VM1280M-0001@10.42.0.11"});
    AravisCamera camera("10.42.0.11");
    ExpectedCamera expected("VM1280M-0001");

    camera.SetInteger("Width", 320);
    camera.SetInteger("Height", 240);
    camera.SetString("PixelFormat", "Mono12");
    camera.SetFloat("ExposureTime", 2500.0);
    EXPECT_EQ(camera.GetInteger("Width"), 320);
    EXPECT_EQ(camera.GetInteger("Height"), 240);
    EXPECT_EQ(camera.GetString("PixelFormat"), "Mono12");
    EXPECT_DOUBLE_EQ(camera.GetFloat("ExposureTime"), 2500.0);
    // The exposure comes back in every frame's chunk data, next to the CRC chunk that chunk
    // mode enables by default.
    camera.SetBoolean("ChunkModeActive", true);
    camera.SetString("ChunkSelector", "ExposureTime");
    camera.SetBoolean("ChunkEnable", true);
    EXPECT_TRUE(camera.GetBoolean("ChunkEnable"));
    expected.Set("Width", 320);
    expected.Set("Height", 240);
    expected.SetFormat("Mono12");
    expected.Set("ChunkModeActive", 1);
    expected.Set("ChunkEnable", 1, 2);  // ChunkSelector ExposureTime
    expected.SetFloat("ExposureTime", 2500.0);
    EXPECT_EQ(camera.PayloadSize(), expected.PayloadSize());

    GObjectPtr<ArvChunkParser> parser(arv_camera_create_chunk_parser(camera.get()));
    ASSERT_TRUE(parser);
    std::vector<double> exposures;
    const auto collect = [&](ArvBuffer* buffer, GrabbedBuffer&) {
        EXPECT_TRUE(arv_buffer_has_chunks(buffer));
        GError* error = nullptr;
        exposures.push_back(arv_chunk_parser_get_float_value(parser.get(), buffer, "ChunkExposureTime", &error));
        if (error != nullptr) {
            ADD_FAILURE() << "ChunkExposureTime: " << error->message;
            g_error_free(error);
        }
    };

    // The device clock, latched around the first frames, brackets their timestamps.
    const auto deviceTime = [&] {
        camera.Execute("GevTimestampControlLatch");
        const auto ticks = std::uint64_t(camera.GetInteger("GevTimestampValue"));
        const auto frequency = std::uint64_t(camera.GetInteger("GevTimestampTickFrequency"));
        return ticks / frequency * 1'000'000'000 + ticks % frequency * 1'000'000'000 / frequency;
    };
    AravisStream stream(camera);
    stream.PushBuffers(8);
    const std::uint64_t started = deviceTime();
    camera.StartAcquisition();
    const std::vector<GrabbedBuffer> before = stream.Grab(5, 2s, collect);
    const std::uint64_t grabbed = deviceTime();
    camera.SetFloat("ExposureTime", 4000.0);
    const std::size_t changedAt = exposures.size();
    const std::vector<GrabbedBuffer> after = stream.Grab(40, 2s, collect);
    camera.StopAcquisition();

    ASSERT_EQ(before.size(), 5u);
    ASSERT_EQ(after.size(), 40u);
    for (const GrabbedBuffer& buffer : before) {
        EXPECT_EQ(buffer.status, ARV_BUFFER_STATUS_SUCCESS);
        EXPECT_EQ(buffer.width, 320);
        EXPECT_EQ(buffer.height, 240);
        EXPECT_EQ(buffer.pixelFormat, expected.FormatCode("Mono12"));
        EXPECT_EQ(buffer.payloadType, ARV_BUFFER_PAYLOAD_TYPE_IMAGE);
        EXPECT_GE(buffer.timestampNs, started);
        EXPECT_LE(buffer.timestampNs, grabbed);
        EXPECT_TRUE(buffer.data == expected.Frame(buffer.frameId)) << "frame " << buffer.frameId;
    }
    for (std::size_t index = 0; index < changedAt; ++index) EXPECT_DOUBLE_EQ(exposures[index], 2500.0) << index;
    // Frames already drawn when the write arrived keep the old value; once the new one shows,
    // it stays.
    const auto first = std::find(exposures.begin() + long(changedAt), exposures.end(), 4000.0);
    ASSERT_NE(first, exposures.end()) << "the new ExposureTime never reached a frame";
    for (auto value = exposures.begin() + long(changedAt); value != exposures.end(); ++value)
        EXPECT_EQ(*value, value < first ? 2500.0 : 4000.0) << value - exposures.begin();
}

// Every pixel format the colour and the mono camera offer (8-bit, unpacked and packed
// 10/12/16-bit, Bayer, RGB/BGR(a), YCbCr), then QOI-compressed frames, each as Aravis receives
// it, the whole buffer against the frame the in-process camera draws.
TEST(AravisInterop, EveryPixelFormatArrivesIntact) {
    SKIP_WITHOUT_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VC2448C-0001@10.42.0.11", "--camera", "VM1280M-0001@10.42.0.12"});
    for (const auto& [serial, address] : {std::pair{"VC2448C-0001", "10.42.0.11"}, {"VM1280M-0001", "10.42.0.12"}}) {
        SCOPED_TRACE(serial);
        AravisCamera camera(address);
        ExpectedCamera expected(serial);
        // A small region, one frame per software trigger: every frame the camera draws is one
        // Aravis waits for, so block n is frame n on both sides and none may go missing.
        // Aravis' plain socket hands each block over at once (its packet ring holds small ones
        // for milliseconds); the other tests use the ring.
        camera.UsePlainStreamSocket();
        for (auto [feature, value] : {std::pair{"Width", 64}, {"Height", 32}}) {
            camera.SetInteger(feature, value);
            expected.Set(feature, value);
        }
        camera.SetString("TriggerMode", "On");
        camera.SetString("TriggerSource", "Software");
        std::uint64_t lastId = 0;
        const auto grabAndCompare = [&](const std::string& what, int frames) {
            SCOPED_TRACE(what);
            ASSERT_EQ(camera.PayloadSize(), expected.PayloadSize());
            AravisStream stream(camera);
            stream.PushBuffers(4);
            camera.StartAcquisition();
            int arrived = 0, differing = 0;
            for (; arrived < frames; ++arrived) {
                camera.Execute("TriggerSoftware");
                const std::vector<GrabbedBuffer> one = stream.Grab(1, 2s);
                if (one.empty()) break;
                const GrabbedBuffer& buffer = one.front();
                EXPECT_EQ(buffer.frameId, lastId + 1);
                lastId = buffer.frameId;
                const std::vector<std::uint8_t> frame = expected.Frame(buffer.frameId);
                const bool same = buffer.status == ARV_BUFFER_STATUS_SUCCESS && !frame.empty() && buffer.width == 64 &&
                                  buffer.height == 32 && buffer.pixelFormat == expected.Info().pixelFormat &&
                                  buffer.data == frame;
                if (!same && ++differing <= 3) ADD_FAILURE() << "frame " << buffer.frameId << " differs";
            }
            camera.StopAcquisition();
            EXPECT_EQ(arrived, frames);
            EXPECT_EQ(differing, 0);
        };
        for (const VirtualGenTL::PixelFormatChoice& format : expected.Model().pixelFormats) {
            camera.SetString("PixelFormat", format.name);
            expected.SetFormat(format.name);
            grabAndCompare(format.name, 300);
        }
        // Compressed frames go with the device-specific payload type 0x8001; Aravis 0.8 takes
        // them as images and delivers the QOI stream as it came, with the leader's size and
        // compressed pixel format.
        camera.SetString("ImageCompressionMode", "QOI");
        expected.Set("ImageCompressionMode", 1);
        for (const char* format : {"Mono8", "RGB8"}) {
            if (!expected.Offers(format)) continue;
            camera.SetString("PixelFormat", format);
            expected.SetFormat(format);
            grabAndCompare(std::string("QOI from ") + format, 20);
        }
    }
}

struct LossRun {
    std::size_t frames = 0, completed = 0;
    AravisStreamStatistics aravis;
    nlohmann::json server;  // the stream's counters
    int serverExit = -1;
};

// Aravis grabs full-size frames from a server that loses packets, asking for the lost ones
// again; the counters on both sides are read once the last block has settled.
LossRun GrabUnderLoss(const std::vector<std::string>& faults, int frames) {
    std::vector<std::string> arguments = {"--camera", "VM1280M-0001@10.42.0.11", "--seed", "11"};
    arguments.insert(arguments.end(), faults.begin(), faults.end());
    ServerProcess server(arguments);
    LossRun run;
    {
        AravisCamera camera("10.42.0.11");
        camera.SetInteger("Width", 640);
        camera.SetInteger("Height", 480);
        camera.SetFloat("AcquisitionFrameRate", 100.0);
        camera.SetPacketSize(1500);
        AravisStream stream(camera);
        // Aravis checks the size with a test packet first and lowers it if the packet does not
        // come back as large as asked.
        EXPECT_EQ(camera.PacketSize(), 1500u);
        stream.SetPacketResend(true);
        stream.PushBuffers(16);
        camera.StartAcquisition();
        const std::vector<GrabbedBuffer> grabbed = stream.Grab(frames, 2s);
        camera.StopAcquisition();
        run.frames = grabbed.size();
        run.completed = std::size_t(std::count_if(grabbed.begin(), grabbed.end(), [](const GrabbedBuffer& buffer) {
            return buffer.status == ARV_BUFFER_STATUS_SUCCESS;
        }));
        run.aravis = SettledStatistics(stream);
    }  // Aravis lets the camera go while the server still answers
    run.server = server.Statistics()["cameras"][0]["streams"][0];
    run.serverExit = server.Stop();
    std::string report;
    for (const std::string& fault : faults) report += fault + " ";
    report += ": " + std::to_string(run.completed) + " of " + std::to_string(run.frames) + " frames complete\n Aravis:";
    for (const auto& [name, value] : run.aravis.counters)
        if (value != 0) report += " " + name + "=" + std::to_string(value);
    std::printf("%s\n server: %s\n", report.c_str(), run.server.dump().c_str());
    return run;
}

TEST(AravisInterop, ResendRecoversLostPackets) {
    SKIP_WITHOUT_CAMERA_NETWORK();
    {
        const LossRun run = GrabUnderLoss({"--loss", "0.02"}, 200);
        EXPECT_EQ(run.serverExit, 0);
        EXPECT_EQ(run.frames, 200u);
        EXPECT_EQ(run.completed, run.frames);
        // Every block reached Aravis, and every packet the server held back was asked for and
        // sent again exactly once. Aravis counts the packets it asked for, the server the
        // commands (one may cover several packets).
        const auto counter = [&](const char* name) { return run.server[name].get<std::uint64_t>(); };
        EXPECT_EQ(counter("blocks"), run.aravis.completedBuffers + run.aravis.failures);
        EXPECT_GT(counter("packetsResent"), 0u);
        EXPECT_EQ(counter("packetsResent"), run.aravis.resentPackets);
        EXPECT_EQ(counter("packetsResent"), counter("packetsWithheld"));
        EXPECT_EQ(counter("packetsResent"), run.aravis.counters.at("n_resend_requests"));
        EXPECT_LE(counter("resendRequests"), counter("packetsResent"));
        EXPECT_EQ(counter("packetsUnavailable"), 0u);
        EXPECT_EQ(run.aravis.missingPackets, 0u);
    }
    {
        // A lost trailer or leader is noticed later; Aravis may ask after the server's window of
        // kept blocks has passed, so not every frame need complete.
        const LossRun run = GrabUnderLoss({"--loss", "0.02", "--loss-leaders-trailers"}, 200);
        EXPECT_EQ(run.serverExit, 0);
        EXPECT_EQ(run.frames, 200u);
        EXPECT_GT(run.completed, run.frames / 2);
    }
}

// A line scan camera's multi-part blocks, four frames each, as Aravis lays them out. Aravis
// 0.8 fills only the first part's data in place, so only its pixels are compared.
TEST(AravisInterop, MultiPartBlocksArriveWhole) {
    SKIP_WITHOUT_CAMERA_NETWORK();
    ServerProcess server({"--camera", "VL4096L-0001@10.42.0.11"});
    AravisCamera camera("10.42.0.11");
    ExpectedCamera expected("VL4096L-0001");
    camera.SetInteger("Width", 512);
    camera.SetInteger("Height", 64);
    expected.Set("Width", 512);
    expected.Set("Height", 64);
    camera.SetString("GevGVSPExtendedIDMode", "On");
    GError* error = nullptr;
    EXPECT_TRUE(arv_camera_gv_is_multipart_supported(camera.get(), &error));
    if (error == nullptr) arv_camera_gv_set_multipart(camera.get(), TRUE, &error);
    if (error != nullptr) {
        const std::string message = error->message;
        g_error_free(error);
        FAIL() << "multi-part: " << message;
    }
    const std::int64_t parts = camera.GetInteger("MultiPartFrameCount");
    ASSERT_EQ(parts, 4);

    struct Piece {
        int width, height;
        ArvPixelFormat format;
        std::vector<std::uint8_t> data;
    };
    std::vector<std::vector<Piece>> blocks;
    const auto collectParts = [&](ArvBuffer* buffer, GrabbedBuffer&) {
        std::vector<Piece>& found = blocks.emplace_back();
        if (arv_buffer_get_payload_type(buffer) != ARV_BUFFER_PAYLOAD_TYPE_MULTIPART) return;
        for (guint part = 0; part < arv_buffer_get_n_parts(buffer); ++part) {
            std::size_t size = 0;
            const auto* data = static_cast<const std::uint8_t*>(arv_buffer_get_part_data(buffer, part, &size));
            found.push_back({arv_buffer_get_part_width(buffer, part), arv_buffer_get_part_height(buffer, part),
                             arv_buffer_get_part_pixel_format(buffer, part), {data, data + size}});
        }
    };
    AravisStream stream(camera);
    stream.PushBuffers(4, std::size_t(parts) * expected.PayloadSize());
    camera.StartAcquisition();
    const std::vector<GrabbedBuffer> grabbed = stream.Grab(6, 2s, collectParts);
    camera.StopAcquisition();

    ASSERT_EQ(grabbed.size(), 6u);
    for (std::size_t index = 0; index < grabbed.size(); ++index) {
        const GrabbedBuffer& buffer = grabbed[index];
        SCOPED_TRACE("block " + std::to_string(buffer.frameId));
        EXPECT_EQ(buffer.status, ARV_BUFFER_STATUS_SUCCESS);
        EXPECT_EQ(buffer.payloadType, ARV_BUFFER_PAYLOAD_TYPE_MULTIPART);
        ASSERT_EQ(blocks[index].size(), std::size_t(parts));
        for (const Piece& part : blocks[index]) {
            EXPECT_EQ(part.width, 512);
            EXPECT_EQ(part.height, 64);
            EXPECT_EQ(part.format, expected.FormatCode("Mono8"));
            EXPECT_EQ(part.data.size(), 512u * 64u);
        }
        // Block n carries frames 4n-3 to 4n.
        EXPECT_TRUE(blocks[index][0].data == expected.Frame((buffer.frameId - 1) * std::uint64_t(parts) + 1));
    }
}

}  // namespace
