// The scalar reference of the packing kernels, and the fast path's finish for the samples
// that do not fill a vector.
//
// Every layout converts through one intermediate form, the 16-bit most significant bit
// aligned sample: an 8-bit plain value v stands for v << 8, and the 8-bit result of unpacking
// is the high byte. So each layout needs only a group codec between bytes and 16-bit
// samples, and the rules "8 bits go to the top" and "keep the top 8 bits" hold for all.
#include "PackedSamples.h"

namespace Vireo::Primitives {

const char* LayoutName(PackedLayout layout) noexcept {
    switch (layout) {
    case PackedLayout::P10: return "10p";
    case PackedLayout::P12: return "12p";
    case PackedLayout::Packed10: return "10Packed";
    case PackedLayout::Packed12: return "12Packed";
    }
    return "?";
}

namespace {

template <unsigned PlainBits>
inline uint16_t ReadPlain(const uint8_t* plain, size_t index) {
    if constexpr (PlainBits == 8) return static_cast<uint16_t>(plain[index] << 8);
    else return static_cast<uint16_t>(plain[2 * index] | plain[2 * index + 1] << 8);
}

template <unsigned PlainBits>
inline void WritePlain(uint8_t* plain, size_t index, uint16_t sample) {
    if constexpr (PlainBits == 8) {
        plain[index] = static_cast<uint8_t>(sample >> 8);
    } else {
        plain[2 * index] = static_cast<uint8_t>(sample);
        plain[2 * index + 1] = static_cast<uint8_t>(sample >> 8);
    }
}

// 10p and 12p: sample k of a group is bits Bits*k .. Bits*k + Bits-1 of the group read as one
// little-endian number. A partial group of `count` samples spans ceil(Bits * count / 8) bytes.
template <unsigned Bits, size_t GroupPixels>
struct BitStreamCodec {
    static constexpr size_t kGroupPixels = GroupPixels;
    static constexpr size_t kGroupBytes = Bits * GroupPixels / 8;
    static constexpr unsigned kAlign = 16 - Bits;

    static void Decode(const uint8_t* in, size_t count, uint16_t* samples) {
        const size_t bytes = (Bits * count + 7) / 8;
        uint64_t stream = 0;
        for (size_t i = 0; i < bytes; ++i) stream |= uint64_t{in[i]} << (8 * i);
        for (size_t k = 0; k < count; ++k)
            samples[k] = static_cast<uint16_t>(((stream >> (Bits * k)) & ((1u << Bits) - 1)) << kAlign);
    }

    static void Encode(const uint16_t* samples, size_t count, uint8_t* out) {
        uint64_t stream = 0;
        for (size_t k = 0; k < count; ++k) stream |= uint64_t{static_cast<unsigned>(samples[k] >> kAlign)} << (Bits * k);
        const size_t bytes = (Bits * count + 7) / 8;
        for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(stream >> (8 * i));
    }
};

// 10Packed and 12Packed: bytes 0 and 2 are the high bytes of the two 16-bit samples; the
// middle byte holds their next bits, sample 0's shifted right by Shift0 and sample 1's by
// Shift1 (both under LowMask once shifted back). The middle byte is composed from the low
// bytes without masking them: the unmasked form is what cameras' reference tools write for
// input that is not most significant bit aligned, and it is exact for input that is.
template <unsigned Shift0, unsigned Shift1, unsigned LowMask>
struct MiddleByteCodec {
    static constexpr size_t kGroupPixels = 2;
    static constexpr size_t kGroupBytes = 3;

    static void Decode(const uint8_t* in, size_t count, uint16_t* samples) {
        samples[0] = static_cast<uint16_t>(in[0] << 8 | ((in[1] << Shift0) & LowMask));
        if (count == 2) samples[1] = static_cast<uint16_t>(in[2] << 8 | ((in[1] << Shift1) & LowMask));
    }

