#include <Vireo/ChunkData.h>
#include <Vireo/Device.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include "support/TextOf.h"

#include <GenApi/GenApi.h>
#include <GenTL/VirtualProducerControl.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace Vireo {
namespace {


class Acquisition : public ::testing::Test {
protected:
    void SetUp() override {
        VirtualProducerClearFaults();
        system = OpenSystem();
        system->UpdateDevices(100);
        for (const DeviceInfo& info : system->GetDevices()) {
            if (info.SerialNumber() == "VC2448C-0001") device = dynamic_cast<Device*>(system->CreateDevice(info));
        }
        ASSERT_NE(device, nullptr);
        GenApi::INodeMap* map = device->GetNodeMap();
        SetNodeValue<int64_t>(map, "Width", 64);
        SetNodeValue<int64_t>(map, "Height", 32);
        SetNodeValue<GenICam::gcstring>(map, "PixelFormat", "Mono8");
        SetNodeValue<bool>(map, "AcquisitionFrameRateEnable", false);  // as fast as buffers come back
    }
    void TearDown() override {
        if (device != nullptr) {
            EXPECT_NO_THROW(system->DestroyDevice(device));
        }
        CloseSystem(system);
        VirtualProducerClearFaults();
        VirtualProducerUseCameras(nullptr, 0);  // fresh cameras for the next test
    }
    int64_t Announced() { return GetNodeValue<int64_t>(device->GetTLStreamNodeMap(0), "StreamAnnouncedBufferCount"); }
    ISystem* system = nullptr;
    Device* device = nullptr;
};

TEST_F(Acquisition, FramesArriveInOrderAndGoBackToTheProducer) {
    EXPECT_EQ(TextOf([&] { device->GetImage(10); }),
              "InvalidArgumentException: Unable to get buffer data, event handle is NULL (Device, GetBuffer)");
    device->StartStream(4);
    uint64_t previous = 0;
    for (int frame = 0; frame < 100; ++frame) {
        IImage* image = device->GetImage(2000);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->GetWidth(), 64u);
        EXPECT_EQ(image->GetHeight(), 32u);
        EXPECT_EQ(image->GetPixelFormat(), uint64_t(PfncFormat::Mono8));
        if (frame > 0) {
            EXPECT_GT(image->GetFrameId(), previous);
        }
        previous = image->GetFrameId();
        device->RequeueBuffer(image);
    }
    EXPECT_EQ(TextOf([&] { device->RequeueBuffer(nullptr); }),
              "InvalidArgumentException: Image is null (Device, RequeueBuffer)");
    device->StopStream();
    EXPECT_EQ(Announced(), 0);
}

TEST_F(Acquisition, AStopFromAnotherThreadEndsAWaitingGetImage) {
    SetNodeValue<GenICam::gcstring>(device->GetNodeMap(), "TriggerMode", "On");  // no frame comes by itself
    device->StartStream(2);
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        device->StopStream();
    });
    EXPECT_EQ(TextOf([&] { device->GetImage(10000); }),
              "RuntimeException: Unable to get buffer data, stream aborted (Device, GetBuffer)");
    stopper.join();
    EXPECT_EQ(Announced(), 0);
}

TEST_F(Acquisition, ChunkFramesCarryAVerifiableCrc) {
    GenApi::INodeMap* map = device->GetNodeMap();
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "CRC");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    device->StartStream(4);
    for (int frame = 0; frame < 10; ++frame) {
        IImage* image = device->GetImage(2000);
        ASSERT_NE(image->AsChunkData(), nullptr);
        EXPECT_NE(image->AsChunkData()->GetChunk("ChunkCRC"), nullptr);
        EXPECT_TRUE(image->VerifyCRC());
        device->RequeueBuffer(image);
    }
    ASSERT_EQ(VirtualProducerCorruptNextFrameData("VC2448C-0001"), GenTL::GC_ERR_SUCCESS);
    bool mismatch = false;
    for (int frame = 0; frame < 5 && !mismatch; ++frame) {
        IImage* image = device->GetImage(2000);
        mismatch = !image->VerifyCRC();
        device->RequeueBuffer(image);
    }
    EXPECT_TRUE(mismatch) << "a frame changed after its CRC was computed fails the check";

    ASSERT_EQ(VirtualProducerCorruptNextChunkTrailer("VC2448C-0001"), GenTL::GC_ERR_SUCCESS);
    bool refused = false;
    for (int frame = 0; frame < 5 && !refused; ++frame) {
        try {
            device->RequeueBuffer(device->GetImage(2000));
        } catch (const GenICam::RuntimeException& error) {
            refused = std::string(error.what()).find("Invalid layout of buffer attached to chunk parser!") !=
                      std::string::npos;
        }
    }
    EXPECT_TRUE(refused) << "a trailer that does not parse is an error of the delivery";
    device->StopStream();
}

