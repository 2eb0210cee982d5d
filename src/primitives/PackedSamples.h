// Kernels that convert between plain 8-/16-bit samples and the packed 10-/12-bit layouts
// (the layouts and conversion rules are those of include/Vireo/Packing.h).
//
// Two implementations with identical output: the scalar reference, written for clarity, and
// the fast path, vectorised with Highway for the best instruction set of the processor,
// chosen at run time. The fast path finishes each frame's last few samples with the scalar
// code, so both write exactly the same bytes. Neither allocates, and neither reads or writes
// outside [buffer, buffer + size) for the sizes given by PlainBytes and PackedBytes.
#ifndef VIREO_SRC_PRIMITIVES_PACKEDSAMPLES_H
#define VIREO_SRC_PRIMITIVES_PACKEDSAMPLES_H

#include <cstddef>
#include <cstdint>

namespace Vireo::Primitives {

enum class PackedLayout : uint8_t {
    P10,      // "10p": 4 samples in 5 bytes, little-endian bit stream
    P12,      // "12p": 2 samples in 3 bytes, little-endian bit stream
    Packed10, // "10Packed": 2 samples in 3 bytes, high bytes outside, low bits in the middle
    Packed12, // "12Packed": as Packed10 with 12-bit samples
};

const char* LayoutName(PackedLayout layout) noexcept;

// Whole groups take their full size; the last, partial group takes the fewest whole bytes
// that hold its samples. Equal to ceil(pixels * 10 / 8) for P10 and ceil(pixels * 12 / 8)
// for the others, without the overflow of the multiplication.
constexpr size_t PackedBytes(PackedLayout layout, size_t pixels) noexcept {
    if (layout == PackedLayout::P10) return pixels / 4 * 5 + (pixels % 4 * 10 + 7) / 8;
    return pixels / 2 * 3 + pixels % 2 * 2;
}

// plainBits is 8 or 16.
constexpr size_t PlainBytes(unsigned plainBits, size_t pixels) noexcept { return pixels * (plainBits / 8); }

namespace Scalar {
void Unpack(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) noexcept;
void Pack(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) noexcept;
} // namespace Scalar

namespace Fast {
void Unpack(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) noexcept;
void Pack(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) noexcept;
// The instruction set the fast path runs with in this process ("AVX2", "SSE4", ...).
const char* TargetName() noexcept;
} // namespace Fast

} // namespace Vireo::Primitives

#endif
