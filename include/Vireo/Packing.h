// Conversions between plain 8- or 16-bit pixels and the packed 10- and 12-bit layouts in
// which cameras send them.
//
// A frame is width * height samples in one continuous run: rows are not padded, so a row of
// a packed frame may end inside a byte and the next row starts there. Samples are unsigned.
//
//   10p       4 samples in 5 bytes, a little-endian bit stream: sample k is stream bits
//             10k..10k+9, least significant bit first.
//   12p       2 samples in 3 bytes, the same bit stream with 12-bit samples.
//   10Packed  2 samples in 3 bytes: byte 0 = bits 9-2 of sample 0, byte 1 bits 0-1 = bits 1-0
//             of sample 0 and bits 4-5 = bits 1-0 of sample 1, byte 2 = bits 9-2 of sample 1.
//   12Packed  2 samples in 3 bytes: byte 0 = bits 11-4 of sample 0, byte 1 low nibble =
//             bits 3-0 of sample 0 and high nibble = bits 3-0 of sample 1, byte 2 = bits 11-4
//             of sample 1.
//
// A packed frame of n samples occupies ceil(n * b / 8) bytes, with b = 10 for 10p and 12 for
// the other three layouts (10Packed spends 12 bits per sample). When n is not a multiple of
// the group, the last group holds the remaining whole samples in the fewest whole bytes:
// 1, 2 or 3 samples of 10p in 2, 3 or 4 bytes, and the single last sample of 12p, 10Packed
// or 12Packed in 2 bytes (12p: byte 0 = bits 7-0, low nibble of byte 1 = bits 11-8;
// 10Packed and 12Packed: the first two bytes of a full group). Bits of a last byte that no
// sample occupies are written as 0 and ignored when read.
//
// A plain frame holds one byte per sample (bitsPerPixel 8) or two little-endian bytes
// (bitsPerPixel 16). 16-bit samples are most significant bit aligned: a 10-bit value v is
// v << 6, a 12-bit value v << 4.
//
// Every function takes (source, destination, width, height, bitsPerPixel), where
// bitsPerPixel (8 or 16) is that of the plain side, and throws
// GenICam::InvalidArgumentException for a null pointer, a zero width or height, a frame too
// large to address, or another bitsPerPixel. Source and destination must not overlap.
#ifndef VIREO_PACKING_H
#define VIREO_PACKING_H

#include <cstddef>
#include <cstdint>

#include <Vireo/Config.h>

namespace Vireo {

// Plain to packed.
//
// From 8 bits, a sample is the byte shifted to the top: v << 2 for 10 bits, v << 4 for 12
// bits, the low bits 0. From 16 bits, a sample is the top 10 or 12 bits (truncated), except
// that To10Packed and To12Packed combine the low bytes of the two samples of a group into the
// middle byte without masking them, as cameras' reference tools do:
//   12Packed: byte 1 = (low byte of sample 0 >> 4) | (low byte of sample 1)
//   10Packed: byte 1 = (low byte of sample 0 >> 6) | (low byte of sample 1 >> 2)
// (0x1234, 0x5678 give 12Packed 0x12 0x7B 0x56). For most significant bit aligned input the
// bits that do not belong are 0 and the result is the exact layout.
namespace Packing {
VIREO_API void To10p(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                     size_t bitsPerPixel);
VIREO_API void To10Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                          size_t bitsPerPixel);
VIREO_API void To12p(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                     size_t bitsPerPixel);
VIREO_API void To12Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                          size_t bitsPerPixel);
} // namespace Packing

// Packed to plain: to 8 bits, the 8 most significant bits of each sample; to 16 bits, the
// sample most significant bit aligned with the low bits 0.
namespace Unpacking {
VIREO_API void From10p(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                       size_t bitsPerPixel);
VIREO_API void From10Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                            size_t bitsPerPixel);
VIREO_API void From12p(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                       size_t bitsPerPixel);
VIREO_API void From12Packed(const uint8_t* source, uint8_t* destination, size_t width, size_t height,
                            size_t bitsPerPixel);
} // namespace Unpacking

} // namespace Vireo

#endif
