// YCbCr (ITU-R BT.601, video range: Y 16-235, Cb and Cr 16-240) to and from B, G, R pixels,
// for the 4:4:4, 4:2:2 and 4:1:1 layouts in their byte orders. The arithmetic is 16-bit
// fixed point, the same in every build:
//   to colour:  l = 76284 * (Y - 16), cb = Cb - 128, cr = Cr - 128
//               B = clamp((l + 132252 * cb + 32768) >> 16)
//               G = clamp((l - 53281 * cr - 25625 * cb + 32768) >> 16)
//               R = clamp((l + 104595 * cr + 32768) >> 16)
//   from colour: Y  = clamp((16843 R + 33030 G + 6423 B + 32768 + (16 << 16)) >> 16)
//                Cb = clamp((-9699 R - 19071 G + 28770 B + 32768 + (128 << 16)) >> 16)
//                Cr = clamp((28770 R - 24117 G - 4653 B + 32768 + (128 << 16)) >> 16)
// (clamp to 0-255; >> is an arithmetic shift). Subsampled layouts share one chroma pair
// among 2 (4:2:2) or 4 (4:1:1) pixels: decoding gives it to each of them; encoding stores
// the rounded mean of their chroma, (cb0 + cb1 + 1) / 2 and (sum + 2) / 4.
//
// Colour pixels are B, G, R with 3 channels, or B, G, R, 0 with 4.
//
// Incomplete groups at the end of an image: 4:2:2 with an odd pixel count ends in a pair of
// two bytes, the lone pixel's Y and the chroma byte that comes first in the layout, in the
// order the layout gives them (Y Cb for "Y Cb Y Cr", Cb Y for "Cb Y Cr Y"); decoding takes
// the missing chroma as 128, encoding writes those two bytes only, the chroma being the
// pixel's own. 4:1:1 decodes and encodes whole groups of four only; the pixels of a last
// incomplete group are left as they are (decoding) and their bytes are neither read
// (decoding) nor written (encoding).
//
// The layouts name each byte of a group once (a permutation of 0-2, 0-3 or 0-5); within
// that, any order works, not only the byte orders of the pixel formats.
//
// Bytes read and written: 4:4:4 takes 3 bytes per pixel; 4:2:2 takes 2 per pixel, odd
// counts included; 4:1:1 takes 6 per whole group of four. Colour takes 3 or 4 per pixel
// (the 4th ignored on input), except that decoding 4:1:1 leaves the colour of a last
// incomplete group unwritten. No kernel touches a byte outside these ranges or allocates;
// input and output must not overlap.
//
// Each kernel exists as a scalar reference and as a vector fast path chosen at run time;
// both write identical bytes for every input and size.
#ifndef VIREO_SRC_PRIMITIVES_YCBCRKERNELS_H
#define VIREO_SRC_PRIMITIVES_YCBCRKERNELS_H

#include <cstddef>
#include <cstdint>

namespace Vireo::Primitives {

// Byte positions within one group of the layout.
struct Layout444 {
    uint8_t y, cb, cr; // of 3 bytes
};
struct Layout422 {
    uint8_t y0, cb, y1, cr; // of 4 bytes, 2 pixels
};
struct Layout411 {
    uint8_t y[4], cb, cr; // of 6 bytes, 4 pixels
};

namespace Scalar {
void YCbCrToColour(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void YCbCrToColour(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void YCbCrToColour(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) noexcept;
} // namespace Scalar

namespace Fast {
void YCbCrToColour(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void YCbCrToColour(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void YCbCrToColour(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) noexcept;
void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) noexcept;
// The instruction set the fast path runs with in this process ("AVX2", "SSE4", ...).
const char* YCbCrTargetName() noexcept;
} // namespace Fast

} // namespace Vireo::Primitives

#endif
