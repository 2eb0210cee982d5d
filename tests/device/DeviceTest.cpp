#include <Vireo/Device.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>

namespace Vireo {
namespace {


class DeviceTest : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system = OpenSystem();
        system->UpdateDevices(100);
    }
    void TearDown() override {
        for (IDevice* device : opened) EXPECT_NO_THROW(system->DestroyDevice(device));
        CloseSystem(system);
        VirtualProducerClearFaults();
        VirtualProducerUseCameras(nullptr, 0);
    }
    Device* Open(const std::string& serial) {
        for (const DeviceInfo& info : system->GetDevices())
            if (serial == info.SerialNumber().c_str()) {
                opened.push_back(system->CreateDevice(info));
                return dynamic_cast<Device*>(opened.back());
            }
        ADD_FAILURE() << "no camera " << serial;
        return nullptr;
    }
    static int64_t Announced(Device* device, int stream) {
        return GetNodeValue<int64_t>(device->GetTLStreamNodeMap(stream), "StreamAnnouncedBufferCount");
    }
    ISystem* system = nullptr;
    std::vector<IDevice*> opened;
};

TEST_F(DeviceTest, ConstructionBuildsTheNodeMapsAndFollowsTheScanType) {
    Device* colour = Open("VC2448C-0001");
    ASSERT_NE(colour->GetNodeMap(), nullptr);
    ASSERT_NE(colour->GetTLDeviceNodeMap(), nullptr);
    EXPECT_EQ(colour->GetNumStreams(), 1u);
    ASSERT_NE(colour->GetChunkNodeMap(), nullptr);
    EXPECT_NE(colour->GetChunkNodeMap()->GetNode("ChunkCRC"), nullptr);
    EXPECT_EQ(colour->GetChunkNodeMap()->GetNode("Width"), nullptr) << "only the chunk subtree";
    EXPECT_FALSE(colour->IsLinescan());
    EXPECT_FALSE(GetNodeValue<bool>(colour->GetTLDeviceNodeMap(), "MultipartFeaturesImplementedEnable"));
    EXPECT_TRUE(colour->IsConnected());

    Device* lineScan = Open("VL4096L-0001");
    EXPECT_TRUE(lineScan->IsLinescan());
    EXPECT_TRUE(GetNodeValue<bool>(lineScan->GetTLDeviceNodeMap(), "MultipartFeaturesImplementedEnable"));
}

TEST_F(DeviceTest, AnEventSensorOnASlowLinkGetsItsEventRateLimited) {
    const struct {
        uint64_t linkSpeed;
        double before, after;
    } cases[] = {
        {125'000'000, 100.0, 20.0},                         // 125 MB/s carries 20 MEv/s
        {125'000'000, 15.0, 15.0},                          // already below the limit
        {312'499'999, 100.0, 312'499'999 / 6.25 / 1e6},     // just below full speed
        {312'500'000, 100.0, 100.0},                        // full speed: no limit
    };
    for (const auto& limit : cases) {
        ASSERT_EQ(VirtualProducerSetLinkSpeed("VX2048S-0001", limit.linkSpeed), GenTL::GC_ERR_SUCCESS);
        Device* sensor = Open("VX2048S-0001");
        SetNodeValue<double>(sensor->GetNodeMap(), "ErcRateLimit", limit.before);
        SetNodeValue<bool>(sensor->GetNodeMap(), "ErcEnable", false);
        system->DestroyDevice(sensor);
        opened.pop_back();
        sensor = Open("VX2048S-0001");  // the limit is applied when the device is opened
        EXPECT_DOUBLE_EQ(GetNodeValue<double>(sensor->GetNodeMap(), "ErcRateLimit"), limit.after) << limit.linkSpeed;
        EXPECT_EQ(GetNodeValue<bool>(sensor->GetNodeMap(), "ErcEnable"), limit.linkSpeed < 312'500'000);
        system->DestroyDevice(sensor);
        opened.pop_back();
    }
    // A camera without an event format keeps its settings whatever its link.
    ASSERT_EQ(VirtualProducerSetLinkSpeed("VC2448C-0001", 1'000'000), GenTL::GC_ERR_SUCCESS);
    EXPECT_EQ(Open("VC2448C-0001")->GetNodeMap()->GetNode("ErcRateLimit"), nullptr);
}

