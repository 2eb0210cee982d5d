#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include "PixelFormatTestData.h"
#include "pixelformat/PixelFormatTable.h"

namespace Vireo {
namespace {

using Testing::ReferenceFormat;

TEST(PixelFormatName, NamesEveryCodeOfThePfncStandard) {
    const std::vector<ReferenceFormat> standard = Testing::StandardFormats();
    ASSERT_EQ(standard.size(), 242u) << "reference table not found under " << VIREO_SHARED_DIR;
    for (const ReferenceFormat& format : standard) EXPECT_STREQ(GetPixelFormatName(format.code), format.name.c_str());
}

TEST(PixelFormatName, NamesEveryOwnCodeAndKeepsItsBitsPerPixel) {
    const std::vector<ReferenceFormat> own = Testing::OwnFormats();
    ASSERT_EQ(own.size(), 281u);
    for (const ReferenceFormat& format : own) {
        EXPECT_STREQ(GetPixelFormatName(format.code), format.name.c_str());
        EXPECT_TRUE(format.code & 0x80000000u || format.code >> 24 == 0xAA || format.code >> 24 == 0xBB) << format.name;
    }
}

TEST(PixelFormatName, KnowsExactlyTheReferenceCodes) {
    EXPECT_EQ(AllPixelFormats().size(), Testing::StandardFormats().size() + Testing::OwnFormats().size());
}

TEST(PixelFormatName, UnknownCodesAreNamedUnknown) {
    for (uint64_t code : {uint64_t(0), uint64_t(0x01080000), uint64_t(0x0108FFFF), uint64_t(0xFFFFFFFF),
                          uint64_t(0x101080001) /* Mono8 with a bit above 32 set */}) {
        EXPECT_STREQ(GetPixelFormatName(code), "UnknownPixelFormat") << std::hex << code;
    }
}

TEST(PixelFormatName, EnumeratorsCarryTheirCodes) {
    EXPECT_EQ(Mono24, 0x81180500u);
    EXPECT_EQ(BayerGR24, Mono24 + 1);
    EXPECT_EQ(RGB24, 0x82480505u);
    EXPECT_STREQ(GetPixelFormatName(Mono8), "Mono8");
    EXPECT_STREQ(GetPixelFormatName(PolarizedDolp_BayerRG16), "PolarizedDolp_BayerRG16");
}

} // namespace
} // namespace Vireo
