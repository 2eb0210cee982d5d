// Every supported source to every supported target, and the strips the hub works in.
#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <GenICam.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "factory/SampleBlocks.h"
#include "primitives/ColourKernels.h"
#include "primitives/Demosaic.h"
#include "primitives/YCbCrKernels.h"

namespace Vireo {
namespace {

using F = PfncFormat;
using Bytes = std::vector<uint8_t>;

constexpr F kMono[] = {F::Mono8,  F::Mono10,  F::Mono10p,      F::Mono10Packed, F::Mono12,
                       F::Mono12p, F::Mono12Packed, F::Mono16, F::Mono24};
constexpr F kColour[] = {F::RGB8, F::BGR8, F::RGB12, F::BGR12, F::RGB12p, F::BGR12p, F::RGB16, F::BGR16};
constexpr F kYCbCr[] = {F::YCbCr8,        F::YCbCr8_CbYCr,        F::YUV8_UYV,
                        F::YCbCr422_8,    F::YUV422_8,            F::YCbCr422_8_CbYCrY,
                        F::YUV422_8_UYVY, F::YCbCr411_8,          F::YCbCr411_8_CbYYCrYY,
                        F::YUV411_8_UYYVYY};
constexpr F kBayer[] = {
    F::BayerRG8,  F::BayerRG10,  F::BayerRG10p, F::BayerRG10Packed, F::BayerRG12, F::BayerRG12p,
    F::BayerRG12Packed, F::BayerRG16, F::BayerRG24, F::BayerGR8, F::BayerGR12p, F::BayerGB10, F::BayerGB16,
    F::BayerBG8, F::BayerBG12Packed};

bool IsDeepMono(F format) {
    return format != F::Mono8 && format != F::Mono24 && std::string(GetPixelFormatName(uint64_t(format))).rfind("Mono", 0) == 0;
}
bool IsBayerContainer(F format) {
    const std::string name = GetPixelFormatName(uint64_t(format));
    return name.rfind("Bayer", 0) == 0 && name.back() != 'p' && name.find("Packed") == std::string::npos &&
           name.find("24") == std::string::npos && name.substr(name.size() - 1) != "8";
}
bool IsDeepBayer(F format) {
    const std::string name = GetPixelFormatName(uint64_t(format));
    return name.rfind("Bayer", 0) == 0 && name.back() != '8' && name.find("24") == std::string::npos;
}

// A frame of one value everywhere: `value` in every sample, or for YCbCr `luma` in every Y
// sample and 128 in every chroma sample.
Bytes Flat(F format, size_t width, size_t height, uint32_t value, uint32_t luma = 126) {
    const ImageFactory::SampleLayout layout = ImageFactory::SampleLayoutOf(uint64_t(format), width, height);
    Bytes bytes(size_t(ImageFactory::ExpectedLength(width, height, uint64_t(format))));
    std::vector<uint32_t> values(layout.samples);
    const bool ycbcr = std::string(GetPixelFormatName(uint64_t(format))).rfind("Y", 0) == 0;
    for (size_t index = 0; index < values.size(); ++index) {
        const size_t channel = ImageFactory::ChannelOf(layout, index);
        // Y is the first channel of the interleaved layouts, except where Cb comes first.
        const bool isLuma = layout.pattern.empty() ? channel == (layout.channels == 3 && format != F::YCbCr8 ? 1u : 0u)
                                                   : channel == 0;
        values[index] = ycbcr ? (isLuma ? luma : 128) : value;
    }
    for (size_t first = 0; first < values.size(); first += ImageFactory::kSampleBlock)
        ImageFactory::StoreSamples(layout, bytes.data(), first,
                                   std::min(ImageFactory::kSampleBlock, values.size() - first), values.data() + first);
    return bytes;
}

// Mid grey (128 of 255) as a format holds it: at the top of deeper samples.
uint32_t MidGrey(F format) {
    const ImageFactory::SampleLayout layout = ImageFactory::SampleLayoutOf(uint64_t(format), 1, 1);
    return 128u << (layout.bits - 8);
}

// What mid grey becomes in a target. 16-bit colour targets show the path: the 8-bit hub
// widens over the full range (128 * 257), the deep routines keep the source's value (at the
// top of 16 bits, or as it is for Bayer containers).
uint32_t ExpectedGrey(F from, F to) {
    if (from == to) return MidGrey(to);
    if (to == F::RGB16 || to == F::BGR16) {
        if (IsBayerContainer(from)) return MidGrey(from);
        return IsDeepMono(from) || IsDeepBayer(from) ? 0x8000 : 128 * 257;
    }
    return MidGrey(to);
}

struct Converted {
    std::unique_ptr<IImage, void (*)(IImage*)> image{nullptr, [](IImage* image) { ImageFactory::Destroy(image); }};
    std::string error;
};

Converted Convert(const Bytes& bytes, size_t width, size_t height, F from, F to, _EBayerAlgorithm algorithm) {
    Converted result;
    IImage* source = ImageFactory::Create(bytes.data(), bytes.size(), width, height, uint64_t(from));
    try {
        result.image.reset(ImageFactory::Convert(source, uint64_t(to), algorithm));
    } catch (const GenICam::GenericException& error) {
        result.error = error.what();
    }
    ImageFactory::Destroy(source);
    return result;
}

class ConversionTable : public ::testing::Test {
protected:
    void SetUp() override { OpenImageFactory(); }
    void TearDown() override { CloseImageFactory(); }
};

TEST_F(ConversionTable, MidGreyComesOutOfEverySourceInEveryTarget) {
    std::vector<F> sources(std::begin(kMono), std::end(kMono));
    sources.insert(sources.end(), std::begin(kColour), std::end(kColour));
    sources.insert(sources.end(), std::begin(kYCbCr), std::end(kYCbCr));
    sources.insert(sources.end(), std::begin(kBayer), std::end(kBayer));
    std::vector<F> targets(std::begin(kMono), std::end(kMono));
    targets.insert(targets.end(), std::begin(kColour), std::end(kColour));
    targets.insert(targets.end(), std::begin(kYCbCr), std::end(kYCbCr));
    targets.insert(targets.end(), {F::RGB24, F::BGR24, F::BGRa8});
    const size_t width = 6, height = 4;
    size_t checked = 0;
    for (const F from : sources) {
        const Bytes source = Flat(from, width, height, MidGrey(from));
        for (const F to : targets)
            for (const _EBayerAlgorithm algorithm : {BayerAlgorithmBilinear, BayerAlgorithmAHD}) {
                SCOPED_TRACE(std::string(GetPixelFormatName(uint64_t(from))) + " to " + GetPixelFormatName(uint64_t(to)) +
                             (algorithm == BayerAlgorithmAHD ? " AHD" : ""));
                const Converted result = Convert(source, width, height, from, to, algorithm);
                ASSERT_EQ(result.error, "");
                ASSERT_EQ(result.image->GetWidth(), width);
                ASSERT_EQ(result.image->GetHeight(), height);
                ASSERT_EQ(result.image->GetPixelFormat(), uint64_t(to));
                const Bytes expected{128, 128, 128, 0};
                const Bytes frame = to == F::BGRa8 ? Bytes(4 * width * height) : Flat(to, width, height, ExpectedGrey(from, to));
                const Bytes actual(result.image->GetData(), result.image->GetData() + result.image->GetSizeFilled());
                if (to == F::BGRa8) {
                    for (size_t pixel = 0; pixel < width * height; ++pixel)
                        ASSERT_EQ(Bytes(actual.begin() + 4 * pixel, actual.begin() + 4 * pixel + 4), expected) << pixel;
                } else {
                    ASSERT_EQ(actual, frame);
                }
                ++checked;
            }
    }
    EXPECT_GT(checked, 1000u);
}

// The hub works in strips of rows; the result must be the same as the stages done over the
// whole frame at once, for odd widths whose strips start mid-row in packed and subsampled
// layouts.
TEST_F(ConversionTable, StripsJoinWithoutSeams) {
    using namespace Primitives;
    std::mt19937 random(7);
    for (const size_t width : {size_t(1001), size_t(2450), size_t(37)}) {
        const size_t height = 98, pixels = width * height;
        SCOPED_TRACE("width " + std::to_string(width));
        Bytes rgb(3 * pixels);
        for (auto& byte : rgb) byte = uint8_t(random());
        Bytes hub(4 * pixels);
        Scalar::SwapChannels(rgb.data(), 3, hub.data(), 4, ChannelOrder{{2, 1, 0}}, 0, pixels);

        Bytes uyvy(2 * pixels);
        Scalar::ColourToYCbCr(hub.data(), 4, Layout422{1, 0, 3, 2}, uyvy.data(), pixels);
        const Converted toUyvy = Convert(rgb, width, height, F::RGB8, F::YUV422_8_UYVY, BayerAlgorithmBilinear);
        ASSERT_EQ(toUyvy.error, "");
        EXPECT_EQ(Bytes(toUyvy.image->GetData(), toUyvy.image->GetData() + uyvy.size()), uyvy);

        Bytes fromUyvy(3 * pixels);
        Scalar::YCbCrToColour(uyvy.data(), Layout422{1, 0, 3, 2}, hub.data(), 4, pixels);
        Scalar::SwapChannels(hub.data(), 4, fromUyvy.data(), 3, ChannelOrder{{2, 1, 0}}, 0, pixels);
        const Converted back = Convert(uyvy, width, height, F::YUV422_8_UYVY, F::RGB8, BayerAlgorithmBilinear);
        EXPECT_EQ(Bytes(back.image->GetData(), back.image->GetData() + fromUyvy.size()), fromUyvy);

        // Mono12p to YCbCr 4:1:1 through the hub: packed groups and chroma quads cut by strips.
        Bytes grey(pixels);
        for (auto& value : grey) value = uint8_t(random());
        Bytes packed(PackedBytes(PackedLayout::P12, pixels));
        Scalar::Pack(PackedLayout::P12, 8, grey.data(), packed.data(), pixels);
        Scalar::GreyToColour(grey.data(), hub.data(), 4, 0, pixels);
        Bytes quads(size_t(ImageFactory::ExpectedLength(width, height, uint64_t(F::YCbCr411_8))));
        Scalar::ColourToYCbCr(hub.data(), 4, Layout411{{0, 1, 3, 4}, 2, 5}, quads.data(), pixels);
        const Converted toQuads = Convert(packed, width, height, F::Mono12p, F::YCbCr411_8, BayerAlgorithmBilinear);
        EXPECT_EQ(Bytes(toQuads.image->GetData(), toQuads.image->GetData() + quads.size()), quads);

        // Deep sources straight into 8-bit colour: reduced strip by strip.
        Bytes bgr(3 * pixels);
        Scalar::GreyToColour(grey.data(), bgr.data(), 3, 0, pixels);
        const Converted packedToBgr = Convert(packed, width, height, F::Mono12p, F::BGR8, BayerAlgorithmBilinear);
        EXPECT_EQ(Bytes(packedToBgr.image->GetData(), packedToBgr.image->GetData() + bgr.size()), bgr);
        std::vector<uint16_t> rgb16(3 * pixels);
        Scalar::Scale8To16(rgb.data(), rgb16.data(), rgb16.size());
        Bytes rgb16Bytes(2 * rgb16.size());
        std::memcpy(rgb16Bytes.data(), rgb16.data(), rgb16Bytes.size());
        const Converted toBgra = Convert(rgb16Bytes, width, height, F::RGB16, F::BGRa8, BayerAlgorithmBilinear);
        Scalar::SwapChannels(rgb.data(), 3, hub.data(), 4, ChannelOrder{{2, 1, 0}}, 0, pixels);
        EXPECT_EQ(Bytes(toBgra.image->GetData(), toBgra.image->GetData() + hub.size()), hub);

        // Bayer through the hub into a 16-bit target, both algorithms.
        for (const _EBayerAlgorithm algorithm : {BayerAlgorithmBilinear, BayerAlgorithmAHD}) {
            Bytes bgr(3 * pixels);
            const Mosaic<uint8_t> mosaic{grey.data(), width, height, BayerGrid::GBRG};
            if (algorithm == BayerAlgorithmAHD) Scalar::DemosaicAhd(mosaic, 0, height, bgr.data(), ColourOrder{3, true});
            else Scalar::DemosaicBilinear(mosaic, 0, height, bgr.data(), ColourOrder{3, true});
            std::vector<uint16_t> wide(3 * pixels);
            Scalar::Scale8To16(bgr.data(), wide.data(), wide.size());
            const Converted toBgr16 = Convert(grey, width, height, F::BayerGB8, F::BGR16, algorithm);
            ASSERT_EQ(toBgr16.error, "");
            EXPECT_EQ(std::memcmp(toBgr16.image->GetData(), wide.data(), 2 * wide.size()), 0)
                << (algorithm == BayerAlgorithmAHD ? "AHD" : "bilinear");
        }
    }
}

} // namespace
} // namespace Vireo