TEST_F(DeviceTest, TheAutomaticBufferCountFollowsTheThroughputWithinItsBounds) {
    ASSERT_EQ(VirtualProducerSetLinkSpeed("VC2448C-0001", 125'000'000), GenTL::GC_ERR_SUCCESS);
    Device* colour = Open("VC2448C-0001");
    constexpr size_t kAutomatic = 0xFFFFFFFFu;
    SetNodeValue<GenICam::gcstring>(colour->GetNodeMap(), "PixelFormat", "Mono8");  // 5 013 504-byte frames
    colour->StartStream(kAutomatic);
    EXPECT_EQ(Announced(colour, 0), 10) << "5 000 000 bytes of throughput budget: 0, raised to 10";
    colour->StopStream();
    SetNodeValue<int64_t>(colour->GetNodeMap(), "Width", 40);
    SetNodeValue<int64_t>(colour->GetNodeMap(), "Height", 25);  // 1000-byte frames
    colour->StartStream(kAutomatic);
    EXPECT_EQ(Announced(colour, 0), 1000) << "5000 buffers lowered to 1000";
    colour->StopStream();
}

TEST_F(DeviceTest, MultipartBuffersHoldAsManyPartsAsTheHeightAllows) {
    Device* lineScan = Open("VL4096L-0001");
    SetNodeValue<int64_t>(lineScan->GetNodeMap(), "Height", 256);  // 1024 lines at most: 4 parts fit
    const int64_t payload = GetNodeValue<int64_t>(lineScan->GetNodeMap(), "PayloadSize");
    SetNodeValue<bool>(lineScan->GetTLDeviceNodeMap(), "StreamMultipartEnable", true);
    SetNodeValue<int64_t>(lineScan->GetTLStreamNodeMap(0), "StreamMultipartNumParts", 16);
    lineScan->StartStream(2);
    EXPECT_EQ(GetNodeValue<int64_t>(lineScan->GetTLStreamNodeMap(0), "StreamMultipartNumParts"), 4)
        << "more parts than fit are cut to what fits";
    IBuffer* buffer = lineScan->GetBuffer(5000);
    EXPECT_EQ(buffer->GetSizeOfBuffer(), size_t(4 * payload));
    lineScan->RequeueBuffer(buffer);
    lineScan->StopStream();
}

