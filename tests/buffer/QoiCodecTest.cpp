// The codec as a whole: round trips, the header rules both variants share, and refusals.
#include <Vireo/QoiCodec.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "QoiTestImages.h"

namespace Vireo {
namespace {

using QoiTest::Block;
using QoiTest::MixedPixels;
using QoiTest::Own;
using QoiTest::Stream;

struct Size {
    uint32_t width, height;
};

const Size oddSizes[] = {{1, 1}, {1, 2}, {2, 1}, {3, 3}, {7, 5}, {1, 63}, {63, 1}, {65, 3}, {127, 9}, {33, 61}, {4097, 3}};

TEST(QoiCodec, RoundTripsRandomImagesOfOddSizesForOneThreeAndFourChannels) {
    uint32_t seed = 1;
    for (const uint8_t channels : {1, 3, 4}) {
        for (const Size size : oddSizes) {
            SCOPED_TRACE(std::to_string(channels) + " channels, " + std::to_string(size.width) + " x " + std::to_string(size.height));
            const auto pixels = MixedPixels(static_cast<size_t>(size.width) * size.height, channels, seed++);
            const qoi_desc desc{size.width, size.height, channels, 1};
            int length = 0;
            const Block stream = Own(qoi_encode(pixels.data(), &desc, &length));
            ASSERT_NE(stream, nullptr);
            ASSERT_GE(length, 22);
            EXPECT_EQ(0, std::memcmp(stream.get() + length - 8, "\0\0\0\0\0\0\0\1", 8)) << "end marker";

            // An exact-size copy, so that a read beyond the stream is an error under ASan.
            const std::vector<uint8_t> exact(stream.get(), stream.get() + length);
            qoi_desc read{};
            const Block decoded = Own(qoi_decode(exact.data(), length, &read, 0));
            ASSERT_NE(decoded, nullptr);
            EXPECT_EQ(read.width, size.width);
            EXPECT_EQ(read.height, size.height);
            EXPECT_EQ(read.channels, channels);
            EXPECT_EQ(read.colorspace, 1);
            EXPECT_EQ(0, std::memcmp(decoded.get(), pixels.data(), pixels.size()));
        }
    }
}

TEST(QoiCodec, ColourStreamsDecodeToThreeOrFourChannelsOnRequest) {
    const qoi_desc desc{19, 7, 4, 0};
    const auto rgba = MixedPixels(19 * 7, 4, 77);
    int length = 0;
    const Block stream = Own(qoi_encode(rgba.data(), &desc, &length));
    ASSERT_NE(stream, nullptr);

    qoi_desc read{};
    const Block rgb = Own(qoi_decode(stream.get(), length, &read, 3));
    ASSERT_NE(rgb, nullptr);
    EXPECT_EQ(read.channels, 4) << "the descriptor tells what the stream holds";
    for (size_t i = 0; i < 19 * 7; ++i) ASSERT_EQ(0, std::memcmp(rgb.get() + i * 3, rgba.data() + i * 4, 3)) << i;

    const qoi_desc rgbDesc{19, 7, 3, 0};
    const auto rgbPixels = MixedPixels(19 * 7, 3, 78);
    const Block rgbStream = Own(qoi_encode(rgbPixels.data(), &rgbDesc, &length));
    const Block widened = Own(qoi_decode(rgbStream.get(), length, &read, 4));
    ASSERT_NE(widened, nullptr);
    for (size_t i = 0; i < 19 * 7; ++i) {
        ASSERT_EQ(0, std::memcmp(widened.get() + i * 4, rgbPixels.data() + i * 3, 3)) << i;
        ASSERT_EQ(widened.get()[i * 4 + 3], 255) << i;
    }
}

TEST(QoiCodec, ColourRunsLongerThan62PixelsBecomeSeveralChunks) {
    // 200 pixels equal to the starting pixel (opaque black): runs of 62, 62, 62 and 14.
    const std::vector<uint8_t> black(200 * 4, 0);
    std::vector<uint8_t> pixels = black;
    for (size_t i = 3; i < pixels.size(); i += 4) pixels[i] = 255;
    const qoi_desc desc{200, 1, 4, 0};
    int length = 0;
    const Block stream = Own(qoi_encode(pixels.data(), &desc, &length));
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(length, 14 + 4 + 8);
    EXPECT_EQ(std::vector<uint8_t>(stream.get() + 14, stream.get() + 18), (std::vector<uint8_t>{0xFD, 0xFD, 0xFD, 0xCD}));

    qoi_desc read{};
    const Block decoded = Own(qoi_decode(stream.get(), length, &read, 4));
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(0, std::memcmp(decoded.get(), pixels.data(), pixels.size()));
}

TEST(QoiCodec, GreyRunsLongerThan62PixelsBecomeSeveralChunks) {
    // A literal for the first pixel, then 199 repeats: 62 + 62 + 62 + 13.
    const std::vector<uint8_t> pixels(200, 77);
    const qoi_desc desc{10, 20, 1, 0};
    int length = 0;
    const Block stream = Own(qoi_encode(pixels.data(), &desc, &length));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::vector<uint8_t>(stream.get() + 14, stream.get() + length - 8),
              (std::vector<uint8_t>{0x80, 77, 0xFD, 0xFD, 0xFD, 0xCC}));

