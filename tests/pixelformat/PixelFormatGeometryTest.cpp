#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <GenICam.h>

#include "PixelFormatTestData.h"

namespace Vireo {
namespace {

struct Geometry {
    uint64_t format;
    size_t bitsPerPixel, channels, bitsPerChannel, bytesPerStep, pixelsPerStep;
};

void ExpectGeometry(const Geometry& expected) {
    SCOPED_TRACE(GetPixelFormatName(expected.format));
    EXPECT_EQ(GetBitsPerPixel(expected.format), expected.bitsPerPixel);
    EXPECT_EQ(GetNumChannels(expected.format), expected.channels);
    EXPECT_EQ(GetBitsPerChannel(expected.format), expected.bitsPerChannel);
    EXPECT_EQ(GetBytesPerStep(expected.format), expected.bytesPerStep);
    EXPECT_EQ(GetPixelsPerStep(expected.format), expected.pixelsPerStep);
}

TEST(PixelFormatGeometry, MonoAndBayer) {
    for (const Geometry& g : {Geometry{Mono8, 8, 1, 8, 1, 1}, Geometry{Mono10, 16, 1, 10, 2, 1},
                              Geometry{Mono12, 16, 1, 12, 2, 1}, Geometry{Mono16, 16, 1, 16, 2, 1},
                              Geometry{BayerRG8, 8, 1, 8, 1, 1}, Geometry{BayerGB12, 16, 1, 12, 2, 1},
                              Geometry{Mono24, 24, 1, 24, 3, 1}, Geometry{BayerBG24, 24, 1, 24, 3, 1},
                              Geometry{Mono1p, 1, 1, 1, 1, 8}})
        ExpectGeometry(g);
}

TEST(PixelFormatGeometry, PackedLayoutsStepSeveralPixels) {
    for (const Geometry& g : {Geometry{Mono10p, 10, 1, 10, 5, 4}, Geometry{BayerGR10p, 10, 1, 10, 5, 4},
                              Geometry{Mono12p, 12, 1, 12, 3, 2}, Geometry{BayerBG12p, 12, 1, 12, 3, 2},
                              Geometry{Mono10Packed, 12, 1, 10, 3, 2}, Geometry{BayerRG10Packed, 12, 1, 10, 3, 2},
                              Geometry{Mono12Packed, 12, 1, 12, 3, 2}, Geometry{BayerGB12Packed, 12, 1, 12, 3, 2},
                              Geometry{RGB12p, 36, 3, 12, 9, 2}, Geometry{RGB10p, 30, 3, 10, 15, 4}})
        ExpectGeometry(g);
}

TEST(PixelFormatGeometry, ColourAndYCbCr) {
    for (const Geometry& g : {Geometry{RGB8, 24, 3, 8, 3, 1}, Geometry{BGR8, 24, 3, 8, 3, 1},
                              Geometry{RGBa8, 32, 4, 8, 4, 1}, Geometry{BGRa16, 64, 4, 16, 8, 1},
                              Geometry{RGB12, 48, 3, 12, 6, 1}, Geometry{BGR16, 48, 3, 16, 6, 1},
                              Geometry{RGB24, 72, 3, 24, 9, 1}, Geometry{YCbCr8, 24, 3, 8, 3, 1},
                              Geometry{YCbCr422_8, 16, 3, 8, 2, 1}, Geometry{YUV422_8_UYVY, 16, 3, 8, 2, 1},
                              Geometry{YCbCr422_16_CbYCrY, 32, 3, 16, 4, 1},
                              Geometry{YCbCr411_8_CbYYCrYY, 12, 3, 8, 3, 2}, Geometry{YUV411_8_UYYVYY, 12, 3, 8, 3, 2},
                              Geometry{YCbCr411_24_CbYYCrYY, 36, 3, 24, 9, 2}})
        ExpectGeometry(g);
}

TEST(PixelFormatGeometry, DualQuadAndPolarized) {
    for (const Geometry& g :
         {Geometry{DualMono8, 8, 2, 8, 1, 1}, Geometry{DualBayerRG12, 16, 2, 12, 2, 1},
          Geometry{DualMono10p, 10, 2, 10, 5, 4}, Geometry{DualMono12Packed, 12, 2, 12, 3, 2},
          Geometry{DualMono8_2ch, 16, 2, 8, 2, 1}, Geometry{QuadMono8, 8, 4, 8, 1, 1},
          Geometry{QuadBayerGB16, 16, 4, 16, 2, 1}, Geometry{QuadMono10_4ch, 64, 4, 10, 8, 1},
          Geometry{PolarizeMono8, 8, 1, 8, 1, 1}, Geometry{PolarizedDolp_Mono12p, 12, 1, 12, 3, 2},
          Geometry{PolarizedDolpAolp_Mono8, 16, 2, 8, 2, 1}, Geometry{PolarizedDolpAngle_BayerRG8, 16, 2, 8, 2, 1},
          Geometry{PolarizedStokes_S0_S1_S2_Mono8, 24, 3, 8, 3, 1},
          Geometry{PolarizedStokes_S0_S1_S2_Mono12p, 36, 3, 12, 9, 2},
          Geometry{PolarizedAngles_0d_45d_90d_135d_Mono8, 32, 4, 8, 4, 1},
          Geometry{PolarizedAngles_0d_45d_90d_135d_Mono12p, 48, 4, 12, 6, 1},
          Geometry{PolarizedStokes_S0_S1_S2_S3_Mono16, 64, 4, 16, 8, 1}})
        ExpectGeometry(g);
}

TEST(PixelFormatGeometry, Coord3DAndCompressed) {
    for (const Geometry& g : {Geometry{Coord3D_C16, 16, 1, 16, 2, 1}, Geometry{Coord3D_ABC16, 48, 3, 16, 6, 1},
                              Geometry{Coord3D_ABCY16s, 64, 4, 16, 8, 1}, Geometry{Coord3D_ABC32f, 96, 3, 32, 12, 1},
                              Geometry{Coord3D_C16s, 16, 1, 16, 2, 1}, Geometry{Confidence16, 16, 1, 16, 2, 1},
                              Geometry{QOI_Mono8, 8, 1, 8, 1, 1}, Geometry{QOI_BayerBG8, 8, 1, 8, 1, 1},
                              Geometry{QOI_RGB8, 24, 3, 8, 3, 1}, Geometry{QOI_YCbCr8_CbYCr, 24, 3, 8, 3, 1}})
        ExpectGeometry(g);
}

TEST(PixelFormatGeometry, BitsPerPixelIsReadFromAnyCode) {
    EXPECT_EQ(GetBitsPerPixel(0x82480505), 72u);
    EXPECT_EQ(GetBitsPerPixel(0x00AB0000), 0xABu);
    EXPECT_EQ(GetBitsPerPixel(0), 0u);
    EXPECT_EQ(GetBitsPerPixel(0xFFFFFFFFFFFFFFFFull), 0xFFu);
}

TEST(PixelFormatGeometry, EveryStepHoldsExactlyItsPixelsBits) {
    for (const auto& list : {Testing::StandardFormats(), Testing::OwnFormats()})
        for (const Testing::ReferenceFormat& format : list)
            EXPECT_EQ(GetBytesPerStep(format.code) * 8, GetBitsPerPixel(format.code) * GetPixelsPerStep(format.code))
                << format.name;
}

void ExpectNotImplemented(size_t (*query)(uint64_t), uint64_t format, const std::string& expected) {
    try {
        query(format);
        ADD_FAILURE() << "no exception for " << expected;
    } catch (const GenICam::InvalidArgumentException& error) {
        EXPECT_EQ(error.what(), expected);
        EXPECT_STREQ(error.GetSourceFileName(), "PFNCCustom");
    }
}

TEST(PixelFormatGeometry, QueriesOutsideTheTableFailWithTheirNames) {
    ExpectNotImplemented(&GetNumChannels, 0, "GetNumChannels not implemented for UnknownPixelFormat");
    ExpectNotImplemented(&GetBitsPerChannel, 0x01089999, "GetBitsPerChannel not implemented for UnknownPixelFormat");
    ExpectNotImplemented(&GetBytesPerStep, 0x12345678, "GetBytesPerStep not implemented for UnknownPixelFormat");
    ExpectNotImplemented(&GetPixelsPerStep, 0, "GetPixelsPerStep not implemented for UnknownPixelFormat");
    // Components of different depths have no single bits-per-channel figure.
    ExpectNotImplemented(&GetBitsPerChannel, RGB565p, "GetBitsPerChannel not implemented for RGB565p");
    ExpectNotImplemented(&GetBitsPerChannel, Coord3D_C16Y8, "GetBitsPerChannel not implemented for Coord3D_C16Y8");
    EXPECT_EQ(GetNumChannels(RGB565p), 3u);
}

} // namespace
} // namespace Vireo
