// The whole road of an image: system, discovery, device, features, chunk mode with CRC, a
// stream of full-size frames, verification, requeue, stop, close.
#include <Vireo/Vireo.h>

#include <gtest/gtest.h>

#include <GenTL/VirtualProducerControl.h>

namespace {

TEST(EndToEnd, ColourCameraStreamsVerifiedBayerFramesWithCrcChunks) {
    Vireo::ISystem* system = Vireo::OpenSystem();
    system->UpdateDevices(500);
    Vireo::IDevice* camera = nullptr;
    for (const Vireo::DeviceInfo& info : system->GetDevices()) {
        if (info.ModelName() == "VC-2448C") camera = system->CreateDevice(info);
    }
    ASSERT_NE(camera, nullptr);

    GenApi::INodeMap* features = camera->GetNodeMap();
    Vireo::SetNodeValue<GenICam::gcstring>(features, "PixelFormat", "BayerRG8");
    Vireo::SetNodeValue<bool>(features, "AcquisitionFrameRateEnable", false);
    Vireo::SetNodeValue<bool>(features, "ChunkModeActive", true);
    Vireo::SetNodeValue<GenICam::gcstring>(features, "ChunkSelector", "CRC");
    Vireo::SetNodeValue<bool>(features, "ChunkEnable", true);
    const int64_t width = Vireo::GetNodeValue<int64_t>(features, "Width");
    const int64_t height = Vireo::GetNodeValue<int64_t>(features, "Height");

    camera->StartStream(8);
    for (int frame = 0; frame < 100; ++frame) {
        Vireo::IImage* image = camera->GetImage(5000);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->GetPixelFormat(), uint64_t(Vireo::PfncFormat::BayerRG8));
        EXPECT_EQ(int64_t(image->GetWidth()), width);
        EXPECT_EQ(int64_t(image->GetHeight()), height);
        EXPECT_FALSE(image->IsIncomplete());
        EXPECT_TRUE(image->VerifyCRC()) << "frame " << frame;
        camera->RequeueBuffer(image);
    }
    camera->StopStream();
    system->DestroyDevice(camera);
    Vireo::CloseSystem(system);
}

} // namespace
