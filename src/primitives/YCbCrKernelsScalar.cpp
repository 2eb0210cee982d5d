// The scalar reference of the YCbCr kernels: one pixel at a time, the arithmetic written as
// in YCbCrKernels.h. The fast path finishes every frame with these functions.
#include <algorithm>

#include "YCbCrKernels.h"

namespace Vireo::Primitives::Scalar {
namespace {

uint8_t Clamp8(int value) { return static_cast<uint8_t>(std::clamp(value, 0, 255)); }

// One pixel from its Y, Cb and Cr: B, G, R and, with 4 channels, 0.
void ToColour(int y, int cb, int cr, uint8_t* colour, unsigned channels) {
    const int luma = 76284 * (y - 16); // 1.164
    cb -= 128;
    cr -= 128;
    constexpr int kHalf = 1 << 15;
    colour[0] = Clamp8((luma + 132252 * cb + kHalf) >> 16);             // 2.018
    colour[1] = Clamp8((luma - 53281 * cr - 25625 * cb + kHalf) >> 16); // 0.813, 0.391
    colour[2] = Clamp8((luma + 104595 * cr + kHalf) >> 16);             // 1.596
    if (channels == 4) colour[3] = 0;
}

struct YCbCr {
    uint8_t y, cb, cr;
};

// The Y, Cb and Cr of one B, G, R pixel.
YCbCr FromColour(const uint8_t* colour) {
    const int b = colour[0], g = colour[1], r = colour[2];
    constexpr int kHalf = 1 << 15;
    return {Clamp8((16843 * r + 33030 * g + 6423 * b + kHalf + (16 << 16)) >> 16),    // .257 .504 .098
            Clamp8((-9699 * r - 19071 * g + 28770 * b + kHalf + (128 << 16)) >> 16),  // -.148 -.291 .439
            Clamp8((28770 * r - 24117 * g - 4653 * b + kHalf + (128 << 16)) >> 16)};  // .439 -.368 -.071
}

// The two bytes of a lone last 4:2:2 pixel: its Y and the chroma that comes first in the
// layout, kept in the layout's order.
struct LonePair {
    unsigned yAt, chromaAt;
    bool chromaIsCb;
};

LonePair LonePairOf(Layout422 layout) {
    const bool chromaIsCb = layout.cb < layout.cr;
    const bool yFirst = layout.y0 < (chromaIsCb ? layout.cb : layout.cr);
    return {yFirst ? 0u : 1u, yFirst ? 1u : 0u, chromaIsCb};
}

} // namespace

void YCbCrToColour(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    for (size_t pixel = 0; pixel < pixels; ++pixel) {
        const uint8_t* bytes = in + 3 * pixel;
        ToColour(bytes[layout.y], bytes[layout.cb], bytes[layout.cr], colour + channels * pixel, channels);
    }
}

void YCbCrToColour(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    const size_t pairs = pixels / 2;
    for (size_t pair = 0; pair < pairs; ++pair) {
        const uint8_t* bytes = in + 4 * pair;
        uint8_t* out = colour + 2 * channels * pair;
        ToColour(bytes[layout.y0], bytes[layout.cb], bytes[layout.cr], out, channels);
        ToColour(bytes[layout.y1], bytes[layout.cb], bytes[layout.cr], out + channels, channels);
    }
    if (pixels % 2 != 0) {
        // The stream has no second chroma for the last pixel: it is taken as neutral.
        const LonePair lone = LonePairOf(layout);
        const uint8_t* bytes = in + 4 * pairs;
        const int chroma = bytes[lone.chromaAt];
        ToColour(bytes[lone.yAt], lone.chromaIsCb ? chroma : 128, lone.chromaIsCb ? 128 : chroma,
                 colour + channels * (pixels - 1), channels);
    }
}

void YCbCrToColour(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    for (size_t group = 0; group < pixels / 4; ++group) {
        const uint8_t* bytes = in + 6 * group;
        for (size_t pixel = 0; pixel < 4; ++pixel)
            ToColour(bytes[layout.y[pixel]], bytes[layout.cb], bytes[layout.cr],
                     colour + channels * (4 * group + pixel), channels);
    }
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) noexcept {
    for (size_t pixel = 0; pixel < pixels; ++pixel) {
        const YCbCr value = FromColour(colour + channels * pixel);
        uint8_t* bytes = out + 3 * pixel;
        bytes[layout.y] = value.y;
        bytes[layout.cb] = value.cb;
        bytes[layout.cr] = value.cr;
    }
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) noexcept {
    // Two pixels share the rounded mean of their chroma.
    const size_t pairs = pixels / 2;
    for (size_t pair = 0; pair < pairs; ++pair) {
        const YCbCr first = FromColour(colour + 2 * channels * pair);
        const YCbCr second = FromColour(colour + 2 * channels * pair + channels);
        uint8_t* bytes = out + 4 * pair;
        bytes[layout.y0] = first.y;
        bytes[layout.y1] = second.y;
        bytes[layout.cb] = static_cast<uint8_t>((first.cb + second.cb + 1) / 2);
        bytes[layout.cr] = static_cast<uint8_t>((first.cr + second.cr + 1) / 2);
    }
    if (pixels % 2 != 0) {
        const LonePair lone = LonePairOf(layout);
        const YCbCr value = FromColour(colour + channels * (pixels - 1));
        uint8_t* bytes = out + 4 * pairs;
        bytes[lone.yAt] = value.y;
        bytes[lone.chromaAt] = lone.chromaIsCb ? value.cb : value.cr;
    }
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) noexcept {
    // Four pixels share the rounded mean of their chroma.
    for (size_t group = 0; group < pixels / 4; ++group) {
        uint8_t* bytes = out + 6 * group;
        int cbSum = 0, crSum = 0;
        for (size_t pixel = 0; pixel < 4; ++pixel) {
            const YCbCr value = FromColour(colour + channels * (4 * group + pixel));
            bytes[layout.y[pixel]] = value.y;
            cbSum += value.cb;
            crSum += value.cr;
        }
        bytes[layout.cb] = static_cast<uint8_t>((cbSum + 2) / 4);
        bytes[layout.cr] = static_cast<uint8_t>((crSum + 2) / 4);
    }
}

} // namespace Vireo::Primitives::Scalar
