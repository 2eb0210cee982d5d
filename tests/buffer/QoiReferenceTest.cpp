// The colour variant against the QOI reference codec (Debian's libqoi-dev): the same bytes
// out of the encoder, and the same pixels out of the decoder for any stream, broken or not.
#include <Vireo/QoiCodec.h>

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "QoiTestImages.h"

#define QOI_NO_STDIO
#define QOI_IMPLEMENTATION
#include <qoi.h>

namespace Vireo {
namespace {

using QoiTest::Block;
using QoiTest::MixedPixels;
using QoiTest::Own;

std::vector<uint8_t> OursEncoded(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, uint8_t channels) {
    const Vireo::qoi_desc desc{width, height, channels, 0};
    int length = 0;
    const Block stream = Own(Vireo::qoi_encode(pixels.data(), &desc, &length));
    return stream ? std::vector<uint8_t>(stream.get(), stream.get() + length) : std::vector<uint8_t>{};
}

std::vector<uint8_t> ReferenceEncoded(const std::vector<uint8_t>& pixels, uint32_t width, uint32_t height, uint8_t channels) {
    const ::qoi_desc desc{width, height, channels, 0};
    int length = 0;
    const Block stream = Own(::qoi_encode(pixels.data(), &desc, &length));
    return stream ? std::vector<uint8_t>(stream.get(), stream.get() + length) : std::vector<uint8_t>{};
}

// Decodes with both codecs and expects the same answer: both null, or the same descriptor
// and pixels. The stream is an exact-size heap block so that ASan sees any over-read.
void ExpectSameDecoding(const std::vector<uint8_t>& stream, int channels) {
    const std::vector<uint8_t> exact(stream);
    Vireo::qoi_desc ours{};
    ::qoi_desc reference{};
    const Block ourPixels = Own(Vireo::qoi_colour_decode(exact.data(), static_cast<int>(exact.size()), &ours, channels));
    const Block referencePixels = Own(::qoi_decode(exact.data(), static_cast<int>(exact.size()), &reference, channels));
    ASSERT_EQ(ourPixels == nullptr, referencePixels == nullptr);
    if (ourPixels == nullptr) return;
    ASSERT_EQ(ours.width, reference.width);
    ASSERT_EQ(ours.height, reference.height);
    ASSERT_EQ(ours.channels, reference.channels);
    const size_t size = static_cast<size_t>(ours.width) * ours.height * (channels == 0 ? ours.channels : channels);
    ASSERT_EQ(0, std::memcmp(ourPixels.get(), referencePixels.get(), size));
}

TEST(QoiReference, ColourEncodingIsByteIdentical) {
    const struct {
        uint32_t width, height;
    } sizes[] = {{1, 1}, {2, 1}, {1, 3}, {5, 5}, {62, 1}, {63, 1}, {64, 2}, {125, 3}, {97, 41}, {4097, 3}};
    uint32_t seed = 100;
    for (const uint8_t channels : {3, 4}) {
        for (const auto size : sizes) {
            SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(size.width) + " x " + std::to_string(size.height));
            const auto pixels = MixedPixels(static_cast<size_t>(size.width) * size.height, channels, seed++);
            const auto ours = OursEncoded(pixels, size.width, size.height, channels);
            ASSERT_FALSE(ours.empty());
            EXPECT_EQ(ours, ReferenceEncoded(pixels, size.width, size.height, channels));
        }
    }
}

TEST(QoiReference, ColourEncodingIsByteIdenticalOnRunsAndRepeatedColours) {
    // Runs at the start (equal to the starting pixel), across 62 and at the very end; colours
    // that return through the index; alpha that changes alone.
    for (const uint8_t channels : {3, 4}) {
        std::vector<uint8_t> pixels;
        auto add = [&](uint8_t r, uint8_t g, uint8_t b, uint8_t a, int times) {
            for (int i = 0; i < times; ++i) {
                pixels.insert(pixels.end(), {r, g, b});
                if (channels == 4) pixels.push_back(a);
            }
        };
        add(0, 0, 0, 255, 70);
        add(10, 20, 30, 255, 62);
        add(10, 20, 30, 0, 1);
        add(0, 0, 0, 255, 1);
        add(10, 20, 30, 0, 124);
        add(11, 21, 29, 0, 1);
        add(200, 100, 50, 0, 63);
        add(10, 20, 30, 0, 1);
        add(0, 0, 0, 0, 1);
        add(255, 255, 255, 255, 3);
        const auto count = static_cast<uint32_t>(pixels.size() / channels);
        EXPECT_EQ(OursEncoded(pixels, count, 1, channels), ReferenceEncoded(pixels, count, 1, channels));
        ExpectSameDecoding(OursEncoded(pixels, count, 1, channels), 0);
    }
}

TEST(QoiReference, EachDecoderReadsTheOthersStreams) {
    for (const uint8_t channels : {3, 4}) {
        const auto pixels = MixedPixels(301 * 7, channels, 5 + channels);
        const auto referenceStream = ReferenceEncoded(pixels, 301, 7, channels);
        Vireo::qoi_desc ours{};
        const Block ourPixels = Own(Vireo::qoi_decode(referenceStream.data(), static_cast<int>(referenceStream.size()), &ours, 0));
        ASSERT_NE(ourPixels, nullptr);
        EXPECT_EQ(0, std::memcmp(ourPixels.get(), pixels.data(), pixels.size()));

        const auto ourStream = OursEncoded(pixels, 301, 7, channels);
        ::qoi_desc reference{};
        const Block referencePixels = Own(::qoi_decode(ourStream.data(), static_cast<int>(ourStream.size()), &reference, 0));
        ASSERT_NE(referencePixels, nullptr);
        EXPECT_EQ(0, std::memcmp(referencePixels.get(), pixels.data(), pixels.size()));
        for (const int wanted : {0, 3, 4}) ExpectSameDecoding(ourStream, wanted);
    }
}

TEST(QoiReference, TruncatedColourStreamsDecodeAsTheReferenceDoes) {
    // Cut anywhere, with or without the end marker: both readers repeat the last pixel.
    const auto pixels = MixedPixels(23 * 5, 4, 31);
    const auto stream = OursEncoded(pixels, 23, 5, 4);
    for (size_t size = 0; size <= stream.size(); ++size) {
        SCOPED_TRACE(size);
        const std::vector<uint8_t> cut(stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(size));
        for (const int wanted : {0, 3, 4}) ExpectSameDecoding(cut, wanted);
    }
}

TEST(QoiReference, CorruptedColourStreamsDecodeAsTheReferenceDoes) {
    // Random chunk bytes behind a valid header, and valid streams with bytes overwritten.
    std::mt19937 random(2024);
    for (int trial = 0; trial < 300; ++trial) {
        const auto pixels = MixedPixels(17 * 9, 3 + trial % 2, trial);
        auto stream = OursEncoded(pixels, 17, 9, static_cast<uint8_t>(3 + trial % 2));
        if (trial % 3 == 0) {
            for (size_t i = 14; i < stream.size(); ++i) stream[i] = static_cast<uint8_t>(random());
        } else {
            for (int flips = 0; flips < 4; ++flips) stream[14 + random() % (stream.size() - 14)] = static_cast<uint8_t>(random());
        }
        for (const int wanted : {0, 3, 4}) ExpectSameDecoding(stream, wanted);
    }
}

} // namespace
} // namespace Vireo
