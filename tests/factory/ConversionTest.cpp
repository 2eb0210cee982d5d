#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <vector>

#include "support/TextOf.h"

namespace Vireo {
namespace {

using F = PfncFormat;

class Conversion : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
    // The bytes of a width x height image converted to `to`.
    std::vector<uint8_t> Converted(const std::vector<uint8_t>& bytes, size_t width, F from, F to,
                                   _EBayerAlgorithm algorithm = BayerAlgorithmBilinear, size_t height = 1) {
        IImage* image = ImageFactory::Create(bytes.data(), bytes.size(), width, height, uint64_t(from));
        std::vector<uint8_t> result;
        try {
            IImage* converted = ImageFactory::Convert(image, uint64_t(to), algorithm);
            EXPECT_EQ(converted->GetPixelFormat(), uint64_t(to));
            EXPECT_EQ(converted->GetWidth(), width);
            result.assign(converted->GetData(), converted->GetData() + converted->GetSizeFilled());
            ImageFactory::Destroy(converted);
        } catch (...) {
            ImageFactory::Destroy(image);
            throw;
        }
        ImageFactory::Destroy(image);
        return result;
    }
};

TEST_F(Conversion, MonoDepthsFollowTheirRules) {
    const std::vector<uint8_t> packed = {0xBC, 0x3A, 0x12};  // Mono12p 0xABC, 0x123
    EXPECT_EQ(Converted(packed, 2, F::Mono12p, F::Mono12p), packed) << "the own format is copied unchanged";
    EXPECT_EQ(Converted({0xBC, 0x0A, 0x23, 0x01}, 2, F::Mono12, F::Mono8), (std::vector<uint8_t>{0xAB, 0x12}))
        << "the top 8 of 12 bits";
    EXPECT_EQ(Converted({0xFF, 0xFF, 0x00, 0x80, 0x00, 0x00}, 3, F::Mono16, F::Mono8), (std::vector<uint8_t>{255, 128, 0}))
        << "the full 16-bit range onto 8 bits";
    // Full depth between the deep mono formats.
    EXPECT_EQ(Converted(packed, 2, F::Mono12p, F::Mono12), (std::vector<uint8_t>{0xBC, 0x0A, 0x23, 0x01}));
    EXPECT_EQ(Converted({0xFF, 0x03}, 1, F::Mono10, F::Mono16), (std::vector<uint8_t>{0xC0, 0xFF}));
    EXPECT_EQ(Converted({0xBC, 0x0A, 0x23, 0x01}, 2, F::Mono12, F::Mono12Packed), (std::vector<uint8_t>{0xAB, 0x3C, 0x12}));
    // Through the hub: grey to the top of the deeper sample.
    EXPECT_EQ(Converted({0xAB}, 1, F::Mono8, F::Mono16), (std::vector<uint8_t>{0x00, 0xAB}));
    EXPECT_EQ(Converted({0xAB}, 1, F::Mono8, F::Mono10), (std::vector<uint8_t>{0xAC, 0x02}));
}

TEST_F(Conversion, ColourPassesThroughTheHubInItsStoredOrder) {
    const std::vector<uint8_t> rgb = {255, 0, 0, 0, 0, 255};  // a red pixel, a blue pixel
    EXPECT_EQ(Converted(rgb, 2, F::RGB8, F::BGR8), (std::vector<uint8_t>{0, 0, 255, 255, 0, 0}));
    // The hub is B, G, R and the grey weights go to the stored order: blue 0.299, red 0.114.
    EXPECT_EQ(Converted(rgb, 2, F::RGB8, F::Mono8), (std::vector<uint8_t>{29, 76}));
    EXPECT_EQ(Converted(rgb, 2, F::RGB8, F::BGRa8), (std::vector<uint8_t>{0, 0, 255, 0, 255, 0, 0, 0}));
    EXPECT_EQ(Converted(rgb, 2, F::RGB8, F::RGB24), Converted(rgb, 2, F::RGB8, F::BGR24))
        << "RGB24 and BGR24 share one channel order";
    EXPECT_EQ(Converted({0x80}, 1, F::Mono8, F::RGB8), (std::vector<uint8_t>{0x80, 0x80, 0x80}));
    EXPECT_EQ(Converted(rgb, 2, F::RGB8, F::RGB16),
              (std::vector<uint8_t>{255, 255, 0, 0, 0, 0, 0, 0, 0, 0, 255, 255}));
}

TEST_F(Conversion, DeepFormatsKeepTheirDepthThroughTheDirectRoutines) {
    // Bayer 12p to RGB16: unpacked to the top of 16 bits, demosaiced at 16 bits. A flat field
    // of 0xABC comes back as 0xABC0, which no 8-bit path could give.
    const std::vector<uint8_t> packed12 = {0xBC, 0xCA, 0xAB, 0xBC, 0xCA, 0xAB};  // four samples 0xABC
    const auto words = [](const std::vector<uint8_t>& bytes) {
        std::vector<uint16_t> values(bytes.size() / 2);
        for (size_t index = 0; index < values.size(); ++index) values[index] = uint16_t(bytes[2 * index] | bytes[2 * index + 1] << 8);
        return values;
    };
    const auto bilinear = BayerAlgorithmBilinear;
    EXPECT_EQ(words(Converted(packed12, 2, F::BayerRG12p, F::RGB16, bilinear, 2)), std::vector<uint16_t>(12, 0xABC0));
    EXPECT_EQ(words(Converted(packed12, 2, F::BayerGB12p, F::BGR16, BayerAlgorithmAHD, 2)),
              std::vector<uint16_t>(12, 0xABC0));
    // A Bayer12 container keeps its values as they are.
    const std::vector<uint8_t> container12 = {0xBC, 0x0A, 0xBC, 0x0A, 0xBC, 0x0A, 0xBC, 0x0A};
    EXPECT_EQ(words(Converted(container12, 2, F::BayerRG12, F::RGB16, bilinear, 2)), std::vector<uint16_t>(12, 0xABC));
    // Bayer to mono at full depth: 0xABC through Mono12 and Mono10.
    EXPECT_EQ(words(Converted(container12, 2, F::BayerRG12, F::Mono12, bilinear, 2)), std::vector<uint16_t>(4, 0xABC));
    EXPECT_EQ(words(Converted(packed12, 2, F::BayerGR12p, F::Mono10, bilinear, 2)), std::vector<uint16_t>(4, 0xABC >> 2));
    // 8-bit Bayer to deeper mono: the grey at the top of the sample.
    EXPECT_EQ(words(Converted({0xAB, 0xAB, 0xAB, 0xAB}, 2, F::BayerBG8, F::Mono12, bilinear, 2)),
              std::vector<uint16_t>(4, 0xAB0));

    // RGB16 to Mono16 weighs the stored channels at 16 bits like the hub: first 0.114 for
    // RGB16 (red), 0.299 for BGR16 (blue).
    const std::vector<uint8_t> red16 = {0xFF, 0xFF, 0, 0, 0, 0};
    EXPECT_EQ(words(Converted(red16, 1, F::RGB16, F::Mono16)), std::vector<uint16_t>{uint16_t((7471u * 65535 + 32768) >> 16)});
    EXPECT_EQ(words(Converted(red16, 1, F::BGR16, F::Mono16)), std::vector<uint16_t>{uint16_t((19595u * 65535 + 32768) >> 16)});
    // ... and back: the mono value widened to 16 bits in every channel.
    EXPECT_EQ(words(Converted({0xBC, 0x0A}, 1, F::Mono12, F::BGR16)), std::vector<uint16_t>(3, 0xABC0));
    EXPECT_EQ(words(Converted({0xBC, 0x0A}, 1, F::Mono12, F::Mono16)), std::vector<uint16_t>{0xABC0});

    // RGB12: 8-bit values at the top of 12 bits, as Mono12 and the 12p formats hold them; the
    // way back keeps the top 8.
    const std::vector<uint8_t> rgb = {0xFF, 0x80, 0x01};
    EXPECT_EQ(words(Converted(rgb, 1, F::RGB8, F::RGB12)), (std::vector<uint16_t>{0xFF0, 0x800, 0x010}));
    EXPECT_EQ(words(Converted(rgb, 1, F::RGB8, F::BGR12)), (std::vector<uint16_t>{0x010, 0x800, 0xFF0}));
    const std::vector<uint8_t> two = {0xFF, 0x80, 0x01, 0x01, 0x80, 0xFF};
    EXPECT_EQ(Converted(Converted(two, 2, F::RGB8, F::BGR12p), 2, F::BGR12p, F::RGB8), two);
    // One pixel of 12p is 4.5 bytes, of which the image holds 4: the last sample keeps only
    // its low 8 bits, and nothing is written or read beyond the 4 bytes.
    EXPECT_EQ(Converted(Converted(rgb, 1, F::RGB8, F::BGR12p), 1, F::BGR12p, F::RGB8),
              (std::vector<uint8_t>{0x0F, 0x80, 0x01}));
    EXPECT_EQ(Converted(Converted(rgb, 1, F::RGB8, F::BGR12), 1, F::BGR12, F::RGB8), rgb);
    // 24 bits: the value in the top byte, RGB24 and BGR24 both red first.
    EXPECT_EQ(Converted(rgb, 1, F::RGB8, F::BGR24), (std::vector<uint8_t>{0, 0, 0xFF, 0, 0, 0x80, 0, 0, 0x01}));
    EXPECT_EQ(Converted({0, 0, 0xAB}, 1, F::Mono24, F::Mono8), std::vector<uint8_t>{0xAB});
}

TEST_F(Conversion, DemosaicingRestoresFlatColourOnEveryGrid) {
    // A flat colour (red 200, green 100, blue 50) seen through each Bayer pattern comes back
    // exactly, edges included, with either algorithm.
    const struct {
        F format;
        uint8_t tile[4];  // top-left, top-right, bottom-left, bottom-right
    } grids[] = {
        {F::BayerRG8, {200, 100, 100, 50}},
        {F::BayerBG8, {50, 100, 100, 200}},
        {F::BayerGR8, {100, 200, 50, 100}},
        {F::BayerGB8, {100, 50, 200, 100}},
    };
    for (const auto& grid : grids) {
        const size_t width = 6, height = 4;
        std::vector<uint8_t> mosaic(width * height);
        for (size_t y = 0; y < height; ++y)
            for (size_t x = 0; x < width; ++x) mosaic[y * width + x] = grid.tile[(y % 2) * 2 + x % 2];
        IImage* image = ImageFactory::Create(mosaic.data(), mosaic.size(), width, height, uint64_t(grid.format));
        for (const _EBayerAlgorithm algorithm : {BayerAlgorithmBilinear, BayerAlgorithmAHD}) {
            IImage* colour = ImageFactory::Convert(image, uint64_t(F::RGB8), algorithm);
            for (size_t pixel = 0; pixel < width * height; ++pixel) {
                EXPECT_EQ(colour->GetData()[3 * pixel], 200) << GetPixelFormatName(grid.format) << " pixel " << pixel;
                EXPECT_EQ(colour->GetData()[3 * pixel + 1], 100);
                EXPECT_EQ(colour->GetData()[3 * pixel + 2], 50);
            }
            ImageFactory::Destroy(colour);
        }
        ImageFactory::Destroy(image);
    }
}

TEST_F(Conversion, YCbCr422UsesVideoRangeBt601BothWays) {
    // Black, white and a mid grey in U Y V Y order: video range 16..235 maps onto 0..255.
    EXPECT_EQ(Converted({128, 16, 128, 235}, 2, F::YUV422_8_UYVY, F::RGB8), (std::vector<uint8_t>{0, 0, 0, 255, 255, 255}));
    EXPECT_EQ(Converted({126, 128, 128, 128}, 2, F::YCbCr422_8, F::Mono8), (std::vector<uint8_t>{128, 130}));
    // Primary colours come back within the rounding of two conversions and shared chroma.
    const std::vector<uint8_t> colours = {255, 0, 0, 255, 0, 0, 0, 0, 255, 0, 0, 255, 90, 160, 30, 90, 160, 30};
    const std::vector<uint8_t> yuv = Converted(colours, 6, F::RGB8, F::YUV422_8_UYVY);
    ASSERT_EQ(yuv.size(), 12u);
    EXPECT_EQ(yuv[1], 82) << "red's luma";
    EXPECT_EQ(yuv[0], 90) << "red's Cb";
    EXPECT_EQ(yuv[2], 240) << "red's Cr";
    const std::vector<uint8_t> back = Converted(yuv, 6, F::YUV422_8_UYVY, F::RGB8);
    for (size_t index = 0; index < colours.size(); ++index)
        EXPECT_NEAR(int(back[index]), int(colours[index]), 3) << index;
    // 4:4:4 keeps every pixel's chroma; 4:1:1 shares it among four.
    const std::vector<uint8_t> full = Converted(colours, 6, F::RGB8, F::YUV8_UYV);
    EXPECT_EQ(std::vector<uint8_t>(full.begin(), full.begin() + 3), (std::vector<uint8_t>{90, 82, 240}));
    EXPECT_EQ(Converted(full, 6, F::YUV8_UYV, F::RGB8), Converted(Converted(colours, 6, F::RGB8, F::YCbCr8), 6, F::YCbCr8, F::RGB8));
    const std::vector<uint8_t> grey4 = {128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128, 128};
    const std::vector<uint8_t> quarter = Converted(grey4, 4, F::RGB8, F::YUV411_8_UYYVYY);
    EXPECT_EQ(quarter, (std::vector<uint8_t>{128, 126, 126, 128, 126, 126}));
    EXPECT_EQ(Converted(quarter, 4, F::YUV411_8_UYYVYY, F::Mono8), (std::vector<uint8_t>{128, 128, 128, 128}));
    // Y Cb Y Cr and Cb Y Cr Y hold the same values in another order.
    const std::vector<uint8_t> ycbcr = Converted(colours, 6, F::RGB8, F::YCbCr422_8);
    for (size_t pair = 0; pair < 3; ++pair) {
        EXPECT_EQ(ycbcr[4 * pair], yuv[4 * pair + 1]);
        EXPECT_EQ(ycbcr[4 * pair + 1], yuv[4 * pair]);
    }
}

TEST_F(Conversion, WhatCannotBeConvertedIsNamed) {
    const std::vector<uint8_t> bayer(4);
    EXPECT_EQ(TextOf([&] { Converted(bayer, 4, F::BayerRG8, F::RGB8, _EBayerAlgorithm(2)); }),
              "RuntimeException: Conversion error, unknown algorithm (ImageFactory, Convert)");
    EXPECT_EQ(TextOf([&] { Converted(std::vector<uint8_t>(6), 4, F::BayerRG12p, F::RGB16, _EBayerAlgorithm(-1)); }),
              "RuntimeException: Conversion error, unknown algorithm (ImageFactory, Convert)")
        << "the direct routines check it too";
    EXPECT_EQ(TextOf([&] { Converted(bayer, 4, F::Mono8, F::BayerRG8); }),
              "RuntimeException: To pixel format BayerRG8 not available, reverse bayer interpolation not supported "
              "(ImageFactory, Convert)");
    EXPECT_EQ(TextOf([&] { Converted(bayer, 4, F::Mono8, F::DualMono8); }),
              "RuntimeException: To pixel format DualMono8 not supported due to multiple-channel ambiguity "
              "(ImageFactory, Convert)");
    EXPECT_EQ(TextOf([&] { Converted(std::vector<uint8_t>(12), 1, F::Coord3D_ABC32f, F::Mono8); }),
              "RuntimeException: Pixel format conversion from Coord3D_ABC32f not yet implemented (ImageFactory, Convert)");
    EXPECT_EQ(TextOf([&] { Converted(bayer, 4, F::Mono8, F::YCbCr601_422_8); }),
              "RuntimeException: Pixel format conversion to YCbCr601_422_8 not yet implemented (ImageFactory, Convert)");
    // With neither side possible the source is named: the from stage comes first.
    for (F target : {F::BayerRG8, F::DualMono8, F::YCbCr601_422_8})
        EXPECT_EQ(TextOf([&] { Converted(std::vector<uint8_t>(8), 4, F::Coord3D_C16, target); }),
                  "RuntimeException: Pixel format conversion from Coord3D_C16 not yet implemented (ImageFactory, Convert)")
            << GetPixelFormatName(target);

    const std::vector<uint8_t> grey = {1, 2, 3, 4};
    IImage* image = ImageFactory::Create(grey.data(), grey.size(), 4, 1, uint64_t(F::Mono8));
    EXPECT_EQ(ImageFactory::ConvertLen(image, uint64_t(F::RGB8)), 12u);
    std::vector<uint8_t> destination(12);
    IImage* view = ImageFactory::ConvertShallow(destination.data(), destination.size(), image, uint64_t(F::RGB8));
    EXPECT_EQ(destination[3], 2);
    ImageFactory::Destroy(view);
    EXPECT_EQ(TextOf([&] { ImageFactory::ConvertShallow(destination.data(), 11, image, uint64_t(F::RGB8)); }),
              "InvalidArgumentException: Buffer length 11 does not match expected 12 (ConvertShallow (ImageFactory, "
              "ConvertShallow)");
    ImageFactory::Destroy(image);
}

} // namespace
} // namespace Vireo