    qoi_desc read{};
    const Block decoded = Own(qoi_decode(stream.get(), length, &read, 0));
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(0, std::memcmp(decoded.get(), pixels.data(), pixels.size()));
}

TEST(QoiCodec, RefusesImagesOf400MillionPixelsOrMore) {
    const uint8_t pixel[4] = {};
    int length = -1;
    // The test is height >= 400000000 / width, so 3 x 133333333 is refused as well.
    for (const Size size : {Size{20000, 20000}, Size{1, 400000000}, Size{400000000, 1}, Size{3, 133333333},
                            Size{0xFFFFFFFF, 0xFFFFFFFF}}) {
        for (const uint8_t channels : {1, 3, 4}) {
            const qoi_desc desc{size.width, size.height, channels, 0};
            EXPECT_EQ(qoi_encode(pixel, &desc, &length), nullptr) << size.width << " x " << size.height;
            const auto stream = Stream(size.width, size.height, channels, {0xC0, 0xC0});
            qoi_desc read{};
            EXPECT_EQ(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr);
        }
    }
    EXPECT_EQ(length, -1);
}

TEST(QoiCodec, AcceptsAGreyImageJustBelowTheLimit) {
    // 1 x 399999999 as runs of 64 pixels (tag 0xFF): a 400 MB image from a 6 MB stream.
    const uint32_t height = 399999999;
    const std::vector<uint8_t> runs((height + 63) / 64, 0xFF);
    const auto stream = Stream(1, height, 1, runs);
    qoi_desc read{};
    const Block decoded = Own(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 1));
    ASSERT_NE(decoded, nullptr);
    EXPECT_EQ(read.height, height);
    EXPECT_EQ(decoded.get()[height - 1], 0);
}

TEST(QoiCodec, StreamsShorterThan22BytesAreRefusedByBothVariants) {
    // Header and end marker alone make 22 bytes; a shorter prefix of a valid stream is refused
    // before anything is read.
    for (const uint8_t channels : {1, 3, 4}) {
        const std::vector<uint8_t> pixels(channels, 0);
        const qoi_desc desc{1, 1, channels, 0};
        int length = 0;
        const Block stream = Own(qoi_encode(pixels.data(), &desc, &length));
        ASSERT_NE(stream, nullptr);
        for (int size = 0; size < 22; ++size) {
            const std::vector<uint8_t> prefix(stream.get(), stream.get() + size);
            qoi_desc read{};
            EXPECT_EQ(qoi_decode(prefix.data(), size, &read, 0), nullptr) << size;
            EXPECT_EQ(qoi_colour_decode(prefix.data(), size, &read, 0), nullptr) << size;
            EXPECT_EQ(qoi_grey_decode(prefix.data(), size, &read, 0), nullptr) << size;
        }
        qoi_desc read{};
        EXPECT_EQ(qoi_decode(stream.get(), -1, &read, 0), nullptr);
    }
}

TEST(QoiCodec, HeadersWithWrongMagicOrFieldsAreRefused) {
    for (const uint8_t channels : {1, 3, 4}) {
        const auto valid = Stream(2, 1, channels, channels == 1 ? std::vector<uint8_t>{0x81, 5, 6} : std::vector<uint8_t>{0xC1});
        qoi_desc read{};
        Block decoded = Own(qoi_decode(valid.data(), static_cast<int>(valid.size()), &read, 0));
        ASSERT_NE(decoded, nullptr) << "the unmodified stream is valid";

        for (size_t byte = 0; byte < 4; ++byte) {
            auto stream = valid;
            stream[byte] ^= 0x20; // "Qoif", "qOif", ...
            EXPECT_EQ(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr) << byte;
        }
        auto zeroWidth = valid;
        zeroWidth[7] = 0;
        auto zeroHeight = valid;
        zeroHeight[11] = 0;
        auto colourSpace = valid;
        colourSpace[13] = 2;
        for (const auto* stream : {&zeroWidth, &zeroHeight, &colourSpace})
            EXPECT_EQ(qoi_decode(stream->data(), static_cast<int>(stream->size()), &read, 0), nullptr);
    }
    for (const uint8_t channels : {0, 2, 5, 255}) {
        const auto stream = Stream(1, 1, channels, {0x80, 1, 0xFE, 1, 2, 3});
        qoi_desc read{};
        EXPECT_EQ(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0), nullptr) << int(channels);
    }
}