TEST_F(DeviceTest, DownloadXmlWritesTheUnpackedDescriptionNamedAfterTheSerial) {
    Device* colour = Open("VC2448C-0001");
    const std::filesystem::path previous = std::filesystem::current_path();
    const std::filesystem::path directory = std::filesystem::temp_directory_path() / ("vireo-xml-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory);
    std::filesystem::current_path(directory);
    { std::ofstream("VC2448C-0001.xml") << "an older, longer file that must be replaced entirely"; }
    colour->DownloadXml();
    std::stringstream text;
    text << std::ifstream("VC2448C-0001.xml").rdbuf();
    std::filesystem::remove_all(directory);  // a working directory that is gone takes no file
    EXPECT_EQ(TextOf([&] { colour->DownloadXml(); }), "RuntimeException: Unable to download XML (Device, DownloadXml)");
    std::filesystem::current_path(previous);
    EXPECT_EQ(text.str().rfind("<?xml", 0), 0u);
    EXPECT_NE(text.str().find("</RegisterDescription>"), std::string::npos);
}

TEST_F(DeviceTest, StartAndStopLeaveNoBufferAnnounced) {
    Device* colour = Open("VC2448C-0001");
    EXPECT_EQ(TextOf([&] { colour->StartStream(0); }),
              "InvalidArgumentException: Number of acquisition buffers must be 1 or greater (Device, StartStream)");
    SetNodeValue<GenICam::gcstring>(colour->GetTLStreamNodeMap(0), "StreamBufferHandlingMode", "OldestFirstOverwrite");
    EXPECT_EQ(TextOf([&] { colour->StartStream(1); }),
              "InvalidArgumentException: Number of acquisition buffers must be 2 or greater for OldestFirstOverwrite "
              "mode (Device, StartStream)");
    colour->StartStream(2);
    EXPECT_EQ(Announced(colour, 0), 2);
    EXPECT_EQ(GetNodeValue<int64_t>(colour->GetNodeMap(), "TLParamsLocked"), 1);
    colour->StopStream();
    EXPECT_EQ(Announced(colour, 0), 0);
    EXPECT_EQ(GetNodeValue<int64_t>(colour->GetNodeMap(), "TLParamsLocked"), 0);
    EXPECT_EQ(TextOf([&] { colour->StopStream(); }),
              "LogicalErrorException: Failure stopping stream due to device not having been streaming (Device, "
              "StopStream)")
        << "a stream that does not run cannot be stopped";
}

TEST_F(DeviceTest, TheStreamIsChosenByRoleFromTheTransportFeatures) {
    Device* camera = Open("VX2048S-0001");
    const auto chosen = [&] {
        camera->GetTLStreamNodeMap();  // re-evaluates the choice
        return camera->GetCurrentStream();
    };
    EXPECT_EQ(chosen(), kImageStream);
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "TransportStreamProtocol", "RDMA");
    EXPECT_EQ(chosen(), kRdmaStream);
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "TransportStreamProtocol", "TCP");
    EXPECT_EQ(chosen(), kTcpStream);
    SetNodeValue<bool>(camera->GetNodeMap(), "StreamMultipartEnable", true);
    EXPECT_EQ(chosen(), kMultipartStream);
    SetNodeValue<bool>(camera->GetNodeMap(), "StreamMultipartEnable", false);
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "TransportStreamProtocol", "UDP");
    SetNodeValue<GenICam::gcstring>(camera->GetTLDeviceNodeMap(), "DeviceStreamProtocol", "GVRSP");
    EXPECT_EQ(chosen(), kImageStream) << "this connection carries GVRSP";

    Device* colour = Open("VC2448C-0001");
    SetNodeValue<GenICam::gcstring>(colour->GetTLDeviceNodeMap(), "DeviceStreamProtocol", "GVRSP");
    EXPECT_EQ(TextOf([&] { colour->GetTLStreamNodeMap(); }),
              "RuntimeException: Cannot force GVRSP because it is not supported on current connection (Device, "
              "GetStreamNumber)");
    EXPECT_EQ(TextOf([&] { colour->StartStream(2); }),
              "RuntimeException: Cannot force GVRSP because it is not supported on current connection (Device, "
              "GetStreamNumber)");
    EXPECT_EQ(Announced(colour, 0), 0);
    SetNodeValue<GenICam::gcstring>(colour->GetTLDeviceNodeMap(), "DeviceStreamProtocol", "GVSP");
}

TEST_F(DeviceTest, TheTcpStreamRunsWithJumboPacketsAndRestoresThePacketSize) {
    Device* camera = Open("VX2048S-0001");
    ASSERT_EQ(camera->GetNumStreams(), 5u);
    const int64_t packetSize = GetNodeValue<int64_t>(camera->GetNodeMap(), "DeviceStreamChannelPacketSize");
    SetNodeValue<bool>(camera->GetTLDeviceNodeMap(), "TCPEnable", true);
    EXPECT_NE(TextOf([&] { camera->StartStream(3); }).find("Device Stream Protocol node is not set to 'Legacy'"),
              std::string::npos);
    SetNodeValue<GenICam::gcstring>(camera->GetTLDeviceNodeMap(), "DeviceStreamProtocol", "Legacy");
    camera->StartStream(3);
    EXPECT_EQ(camera->GetCurrentStream(), kTcpStream);
    EXPECT_EQ(GetNodeValue<int64_t>(camera->GetNodeMap(), "DeviceStreamChannelPacketSize"), 9000);
    EXPECT_EQ(Announced(camera, kTcpStream), 3);
    camera->StopStream();
    EXPECT_EQ(GetNodeValue<int64_t>(camera->GetNodeMap(), "DeviceStreamChannelPacketSize"), packetSize);
}

} // namespace
} // namespace Vireo
