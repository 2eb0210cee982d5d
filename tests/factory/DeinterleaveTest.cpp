#include <Vireo/ImageFactory.h>
#include <Vireo/Packing.h>
#include <Vireo/PixelFormat.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "pixelformat/PixelFormatTestData.h"
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

// The samples of an interleaved multi-image format as the test writes and reads them: whole
// bytes or 16-bit words (least significant bit aligned), or one of the packed layouts.
struct SampleStorage {
    enum Kind { Bytes, Words, P10, Packed10, P12, Packed12 } kind;
    size_t bits;  // significant bits of a sample
};

// A pixel of the "_2ch"/"_4ch" forms holds every channel; one of the others holds a single
// sample, the width counting every channel.
bool PixelHoldsEveryChannel(const std::string& name) { return name.size() > 3 && name.compare(name.size() - 2, 2, "ch") == 0; }

SampleStorage StorageOf(uint64_t code, const std::string& name) {
    const size_t samplesPerPixel = PixelHoldsEveryChannel(name) ? GetNumChannels(code) : 1;
    const size_t stored = GetBitsPerPixel(code) / samplesPerPixel, bits = GetBitsPerChannel(code);
    if (stored == 8) return {SampleStorage::Bytes, bits};
    if (stored == 16) return {SampleStorage::Words, bits};
    if (stored == 10) return {SampleStorage::P10, bits};
    if (bits == 10) return {SampleStorage::Packed10, bits};
    return {name.find("Packed") != std::string::npos ? SampleStorage::Packed12 : SampleStorage::P12, bits};
}

std::vector<uint8_t> Store(const SampleStorage& storage, const std::vector<uint16_t>& values) {
    std::vector<uint8_t> bytes;
    if (storage.kind == SampleStorage::Bytes) return std::vector<uint8_t>(values.begin(), values.end());
    std::vector<uint8_t> words;
    const unsigned align = storage.kind == SampleStorage::Words ? 0 : unsigned(16 - storage.bits);
    for (uint16_t value : values) {
        words.push_back(uint8_t(value << align));
        words.push_back(uint8_t((value << align) >> 8));
    }
    const size_t count = values.size();
    switch (storage.kind) {
    case SampleStorage::Words: return words;
    case SampleStorage::P10: bytes.resize(count * 10 / 8); Packing::To10p(words.data(), bytes.data(), count, 1, 16); break;
    case SampleStorage::Packed10: bytes.resize(count * 12 / 8); Packing::To10Packed(words.data(), bytes.data(), count, 1, 16); break;
    case SampleStorage::P12: bytes.resize(count * 12 / 8); Packing::To12p(words.data(), bytes.data(), count, 1, 16); break;
    case SampleStorage::Packed12: bytes.resize(count * 12 / 8); Packing::To12Packed(words.data(), bytes.data(), count, 1, 16); break;
    case SampleStorage::Bytes: break;
    }
    return bytes;
}

std::vector<uint16_t> Load(const SampleStorage& storage, const uint8_t* bytes, size_t count) {
    if (storage.kind == SampleStorage::Bytes) return std::vector<uint16_t>(bytes, bytes + count);
    std::vector<uint8_t> words(2 * count);
    switch (storage.kind) {
    case SampleStorage::Words: words.assign(bytes, bytes + 2 * count); break;
    case SampleStorage::P10: Unpacking::From10p(bytes, words.data(), count, 1, 16); break;
    case SampleStorage::Packed10: Unpacking::From10Packed(bytes, words.data(), count, 1, 16); break;
    case SampleStorage::P12: Unpacking::From12p(bytes, words.data(), count, 1, 16); break;
    case SampleStorage::Packed12: Unpacking::From12Packed(bytes, words.data(), count, 1, 16); break;
    case SampleStorage::Bytes: break;
    }
    const unsigned align = storage.kind == SampleStorage::Words ? 0 : unsigned(16 - storage.bits);
    std::vector<uint16_t> values(count);
    for (size_t index = 0; index < count; ++index) values[index] = uint16_t((words[2 * index] | words[2 * index + 1] << 8) >> align);
    return values;
}