    // A lone last sample takes the first two bytes of a group.
    static void Encode(const uint16_t* samples, size_t count, uint8_t* out) {
        out[0] = static_cast<uint8_t>(samples[0] >> 8);
        unsigned middle = (samples[0] & 0xFFu) >> Shift0;
        if (count == 2) {
            middle |= (samples[1] & 0xFFu) >> Shift1;
            out[2] = static_cast<uint8_t>(samples[1] >> 8);
        }
        out[1] = static_cast<uint8_t>(middle);
    }
};

using Codec10p = BitStreamCodec<10, 4>;
using Codec12p = BitStreamCodec<12, 2>;
using Codec10Packed = MiddleByteCodec<6, 2, 0xC0>;
using Codec12Packed = MiddleByteCodec<4, 0, 0xF0>;

template <class Codec, unsigned PlainBits>
void UnpackWith(const uint8_t* packed, uint8_t* plain, size_t pixels) {
    constexpr size_t G = Codec::kGroupPixels;
    uint16_t samples[G];
    size_t pixel = 0;
    for (; pixel + G <= pixels; pixel += G, packed += Codec::kGroupBytes) {
        Codec::Decode(packed, G, samples);
        for (size_t k = 0; k < G; ++k) WritePlain<PlainBits>(plain, pixel + k, samples[k]);
    }
    if (pixel < pixels) {
        const size_t count = pixels - pixel;
        Codec::Decode(packed, count, samples);
        for (size_t k = 0; k < count; ++k) WritePlain<PlainBits>(plain, pixel + k, samples[k]);
    }
}

template <class Codec, unsigned PlainBits>
void PackWith(const uint8_t* plain, uint8_t* packed, size_t pixels) {
    constexpr size_t G = Codec::kGroupPixels;
    uint16_t samples[G];
    size_t pixel = 0;
    for (; pixel + G <= pixels; pixel += G, packed += Codec::kGroupBytes) {
        for (size_t k = 0; k < G; ++k) samples[k] = ReadPlain<PlainBits>(plain, pixel + k);
        Codec::Encode(samples, G, packed);
    }
    if (pixel < pixels) {
        const size_t count = pixels - pixel;
        for (size_t k = 0; k < count; ++k) samples[k] = ReadPlain<PlainBits>(plain, pixel + k);
        Codec::Encode(samples, count, packed);
    }
}

template <unsigned PlainBits>
void UnpackAs(PackedLayout layout, const uint8_t* packed, uint8_t* plain, size_t pixels) {
    switch (layout) {
    case PackedLayout::P10: return UnpackWith<Codec10p, PlainBits>(packed, plain, pixels);
    case PackedLayout::P12: return UnpackWith<Codec12p, PlainBits>(packed, plain, pixels);
    case PackedLayout::Packed10: return UnpackWith<Codec10Packed, PlainBits>(packed, plain, pixels);
    case PackedLayout::Packed12: return UnpackWith<Codec12Packed, PlainBits>(packed, plain, pixels);
    }
}

template <unsigned PlainBits>
void PackAs(PackedLayout layout, const uint8_t* plain, uint8_t* packed, size_t pixels) {
    switch (layout) {
    case PackedLayout::P10: return PackWith<Codec10p, PlainBits>(plain, packed, pixels);
    case PackedLayout::P12: return PackWith<Codec12p, PlainBits>(plain, packed, pixels);
    case PackedLayout::Packed10: return PackWith<Codec10Packed, PlainBits>(plain, packed, pixels);
    case PackedLayout::Packed12: return PackWith<Codec12Packed, PlainBits>(plain, packed, pixels);
    }
}

} // namespace

namespace Scalar {

void Unpack(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) noexcept {
    if (plainBits == 8) UnpackAs<8>(layout, packed, plain, pixels);
    else UnpackAs<16>(layout, packed, plain, pixels);
}

void Pack(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) noexcept {
    if (plainBits == 8) PackAs<8>(layout, plain, packed, pixels);
    else PackAs<16>(layout, plain, packed, pixels);
}

} // namespace Scalar

} // namespace Vireo::Primitives
