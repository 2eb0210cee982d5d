#include <Vireo/ImageFactory.h>
#include <Vireo/Packing.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

class Deinterleave : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
    IImage* Make(const std::vector<uint8_t>& bytes, size_t width, size_t height, PfncFormat format) {
        return ImageFactory::Create(bytes.data(), bytes.size(), width, height, uint64_t(format));
    }
    static std::vector<uint8_t> Bytes(IImage* image) {
        return std::vector<uint8_t>(image->GetData(), image->GetData() + image->GetSizeFilled());
    }
};

TEST_F(Deinterleave, ChannelImagesAreStackedInChannelOrder) {
    // Dual Mono8: the width counts both channels, so two pixels of two channels are 1 2 3 4.
    IImage* dual = Make({1, 2, 3, 4}, 4, 1, PfncFormat::DualMono8);
    IImage* stacked = ImageFactory::DeinterleaveChannels(dual);
    EXPECT_EQ(stacked->GetPixelFormat(), uint64_t(PfncFormat::Mono8));
    EXPECT_EQ(stacked->GetWidth(), 2u);
    EXPECT_EQ(stacked->GetHeight(), 2u);
    EXPECT_EQ(Bytes(stacked), (std::vector<uint8_t>{1, 3, 2, 4}));
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(dual);

    // Polarisation angles: four samples in each pixel of the width.
    IImage* angles = Make({0, 45, 90, 135, 1, 46, 91, 136}, 2, 1, PfncFormat::PolarizedAngles_0d_45d_90d_135d_Mono8);
    stacked = ImageFactory::DeinterleaveChannels(angles);
    EXPECT_EQ(stacked->GetWidth(), 2u);
    EXPECT_EQ(stacked->GetHeight(), 4u);
    EXPECT_EQ(Bytes(stacked), (std::vector<uint8_t>{0, 1, 45, 46, 90, 91, 135, 136}));
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(angles);

    // Quad Mono16 words keep their values.
    IImage* quad = Make({1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6, 0, 7, 0, 8, 0}, 8, 1, PfncFormat::QuadMono16);
    stacked = ImageFactory::DeinterleaveChannels(quad);
    EXPECT_EQ(stacked->GetPixelFormat(), uint64_t(PfncFormat::Mono16));
    EXPECT_EQ(Bytes(stacked), (std::vector<uint8_t>{1, 0, 5, 0, 2, 0, 6, 0, 3, 0, 7, 0, 4, 0, 8, 0}));
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(quad);
}

TEST_F(Deinterleave, PackedSamplesComeThroughExactly) {
    // Stokes S0, S1, S2 of two pixels, 12 bits packed: samples 0x101, 0x202, 0x303 (pixel 0)
    // and 0x404, 0x505, 0x606 (pixel 1).
    const std::vector<uint16_t> samples = {0x101, 0x202, 0x303, 0x404, 0x505, 0x606};
    std::vector<uint8_t> words;
    for (uint16_t sample : samples) {
        words.push_back(uint8_t(sample << 4));
        words.push_back(uint8_t(sample >> 4));
    }
    std::vector<uint8_t> packed(9);
    Packing::To12p(words.data(), packed.data(), 6, 1, 16);
    IImage* stokes = Make(packed, 2, 1, PfncFormat::PolarizedStokes_S0_S1_S2_Mono12p);
    EXPECT_EQ(ImageFactory::DeinterleaveChannelsLen(stokes), 9u);
    std::vector<uint8_t> destination(9);
    IImage* stacked = ImageFactory::DeinterleaveChannelsShallow(destination.data(), destination.size(), stokes);
    EXPECT_EQ(stacked->GetPixelFormat(), uint64_t(PfncFormat::Mono12p));
    EXPECT_EQ(stacked->GetHeight(), 3u);
    std::vector<uint8_t> unpacked(12);
    Unpacking::From12p(destination.data(), unpacked.data(), 6, 1, 16);
    const std::vector<uint16_t> expected = {0x101, 0x404, 0x202, 0x505, 0x303, 0x606};
    for (size_t index = 0; index < expected.size(); ++index)
        EXPECT_EQ((unpacked[2 * index] | unpacked[2 * index + 1] << 8) >> 4, expected[index]) << index;
    ImageFactory::Destroy(stacked);

    const std::vector<IImage*> planes = ImageFactory::SplitChannels(stokes);
    ASSERT_EQ(planes.size(), 3u);
    for (size_t plane = 0; plane < planes.size(); ++plane) {
        EXPECT_EQ(planes[plane]->GetWidth(), 2u);
        EXPECT_EQ(planes[plane]->GetHeight(), 1u);
        std::vector<uint8_t> pair(4);
        Unpacking::From12p(planes[plane]->GetData(), pair.data(), 2, 1, 16);
        EXPECT_EQ((pair[0] | pair[1] << 8) >> 4, samples[plane]);
        EXPECT_EQ((pair[2] | pair[3] << 8) >> 4, samples[3 + plane]);
        ImageFactory::Destroy(planes[plane]);
    }
    ImageFactory::Destroy(stokes);
}