TEST_F(Deinterleave, SixteenBitContainersOfDualAndQuadFormatsHoldOneSampleAPixel) {
    // 8 x 3 DualMono10: 24 samples, two 4 x 3 Mono10 planes.
    std::vector<uint16_t> samples(24);
    for (size_t index = 0; index < samples.size(); ++index) samples[index] = uint16_t(0x3FF - 40 * index);
    const SampleStorage words{SampleStorage::Words, 10};
    IImage* dual = Make(Store(words, samples), 8, 3, PfncFormat::DualMono10);
    IImage* stacked = ImageFactory::DeinterleaveChannels(dual);
    EXPECT_EQ(stacked->GetPixelFormat(), uint64_t(PfncFormat::Mono10));
    EXPECT_EQ(stacked->GetWidth(), 4u);
    EXPECT_EQ(stacked->GetHeight(), 6u);
    const std::vector<uint16_t> planes = Load(words, stacked->GetData(), 24);
    EXPECT_EQ(planes[0], samples[0]);
    EXPECT_EQ(planes[1], samples[2]);
    EXPECT_EQ(planes[4], samples[8]) << "row 1 of plane 0";
    EXPECT_EQ(planes[12], samples[1]) << "plane 1 starts below plane 0";
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(dual);

    // 8 x 2 QuadMono10: four 2 x 2 planes.
    IImage* quad = Make(Store(words, std::vector<uint16_t>(samples.begin(), samples.begin() + 16)), 8, 2,
                        PfncFormat::QuadMono10);
    EXPECT_EQ(ImageFactory::DeinterleaveChannelsLen(quad), 32u);
    stacked = ImageFactory::DeinterleaveChannels(quad);
    EXPECT_EQ(stacked->GetWidth(), 2u);
    EXPECT_EQ(stacked->GetHeight(), 8u);
    EXPECT_EQ(Load(words, stacked->GetData(), 16)[4 * 3 + 1], samples[4 + 3]) << "plane 3, pixel 1";
    ImageFactory::Destroy(stacked);
    ImageFactory::Destroy(quad);
}

TEST_F(Deinterleave, EveryDualAndQuadFormatSeparatesIntoPlanesOfItsChannelFormat) {
    size_t formats = 0;
    for (const Testing::ReferenceFormat& format : Testing::OwnFormats()) {
        const std::string& name = format.name;
        if (name.rfind("Dual", 0) != 0 && name.rfind("Quad", 0) != 0) continue;
        ++formats;
        SCOPED_TRACE(name);
        const size_t channels = GetNumChannels(format.code);
        const SampleStorage storage = StorageOf(format.code, name);
        // Three rows of eight samples, all different and using every bit of a sample.
        std::vector<uint16_t> samples(24);
        for (size_t index = 0; index < samples.size(); ++index)
            samples[index] = uint16_t(((1u << storage.bits) - 1) - 37 * index % (1u << storage.bits));
        const size_t width = PixelHoldsEveryChannel(name) ? 8 / channels : 8;
        const std::vector<uint8_t> bytes = Store(storage, samples);
        ASSERT_EQ(bytes.size(), ImageFactory::ExpectedLength(width, 3, format.code));
        IImage* image = ImageFactory::Create(bytes.data(), bytes.size(), width, 3, format.code);
        IImage* stacked = ImageFactory::DeinterleaveChannels(image);
        const std::string plain = name.substr(4, PixelHoldsEveryChannel(name) ? name.rfind('_') - 4 : std::string::npos);
        EXPECT_EQ(GetPixelFormatName(stacked->GetPixelFormat()), plain);
        const size_t planeWidth = 8 / channels;
        EXPECT_EQ(stacked->GetWidth(), planeWidth);
        EXPECT_EQ(stacked->GetHeight(), 3 * channels);
        const std::vector<uint16_t> planes = Load(storage, stacked->GetData(), 24);
        for (size_t channel = 0; channel < channels; ++channel)
            for (size_t row = 0; row < 3; ++row)
                for (size_t column = 0; column < planeWidth; ++column)
                    EXPECT_EQ(planes[(channel * 3 + row) * planeWidth + column], samples[row * 8 + column * channels + channel])
                        << "channel " << channel << ", row " << row << ", column " << column;
        ImageFactory::Destroy(stacked);

        // Scaled and plain bit selection see the same 24 samples, each reduced to its top 8 bits.
        IImage* scaled = ImageFactory::SelectBitsAndScale(image, uint64_t(PfncFormat::Mono8), 0);
        const int bits = storage.kind == SampleStorage::Words && storage.bits == 10 ? 4 : 0;  // (v & 0x3FF) >> (6 - n)
        IImage* selected = ImageFactory::SelectBits(image, uint64_t(PfncFormat::Mono8), bits);
        ASSERT_EQ(scaled->GetSizeFilled(), 24u);
        ASSERT_EQ(selected->GetSizeFilled(), 24u);
        EXPECT_EQ(ImageFactory::SelectBitsLen(image, uint64_t(PfncFormat::Mono8), bits), 24u);
        for (size_t index = 0; index < 24; ++index) {
            EXPECT_EQ(scaled->GetData()[index], samples[index] >> (storage.bits - 8)) << index;
            EXPECT_EQ(selected->GetData()[index], samples[index] >> (storage.bits - 8)) << index;
        }
        ImageFactory::Destroy(selected);
        ImageFactory::Destroy(scaled);
        ImageFactory::Destroy(image);
    }
    EXPECT_EQ(formats, 118u);
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
