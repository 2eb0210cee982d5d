#include <Vireo/ImageFactory.h>
#include <Vireo/Library.h>
#include <Vireo/NodeAccess.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/System.h>

#include <gtest/gtest.h>

#include <GenTL/VirtualProducerControl.h>

#include <cstring>
#include <random>
#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

class Compression : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
};

// Pixels with runs, small steps and noise, so that every kind of chunk occurs.
std::vector<uint8_t> Pixels(size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<uint8_t> pixels(count);
    for (size_t index = 0; index < count; ++index)
        pixels[index] = index % 97 < 40 ? uint8_t(index / 97) : uint8_t(index % 7 < 3 ? index : random());
    return pixels;
}

TEST_F(Compression, EveryQoiFormatRoundTripsThroughTheFactory) {
    const struct {
        PfncFormat plain, compressed;
    } formats[] = {
        {PfncFormat::Mono8, PfncFormat::QOI_Mono8},       {PfncFormat::BayerGR8, PfncFormat::QOI_BayerGR8},
        {PfncFormat::BayerRG8, PfncFormat::QOI_BayerRG8}, {PfncFormat::BayerGB8, PfncFormat::QOI_BayerGB8},
        {PfncFormat::BayerBG8, PfncFormat::QOI_BayerBG8}, {PfncFormat::RGB8, PfncFormat::QOI_RGB8},
        {PfncFormat::BGR8, PfncFormat::QOI_BGR8},         {PfncFormat::YCbCr8, PfncFormat::QOI_YCbCr8},
        {PfncFormat::YCbCr8_CbYCr, PfncFormat::QOI_YCbCr8_CbYCr},
    };
    for (const auto& pair : formats) {
        const size_t width = 37, height = 11;
        const size_t length = size_t(ImageFactory::ExpectedLength(width, height, uint64_t(pair.plain)));
        const std::vector<uint8_t> pixels = Pixels(length, unsigned(pair.plain));
        IImage* image = ImageFactory::Create(pixels.data(), length, width, height, uint64_t(pair.plain));
        ICompressedImage* compressed = ImageFactory::CompressImage(image);
        EXPECT_EQ(compressed->GetPixelFormat(), uint64_t(pair.compressed)) << GetPixelFormatName(pair.plain);
        EXPECT_EQ(compressed->GetPayloadType(), 1001u);

        // Through the caller's bytes, as a stream saved to disk would come back.
        ICompressedImage* reloaded = ImageFactory::CreateCompressedImage(compressed->GetData(), compressed->GetSizeFilled(),
                                                                        uint64_t(pair.compressed));
        IImage* decoded = ImageFactory::DecompressImage(reloaded);
        EXPECT_EQ(decoded->GetPixelFormat(), uint64_t(pair.plain));
        EXPECT_EQ(decoded->GetWidth(), width);
        EXPECT_EQ(decoded->GetHeight(), height);
        ASSERT_EQ(decoded->GetSizeFilled(), length);
        EXPECT_EQ(0, std::memcmp(decoded->GetData(), pixels.data(), length)) << GetPixelFormatName(pair.plain);
        ImageFactory::Destroy(decoded);
        ImageFactory::DestroyCompressedImage(reloaded);
        ImageFactory::DestroyCompressedImage(compressed);
        ImageFactory::Destroy(image);
    }
}

TEST_F(Compression, BadStreamsAndFormatsAreRefused) {
    const uint8_t bytes[16] = {'q', 'o', 'i'};
    EXPECT_EQ(TextOf([&] { ImageFactory::CreateCompressedImage(bytes, 3, uint64_t(PfncFormat::Mono8)); }),
              "InvalidArgumentException: Param is not a compressed pixel format (Mono8) (ImageFactory, "
              "CreateCompressedImage)");
    const auto decompress = [&](size_t size) {
        ICompressedImage* image = ImageFactory::CreateCompressedImage(bytes, size, uint64_t(PfncFormat::QOI_Mono8));
        const std::string text = TextOf([&] { ImageFactory::Destroy(ImageFactory::DecompressImage(image)); });
        ImageFactory::DestroyCompressedImage(image);
        return text;
    };
    EXPECT_EQ(decompress(3), "RuntimeException: QOI decode error -- buffer size too small! (ImageFactory, QOIDecompressImage)");
    EXPECT_EQ(decompress(16), "RuntimeException: QOI decode error -- no QOI magic! (ImageFactory, QOIDecompressImage)");
    IImage* deep = ImageFactory::CreateEmpty(8, 2, 2, uint64_t(PfncFormat::Mono16));
    EXPECT_EQ(TextOf([&] { ImageFactory::CompressImage(deep); }),
              "InvalidArgumentException: Compression not available for pixel format Mono16 (ImageFactory, CompressImage)");
    ImageFactory::Destroy(deep);
    EXPECT_EQ(TextOf([&] { ImageFactory::DecompressImage(nullptr); }),
              "InvalidArgumentException: Data is null (DecompressImage (ImageFactory, DecompressImage)");
}

TEST(CompressionWithDevices, DeviceFramesDecompressWithTheirFrameIdAndAreNotDestroyed) {
    ISystem* system = OpenSystem();
    system->UpdateDevices(100);
    IDevice* camera = nullptr;
    for (const DeviceInfo& info : system->GetDevices()) {
        if (info.SerialNumber() == "VC2448C-0001") camera = system->CreateDevice(info);
    }
    ASSERT_NE(camera, nullptr);
    SetNodeValue<int64_t>(camera->GetNodeMap(), "Width", 64);
    SetNodeValue<int64_t>(camera->GetNodeMap(), "Height", 32);
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "PixelFormat", "BayerRG8");
    SetNodeValue<GenICam::gcstring>(camera->GetNodeMap(), "ImageCompressionMode", "QOI");
    SetNodeValue<bool>(camera->GetNodeMap(), "AcquisitionFrameRateEnable", false);
    camera->StartStream(2);
    ICompressedImage* frame = camera->GetCompressedImage(5000);
    IImage* decoded = ImageFactory::DecompressImage(frame);
    EXPECT_EQ(decoded->GetPixelFormat(), uint64_t(PfncFormat::BayerRG8)) << "the Bayer pattern is kept";
    EXPECT_EQ(decoded->GetWidth(), 64u);
    EXPECT_EQ(decoded->GetFrameId(), frame->GetFrameId());
    EXPECT_EQ(decoded->GetTimestampNs(), frame->GetTimestampNs());
    ICompressedImage* copy = ImageFactory::CopyCompressedImage(frame);
    EXPECT_EQ(TextOf([&] { ImageFactory::DestroyCompressedImage(frame); }),
              "InvalidArgumentException: Failure destroying compressed image because compressed image not from "
              "factory (probably due to compressed image being from device) (ImageFactory, DestroyCompressedImage)");
    camera->RequeueBuffer(frame);
    camera->StopStream();
    IImage* again = ImageFactory::DecompressImage(copy);
    EXPECT_EQ(0, std::memcmp(again->GetData(), decoded->GetData(), decoded->GetSizeFilled()));
    ImageFactory::Destroy(again);
    ImageFactory::DestroyCompressedImage(copy);
    ImageFactory::Destroy(decoded);
    system->DestroyDevice(camera);
    CloseSystem(system);
    VirtualProducerUseCameras(nullptr, 0);
}

} // namespace
} // namespace Vireo