TEST(QoiCodec, RequestedChannelsMustSuitTheStream) {
    const auto grey = Stream(1, 1, 1, {0x80, 9});
    const auto colour = Stream(1, 1, 3, {0xFE, 1, 2, 3});
    qoi_desc read{};
    for (const int channels : {0, 1}) EXPECT_NE(Own(qoi_decode(grey.data(), static_cast<int>(grey.size()), &read, channels)), nullptr);
    for (const int channels : {2, 3, 4, 5}) EXPECT_EQ(qoi_decode(grey.data(), static_cast<int>(grey.size()), &read, channels), nullptr);
    for (const int channels : {0, 3, 4}) EXPECT_NE(Own(qoi_decode(colour.data(), static_cast<int>(colour.size()), &read, channels)), nullptr);
    for (const int channels : {1, 2, 5, -3}) EXPECT_EQ(qoi_colour_decode(colour.data(), static_cast<int>(colour.size()), &read, channels), nullptr);
}

TEST(QoiCodec, EncodersRefuseMissingArgumentsAndUnsupportedDescriptors) {
    const uint8_t pixels[16] = {};
    const qoi_desc valid{2, 2, 4, 0};
    int length = -1;
    EXPECT_EQ(qoi_encode(nullptr, &valid, &length), nullptr);
    EXPECT_EQ(qoi_encode(pixels, nullptr, &length), nullptr);
    EXPECT_EQ(qoi_encode(pixels, &valid, nullptr), nullptr);
    for (const qoi_desc desc : {qoi_desc{0, 2, 4, 0}, qoi_desc{2, 0, 4, 0}, qoi_desc{2, 2, 0, 0}, qoi_desc{2, 2, 2, 0},
                                qoi_desc{2, 2, 5, 0}, qoi_desc{2, 2, 4, 2}, qoi_desc{2, 2, 1, 2}})
        EXPECT_EQ(qoi_encode(pixels, &desc, &length), nullptr);
    // Each variant keeps to its own channel counts.
    const qoi_desc grey{2, 2, 1, 0}, colour{2, 2, 3, 0};
    EXPECT_EQ(qoi_colour_encode(pixels, &grey, &length), nullptr);
    EXPECT_EQ(qoi_grey_encode(pixels, &colour, &length), nullptr);
    EXPECT_EQ(length, -1);

    qoi_desc read{};
    const auto stream = Stream(1, 1, 3, {0xFE, 1, 2, 3});
    EXPECT_EQ(qoi_decode(nullptr, static_cast<int>(stream.size()), &read, 0), nullptr);
    EXPECT_EQ(qoi_decode(stream.data(), static_cast<int>(stream.size()), nullptr, 0), nullptr);
}

TEST(QoiCodec, ColourStreamWithoutChunksRepeatsTheStartingPixel) {
    // Like the QOI reference reader: pixels beyond the last chunk repeat the last pixel.
    const auto stream = Stream(2, 2, 4, {});
    qoi_desc read{};
    const Block decoded = Own(qoi_decode(stream.data(), static_cast<int>(stream.size()), &read, 0));
    ASSERT_NE(decoded, nullptr);
    for (int i = 0; i < 4; ++i) EXPECT_EQ(std::vector<uint8_t>(decoded.get() + i * 4, decoded.get() + i * 4 + 4), (std::vector<uint8_t>{0, 0, 0, 255}));
}

TEST(QoiCodec, BigEndianNumbersAtARunningPosition) {
    unsigned char bytes[12] = {};
    int position = 1;
    qoi_write_32(bytes, &position, 0x716F6966);
    qoi_write_32(bytes, &position, 0xFFFFFFFE);
    EXPECT_EQ(position, 9);
    EXPECT_EQ(0, std::memcmp(bytes, "\0qoif\xFF\xFF\xFF\xFE\0\0\0", 12));

    position = 1;
    EXPECT_EQ(qoi_read_32(bytes, &position), 0x716F6966u);
    EXPECT_EQ(qoi_read_32(bytes, &position), 0xFFFFFFFEu);
    EXPECT_EQ(position, 9);
}

} // namespace
} // namespace Vireo
