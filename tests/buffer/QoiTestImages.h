// Pixels and stream helpers for the QOI codec tests.
#ifndef VIREO_TESTS_BUFFER_QOITESTIMAGES_H
#define VIREO_TESTS_BUFFER_QOITESTIMAGES_H

#include <Vireo/QoiCodec.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

namespace Vireo::QoiTest {

struct FreeDeleter {
    void operator()(void* block) const { std::free(block); }
};
using Block = std::unique_ptr<unsigned char, FreeDeleter>;

inline Block Own(void* block) { return Block(static_cast<unsigned char*>(block)); }

// Pixels that exercise every kind of chunk: repeats, small and medium steps, returns to
// recently seen values, alpha changes and unrelated values, in random order.
inline std::vector<uint8_t> MixedPixels(size_t count, int channels, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<uint8_t> pixels(count * channels);
    std::vector<std::vector<uint8_t>> recent(8, std::vector<uint8_t>(channels, 0));
    std::vector<uint8_t> pixel(channels, 0);
    if (channels == 4) pixel[3] = 255;
    for (size_t i = 0; i < count; ++i) {
        switch (random() % 8) {
        case 0:
        case 1: break; // repeat
        case 2:
            for (auto& value : pixel) value = static_cast<uint8_t>(value + static_cast<int>(random() % 3) - 1);
            break;
        case 3: {
            const int step = static_cast<int>(random() % 80) - 40; // across the luma limits
            for (int c = 0; c < channels && c < 3; ++c)
                pixel[c] = static_cast<uint8_t>(pixel[c] + step + static_cast<int>(random() % 9) - 4);
            break;
        }
        case 4: pixel = recent[random() % recent.size()]; break;
        case 5:
            if (channels == 4) pixel[3] = static_cast<uint8_t>(random());
            else pixel[0] = static_cast<uint8_t>(pixel[0] + 9);
            break;
        default:
            for (auto& value : pixel) value = static_cast<uint8_t>(random());
            break;
        }
        recent[random() % recent.size()] = pixel;
        std::copy(pixel.begin(), pixel.end(), pixels.begin() + static_cast<std::ptrdiff_t>(i * channels));
    }
    return pixels;
}

// A stream assembled by hand: header, the given chunk bytes, end marker.
inline std::vector<uint8_t> Stream(uint32_t width, uint32_t height, uint8_t channels, const std::vector<uint8_t>& chunks,
                                   uint8_t colourSpace = 0) {
    std::vector<uint8_t> stream(14);
    int position = 0;
    qoi_write_32(stream.data(), &position, 0x716F6966);
    qoi_write_32(stream.data(), &position, width);
    qoi_write_32(stream.data(), &position, height);
    stream[12] = channels;
    stream[13] = colourSpace;
    stream.insert(stream.end(), chunks.begin(), chunks.end());
    stream.insert(stream.end(), {0, 0, 0, 0, 0, 0, 0, 1});
    return stream;
}

} // namespace Vireo::QoiTest

#endif
