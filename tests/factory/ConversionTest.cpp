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
    // The bytes of a width x 1 image converted to `to`.
    std::vector<uint8_t> Converted(const std::vector<uint8_t>& bytes, size_t width, F from, F to,
                                   _EBayerAlgorithm algorithm = BayerAlgorithmBilinear) {
        IImage* image = ImageFactory::Create(bytes.data(), bytes.size(), width, 1, uint64_t(from));
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

TEST_F(Conversion, BilinearDemosaicingRestoresFlatColourOnEveryGrid) {
    // A flat colour (red 200, green 100, blue 50) seen through each Bayer pattern comes back
    // exactly, edges included.
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
        IImage* colour = ImageFactory::Convert(image, uint64_t(F::RGB8));
        for (size_t pixel = 0; pixel < width * height; ++pixel) {
            EXPECT_EQ(colour->GetData()[3 * pixel], 200) << GetPixelFormatName(grid.format) << " pixel " << pixel;
            EXPECT_EQ(colour->GetData()[3 * pixel + 1], 100);
            EXPECT_EQ(colour->GetData()[3 * pixel + 2], 50);
        }
        ImageFactory::Destroy(colour);
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
    EXPECT_EQ(TextOf([&] { Converted(bayer, 4, F::BayerRG8, F::RGB8, BayerAlgorithmAHD); }),
              "RuntimeException: Pixel format conversion from BayerRG8 with AHD not yet implemented (ImageFactory, "
              "Convert)");
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