TEST_F(Acquisition, EachPayloadTypeArrivesAsItsOwnKindOfObject) {
    GenApi::INodeMap* map = device->GetNodeMap();
    SetNodeValue<bool>(map, "ChunkModeActive", true);
    SetNodeValue<GenICam::gcstring>(map, "ChunkSelector", "CRC");
    SetNodeValue<bool>(map, "ChunkEnable", true);
    SetNodeValue<bool>(map, "GevSCCFGExtendedChunkData", false);  // chunk-only payloads (type 4)
    device->StartStream(4);
    EXPECT_EQ(TextOf([&] { device->GetImage(2000); }),
              "LogicalErrorException: Failed to cast Vireo::IBuffer* to Vireo::IImage*  (Device, GetImage)");
    IBuffer* buffer = device->GetBuffer(2000);
    EXPECT_EQ(buffer->GetPayloadType(), 4u);
    ASSERT_NE(buffer->AsChunkData(), nullptr);
    EXPECT_EQ(buffer->AsImage(), nullptr);
    EXPECT_NE(buffer->AsChunkData()->GetChunk("ChunkCRC"), nullptr);
    device->RequeueBuffer(buffer);
    device->StopStream();

    SetNodeValue<bool>(map, "GevSCCFGExtendedChunkData", true);
    SetNodeValue<GenICam::gcstring>(map, "ImageCompressionMode", "QOI");
    device->StartStream(4);
    ICompressedImage* compressed = device->GetCompressedImage(2000);
    EXPECT_EQ(compressed->GetPayloadType(), 1002u);
    ASSERT_NE(compressed->AsChunkData(), nullptr) << "compressed with chunks";
    EXPECT_NE(compressed->AsChunkData()->GetChunk("ChunkCRC"), nullptr);
    device->RequeueBuffer(compressed);
    device->StopStream();

    SetNodeValue<bool>(map, "ChunkModeActive", false);
    device->StartStream(4);
    compressed = device->GetCompressedImage(2000);
    EXPECT_EQ(compressed->GetPayloadType(), 1001u);
    EXPECT_EQ(compressed->AsChunkData(), nullptr);
    EXPECT_EQ(TextOf([&] { compressed->VerifyCRC(); }),
              "LogicalErrorException: Chunk data was not enabled before grabbing CompressedImage (CompressedImage, "
              "VerifyCRC)");
    device->RequeueBuffer(compressed);
    device->StopStream();
}

TEST_F(Acquisition, ImageCallbacksRunOnTheirOwnThreadAndExcludeGetImage) {
    struct Counter : IImageCallback {
        void OnImage(IImage* image) override {
            std::lock_guard lock(mutex);
            if (image != nullptr) ++images;
            arrived.notify_all();
        }
        bool WaitFor(int count) {
            std::unique_lock lock(mutex);
            return arrived.wait_for(lock, std::chrono::seconds(10), [&] { return images >= count; });
        }
        std::mutex mutex;
        std::condition_variable arrived;
        int images = 0;
    } counter;
    device->RegisterImageCallback(&counter);
    EXPECT_EQ(TextOf([&] { device->RegisterImageCallback(&counter); }),
              "InvalidArgumentException: Callback already registered (Device, RegisterImageCallback)");
    device->StartStream(4);
    EXPECT_TRUE(counter.WaitFor(20));
    EXPECT_EQ(TextOf([&] { device->GetImage(10); }),
              "RuntimeException: GetImage should not be called while there are registered image callbacks (Device, "
              "GetImage)");
    device->StopStream();
    device->DeregisterAllImageCallbacks();
    EXPECT_EQ(Announced(), 0);
}

TEST_F(Acquisition, RemoteEventsReachTheEventNodes) {
    EXPECT_EQ(TextOf([&] { device->WaitOnEvent(10); }),
              "LogicalErrorException: Failure waiting on event because device events not initialized (Device, "
              "WaitOnEvent)");
    device->InitializeEvents();
    SetNodeValue<GenICam::gcstring>(device->GetNodeMap(), "EventSelector", "ExposureEnd");
    SetNodeValue<GenICam::gcstring>(device->GetNodeMap(), "EventNotification", "On");
    device->StartStream(2);
    device->WaitOnEvent(2000);
    EXPECT_EQ(GetNodeValue<int64_t>(device->GetNodeMap(), "EventExposureEnd"), 0x9001);
    device->StopStream();
    device->DeinitializeEvents();
}

TEST_F(Acquisition, LeaderWaitsConnectionStateAndActionCommandsReachTheProducer) {
    device->StartStream(2);
    device->WaitForNextLeader(2000);
    device->ResetWaitForNextLeader();
    device->StopStream();
    EXPECT_TRUE(device->IsConnected());
    device->SendActionCommand(1, 1, 1);
}

} // namespace
} // namespace Vireo