TEST_F(Deinterleave, AQuad10pImageKeepsItsSamplesExactly) {
    // Eight samples, two pixels of four channels, every value different and using all 10 bits.
    const std::vector<uint16_t> samples = {0x3FF, 0x001, 0x2AA, 0x155, 0x200, 0x0FF, 0x300, 0x0C3};
    std::vector<uint8_t> words;
    for (uint16_t sample : samples) {
        words.push_back(uint8_t(sample << 6));
        words.push_back(uint8_t(sample >> 2));
    }
    std::vector<uint8_t> packed(10);
    Packing::To10p(words.data(), packed.data(), 8, 1, 16);
    IImage* quad = Make(packed, 8, 1, PfncFormat::QuadMono10p);
    IImage* stacked = ImageFactory::DeinterleaveChannels(quad);
    EXPECT_EQ(stacked->GetPixelFormat(), uint64_t(PfncFormat::Mono10p));
    EXPECT_EQ(stacked->GetWidth(), 2u);
    EXPECT_EQ(stacked->GetHeight(), 4u);
    std::vector<uint8_t> unpacked(16);
    Unpacking::From10p(stacked->GetData(), unpacked.data(), 8, 1, 16);
    for (size_t plane = 0; plane < 4; ++plane)
        for (size_t pixel = 0; pixel < 2; ++pixel) {
            const size_t index = plane * 2 + pixel;
            EXPECT_EQ((unpacked[2 * index] | unpacked[2 * index + 1] << 8) >> 6, samples[4 * pixel + plane]) << index;
        }
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(quad);

    // The "_2ch" form counts a pixel per pair of samples: the same planes, the source's width.
    IImage* pairs = Make({1, 2, 3, 4}, 2, 1, PfncFormat::DualMono8_2ch);
    stacked = ImageFactory::DeinterleaveChannels(pairs);
    EXPECT_EQ(stacked->GetWidth(), 2u);
    EXPECT_EQ(Bytes(stacked), (std::vector<uint8_t>{1, 3, 2, 4}));
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(pairs);
}

TEST_F(Deinterleave, FormatsWithoutChannelsToSeparateAreRefused) {
    IImage* mono = Make({1, 2}, 2, 1, PfncFormat::Mono8);
    EXPECT_EQ(TextOf([&] { ImageFactory::DeinterleaveChannels(mono); }),
              "InvalidArgumentException: unhandled pixel format Mono8 (deinterleave channels) (ImageFactory, "
              "DeinterleaveChannels)");
    ImageFactory::Destroy(mono);
    // An odd width of a dual image leaves a channel a sample short.
    IImage* dual = Make({1, 2, 3}, 3, 1, PfncFormat::DualMono8);
    EXPECT_NE(TextOf([&] { ImageFactory::DeinterleaveChannels(dual); }).find("OutOfRangeException: the 3 samples"),
              std::string::npos);
    ImageFactory::Destroy(dual);
    EXPECT_EQ(TextOf([&] { ImageFactory::DeinterleaveChannels(nullptr); }),
              "InvalidArgumentException: Data is null (DeinterleaveChannels (ImageFactory, DeinterleaveChannels)");
}

} // namespace
} // namespace Vireo
