// The grey variant's chunks, read from and written to hand-made streams.
#include <Vireo/QoiCodec.h>

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstring>
#include <vector>

#include "QoiTestImages.h"

// GCC announces sanitizers with macros, clang through __has_feature.
#if defined(__SANITIZE_ADDRESS__)
#define QOI_TEST_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define QOI_TEST_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QOI_TEST_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define QOI_TEST_THREAD_SANITIZER 1
#endif
#endif

namespace Vireo {
namespace {

using QoiTest::Block;
using QoiTest::Own;
using QoiTest::Stream;

std::vector<uint8_t> Decode(const std::vector<uint8_t>& stream, size_t pixelCount) {
    qoi_desc read{};
    const Block decoded = Own(qoi_grey_decode(stream.data(), static_cast<int>(stream.size()), &read, 1));
    if (decoded == nullptr) return {};
    return std::vector<uint8_t>(decoded.get(), decoded.get() + pixelCount);
}

std::vector<uint8_t> Chunks(const std::vector<uint8_t>& pixels, uint32_t width) {
    const qoi_desc desc{width, static_cast<uint32_t>(pixels.size() / width), 1, 0};
    int length = 0;
    const Block stream = Own(qoi_grey_encode(pixels.data(), &desc, &length));
    if (stream == nullptr) return {};
    return std::vector<uint8_t>(stream.get() + 14, stream.get() + length - 8);
}

TEST(QoiGreyStream, EachChunkKindProducesItsPixels) {
    // literal 10 20 30; run of 3; pairs (+7,-8) and (-8,+7) wrapping below 0 and back.
    EXPECT_EQ(Decode(Stream(3, 1, 1, {0x82, 10, 20, 30}), 3), (std::vector<uint8_t>{10, 20, 30}));
    EXPECT_EQ(Decode(Stream(5, 1, 1, {0x80, 10, 0xC3}), 5), (std::vector<uint8_t>{10, 10, 10, 10, 10}));
    EXPECT_EQ(Decode(Stream(5, 1, 1, {0x80, 3, 0x41, 0xF0, 0x0F}), 5), (std::vector<uint8_t>{3, 10, 2, 250, 1}));
    // A run before any literal repeats the starting value 0.
    EXPECT_EQ(Decode(Stream(2, 1, 1, {0xC1}), 2), (std::vector<uint8_t>{0, 0}));
    // A chunk may hold 64 entries although the encoder writes at most 62.
    std::vector<uint8_t> full(2 + 64, 0x99); // +1, +1 per difference byte
    full[0] = 0xFF;
    full[1] = 0x7F;
    const auto decoded = Decode(Stream(64, 3, 1, full), 192);
    ASSERT_EQ(decoded.size(), 192u);
    EXPECT_EQ(decoded[63], 0);
    EXPECT_EQ(decoded[64], 1);
    EXPECT_EQ(decoded[191], 128);
}

TEST(QoiGreyStream, SkipLeavesItsOutputByteUnwritten) {
#if defined(QOI_TEST_THREAD_SANITIZER)
    GTEST_SKIP() << "the thread sanitizer's allocator gives no known fill to compare with";
#else
    // Fresh blocks get a known fill: ASan fills small blocks with 0xBE; glibc, asked to
    // perturb, with the complement of the given byte. 64 x 64 is past glibc's per-thread cache,
    // which would hand out blocks without the fill.
#if defined(QOI_TEST_ADDRESS_SANITIZER)
    const uint8_t fill = 0xBE;
#else
    const uint8_t fill = 0xA5;
    mallopt(M_PERTURB, 0x5A);
#endif
    std::vector<uint8_t> chunks = {0x80, 10, 0x00, 0x80, 20, 0x00, 0x00, 0xC0};
    chunks.insert(chunks.end(), 4096 / 64 + 1, 0xFF); // the rest in runs of 64
    const auto stream = Stream(64, 64, 1, chunks);
    qoi_desc read{};
    const Block decoded = Own(qoi_grey_decode(stream.data(), static_cast<int>(stream.size()), &read, 0));
#if !defined(QOI_TEST_ADDRESS_SANITIZER)
    mallopt(M_PERTURB, 0);
#endif
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(decoded.get(), decoded.get() + 8), (std::vector<uint8_t>{10, fill, 20, fill, fill, 20, 20, 20}))
        << "a skip neither writes nor changes the previous pixel";
#endif
}

TEST(QoiGreyStream, ChunksBeyondTheImageAreDroppedAndDecodingStopsWhenItIsFull) {
    // A run of 10 into 4 pixels, a literal of 3 into the last 2; then bytes that are no chunks.
    EXPECT_EQ(Decode(Stream(4, 1, 1, {0xC9, 0xEE}), 4), (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(Decode(Stream(2, 2, 1, {0xC1, 0x82, 7, 8, 9, 0x82}), 4), (std::vector<uint8_t>{0, 0, 7, 8}));
    EXPECT_EQ(Decode(Stream(3, 1, 1, {0x80, 100, 0x41, 0x99, 0x99}), 3), (std::vector<uint8_t>{100, 101, 102}));
}

TEST(QoiGreyStream, RunningOutOfChunksBeforeTheImageIsFullGivesNull) {
    // Too few pixels; a literal or difference chunk whose bytes would reach the end marker.
    qoi_desc read{};
    for (const auto& stream : {Stream(4, 1, 1, {0xC2}), Stream(4, 1, 1, {0x83, 1, 2}), Stream(4, 1, 1, {0x41, 0x88}),
                               Stream(1, 1, 1, {}), Stream(4, 1, 1, {0x00, 0x00, 0x00})})
        EXPECT_EQ(qoi_grey_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr);

    // Every truncation of a valid stream, keeping the end marker, loses pixels.
    std::vector<uint8_t> pixels(300);
    for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i % 7 == 0 ? i * 37 : i / 3);
    const auto chunks = Chunks(pixels, 30);
    ASSERT_FALSE(chunks.empty());
    EXPECT_EQ(Decode(Stream(30, 10, 1, chunks), 300), pixels);
    for (size_t kept = 0; kept < chunks.size(); ++kept) {
        const auto stream = Stream(30, 10, 1, std::vector<uint8_t>(chunks.begin(), chunks.begin() + static_cast<std::ptrdiff_t>(kept)));
        EXPECT_EQ(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr) << kept;
    }
}

TEST(QoiGreyStream, OneChannelStreamIsLeftToTheGreyDecoder) {
    const auto stream = Stream(2, 1, 1, {0x81, 40, 50});
    qoi_desc read{};
    EXPECT_EQ(qoi_colour_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr);
    const Block decoded = Own(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0));
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(read.channels, 1);
    EXPECT_EQ(decoded.get()[0], 40);
    EXPECT_EQ(decoded.get()[1], 50);
}

TEST(QoiGreyStream, EncoderChoosesChunksByThePixelAfterThePrevious) {
    // 10 opens a literal; 12 then 9 are steps of +2 and -3, one pair; 9 9 repeat; 200 and
    // 201 are literals (201 -> 50 is too far for a pair); 50, being last, is a literal too.
    EXPECT_EQ(Chunks({10, 12, 9, 9, 9, 200, 201, 50}, 8),
              (std::vector<uint8_t>{0x80, 10, 0x40, 0xA5, 0xC1, 0x82, 200, 201, 50}));
    // Steps of exactly -8 and +7 still pair; -9 does not.
    EXPECT_EQ(Chunks({100, 92, 99, 90, 91, 92}, 6), (std::vector<uint8_t>{0x80, 100, 0x40, 0x0F, 0x80, 90, 0x40, 0x99}));
}

TEST(QoiGreyStream, EncoderClosesLiteralAndDifferenceChunksAt62Entries) {
    std::vector<uint8_t> jumps(200);
    for (size_t i = 0; i < jumps.size(); ++i) jumps[i] = static_cast<uint8_t>(i % 2 ? 200 : 0);
    auto chunks = Chunks(jumps, 200);
    ASSERT_EQ(chunks.size(), 200u + 4);
    EXPECT_EQ(chunks[0], 0xBD);
    EXPECT_EQ(chunks[63], 0xBD);
    EXPECT_EQ(chunks[126], 0xBD);
    EXPECT_EQ(chunks[189], 0x80 | 13);

    // 1 + 2 * 150 pixels alternating 50 and 51: a literal, then pairs in chunks of 62, 62, 26.
    std::vector<uint8_t> alternating(301);
    for (size_t i = 0; i < alternating.size(); ++i) alternating[i] = static_cast<uint8_t>(50 + i % 2);
    chunks = Chunks(alternating, 301);
    ASSERT_EQ(chunks.size(), 2u + 3 + 150);
    EXPECT_EQ(chunks[2], 0x40 | 61);
    EXPECT_EQ(chunks[65], 0x40 | 61);
    EXPECT_EQ(chunks[128], 0x40 | 25);
    EXPECT_EQ(Decode(Stream(301, 1, 1, chunks), 301), alternating);
}

} // namespace
} // namespace Vireo
