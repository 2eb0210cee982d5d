// The fast path of the packing kernels: Highway compiles this file once per instruction set
// (SSSE3, SSE4, AVX2 and AVX-512 on x86-64, plus a one-lane fallback that runs the scalar
// reference) and the first call picks the best one the processor has.
//
// All the byte moves are shuffles inside 128-bit blocks (TableLookupBytes), which every
// instruction set does in one instruction, where moves across a whole AVX2 or AVX-512
// register would cost more. So each block of a vector works on its own group of samples:
// 8 samples, which are 10 packed bytes for 10p and 12 for the other layouts. Loads place
// each block at its group's first byte (LoadBlocks) and stores put each block's bytes
// after the previous block's (StoreBlocks). Bit fields are then separated or joined with
// shifts, masks and multiplications by powers of two (a per-lane shift in one instruction).
//
// A frame runs through whole vectors while their loads and stores stay inside the buffers;
// the scalar reference finishes the last samples, at a group boundary.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "primitives/PackedSamplesSimd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <hwy/highway.h>

#include "PackedSamples.h"

// Vector code needs vector lengths known at compile time (vectors are split into blocks by
// halving) and the little-endian lane order that the byte tables are written for.
#undef VIREO_PACKED_VECTORS
#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE || \
    (defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__)
#define VIREO_PACKED_VECTORS 0
#else
#define VIREO_PACKED_VECTORS 1
#endif

HWY_BEFORE_NAMESPACE();
namespace Vireo::Primitives {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
// Each kernel family compiles its vector code into the same per-target namespaces; an
// unnamed one keeps same-named helpers of two families apart.
namespace {

#if VIREO_PACKED_VECTORS

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::Repartition<uint16_t, D8>;
using D32 = hn::Repartition<uint32_t, D8>;
using D64 = hn::Repartition<uint64_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;

constexpr size_t kBlockBytes = 16;
constexpr size_t kBlockSamples = 8;
constexpr uint8_t kZero = 0x80; // TableLookupBytesOr0 writes 0 for this index

// Packed bytes of one block's 8 samples: two 10p groups, four groups of the others.
constexpr size_t BlockStride(PackedLayout layout) { return layout == PackedLayout::P10 ? 10 : 12; }
constexpr bool IsBitStream(PackedLayout layout) { return layout == PackedLayout::P10 || layout == PackedLayout::P12; }

// Block b of the result is the 16 bytes at p + b * Stride.
template <size_t Stride, class D>
HWY_INLINE hn::Vec<D> LoadBlocks(D d, const uint8_t* HWY_RESTRICT p) {
    if constexpr (hn::MaxLanes(D()) <= kBlockBytes) {
        return hn::LoadU(d, p);
    } else {
        const hn::Half<D> dh;
        constexpr size_t halfBlocks = hn::MaxLanes(hn::Half<D>()) / kBlockBytes;
        return hn::Combine(d, LoadBlocks<Stride>(dh, p + halfBlocks * Stride), LoadBlocks<Stride>(dh, p));
    }
}

// Puts the first Stride bytes of block b at p + b * Stride. Each block is stored whole, in
// order, so its last 16 - Stride bytes are overwritten by the next block, and the last
// block's by the next step or the scalar finish: p + (blocks - 1) * Stride + 16 must lie
// inside the buffer.
template <size_t Stride, class D>
HWY_INLINE void StoreBlocks(D d, hn::Vec<D> v, uint8_t* p) {
    if constexpr (hn::MaxLanes(D()) <= kBlockBytes) {
        hn::StoreU(v, d, p);
    } else {
        const hn::Half<D> dh;
        constexpr size_t halfBlocks = hn::MaxLanes(hn::Half<D>()) / kBlockBytes;
        StoreBlocks<Stride>(dh, hn::LowerHalf(dh, v), p);
        StoreBlocks<Stride>(dh, hn::UpperHalf(dh, v), p + halfBlocks * Stride);
    }
}

// --- unpacking: block bytes to 8 most significant bit aligned 16-bit samples ---------------

// 10p and 12p: 16-bit lane k takes the two bytes where sample k starts; multiplying by a
// power of two moves the sample to the top and the mask clears the bits below.
alignas(16) constexpr uint8_t kGather10p[16] = {0, 1, 1, 2, 2, 3, 3, 4, 5, 6, 6, 7, 7, 8, 8, 9};
alignas(16) constexpr uint16_t kScale10p[8] = {64, 16, 4, 1, 64, 16, 4, 1};
alignas(16) constexpr uint8_t kGather12p[16] = {0, 1, 1, 2, 3, 4, 4, 5, 6, 7, 7, 8, 9, 10, 10, 11};
alignas(16) constexpr uint16_t kScale12p[8] = {16, 1, 16, 1, 16, 1, 16, 1};
// 10Packed and 12Packed: lane 2g is (middle byte, byte 0) and lane 2g + 1 (middle byte,
// byte 2) of group g; the high byte stays, the sample's bits of the middle byte are moved up
// under it.
alignas(16) constexpr uint8_t kGatherMiddle[16] = {1, 0, 1, 2, 4, 3, 4, 5, 7, 6, 7, 8, 10, 9, 10, 11};
alignas(16) constexpr uint16_t kScale10Packed[8] = {64, 4, 64, 4, 64, 4, 64, 4};
alignas(16) constexpr uint16_t kScale12Packed[8] = {16, 1, 16, 1, 16, 1, 16, 1};

template <PackedLayout L>
HWY_INLINE V16 DecodeBlocks(V8 bytes) {
    const D8 d8;
    const D16 d16;
    if constexpr (L == PackedLayout::P10) {
        const V16 lanes = hn::BitCast(d16, hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kGather10p)));
        return hn::And(lanes * hn::LoadDup128(d16, kScale10p), hn::Set(d16, uint16_t{0xFFC0}));
    } else if constexpr (L == PackedLayout::P12) {
        const V16 lanes = hn::BitCast(d16, hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kGather12p)));
        return hn::And(lanes * hn::LoadDup128(d16, kScale12p), hn::Set(d16, uint16_t{0xFFF0}));
    } else {
        const V16 lanes = hn::BitCast(d16, hn::TableLookupBytes(bytes, hn::LoadDup128(d8, kGatherMiddle)));
        constexpr bool ten = L == PackedLayout::Packed10;
        const V16 scale = hn::LoadDup128(d16, ten ? kScale10Packed : kScale12Packed);
        const V16 low = hn::And(lanes * scale, hn::Set(d16, uint16_t(ten ? 0x00C0 : 0x00F0)));
        return hn::Or(hn::And(lanes, hn::Set(d16, uint16_t{0xFF00})), low);
    }
}

template <PackedLayout L>
void UnpackTo16(const uint8_t* HWY_RESTRICT packed, uint8_t* HWY_RESTRICT plain, size_t pixels) {
    constexpr size_t stride = BlockStride(L);
    const D8 d8;
    const size_t blocks = hn::Lanes(d8) / kBlockBytes;
    const size_t stepSamples = kBlockSamples * blocks;
    const size_t stepBytes = stride * blocks;
    const size_t reach = stride * (blocks - 1) + kBlockBytes;
    const size_t packedBytes = PackedBytes(L, pixels);
    size_t done = 0;
    size_t at = 0;
    for (; done + stepSamples <= pixels && at + reach <= packedBytes; done += stepSamples, at += stepBytes) {
        const V16 samples = DecodeBlocks<L>(LoadBlocks<stride>(d8, packed + at));
        hn::StoreU(hn::BitCast(d8, samples), d8, plain + 2 * done);
    }
    Scalar::Unpack(L, 16, packed + at, plain + 2 * done, pixels - done);
}

// The high bytes (odd bytes) of one vector's samples to the low half of each block, of
// another's to the high half.
alignas(16) constexpr uint8_t kHighBytesLow[16] = {1, 3, 5, 7, 9, 11, 13, 15, kZero, kZero, kZero, kZero,
                                                   kZero, kZero, kZero, kZero};
alignas(16) constexpr uint8_t kHighBytesHigh[16] = {kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                                    1, 3, 5, 7, 9, 11, 13, 15};
// 10Packed and 12Packed to 8 bits are bytes 0 and 2 of each group: a shuffle alone.
alignas(16) constexpr uint8_t kOuterBytesLow[16] = {0, 2, 3, 5, 6, 8, 9, 11, kZero, kZero, kZero, kZero,
                                                    kZero, kZero, kZero, kZero};
alignas(16) constexpr uint8_t kOuterBytesHigh[16] = {kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                                     0, 2, 3, 5, 6, 8, 9, 11};

// 16 output bytes per block come from two blocks' worth of packed bytes: one vector loads
// the even groups of 8 samples, a second the odd ones, and each fills half of every block.
template <PackedLayout L>
void UnpackTo8(const uint8_t* HWY_RESTRICT packed, uint8_t* HWY_RESTRICT plain, size_t pixels) {
    constexpr size_t stride = BlockStride(L);
    const D8 d8;
    const size_t blocks = hn::Lanes(d8) / kBlockBytes;
    const size_t stepSamples = 2 * kBlockSamples * blocks;
    const size_t stepBytes = 2 * stride * blocks;
    const size_t reach = stride + 2 * stride * (blocks - 1) + kBlockBytes;
    const size_t packedBytes = PackedBytes(L, pixels);
    size_t done = 0;
    size_t at = 0;
    for (; done + stepSamples <= pixels && at + reach <= packedBytes; done += stepSamples, at += stepBytes) {
        const V8 even = LoadBlocks<2 * stride>(d8, packed + at);
        const V8 odd = LoadBlocks<2 * stride>(d8, packed + at + stride);
        V8 bytes;
        if constexpr (IsBitStream(L)) {
            bytes = hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d8, DecodeBlocks<L>(even)), hn::LoadDup128(d8, kHighBytesLow)),
                           hn::TableLookupBytesOr0(hn::BitCast(d8, DecodeBlocks<L>(odd)), hn::LoadDup128(d8, kHighBytesHigh)));
        } else {
            bytes = hn::Or(hn::TableLookupBytesOr0(even, hn::LoadDup128(d8, kOuterBytesLow)),
                           hn::TableLookupBytesOr0(odd, hn::LoadDup128(d8, kOuterBytesHigh)));
        }
        hn::StoreU(bytes, d8, plain + done);
    }
    Scalar::Unpack(L, 8, packed + at, plain + done, pixels - done);
}

// --- packing: 8 most significant bit aligned 16-bit samples to block bytes -----------------

// The packed bytes of each 32- or 64-bit lane, without the lanes' unused top bytes.
alignas(16) constexpr uint8_t kCompact12p[16] = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 0, 0, 0, 0};
alignas(16) constexpr uint8_t kCompact10p[16] = {0, 1, 2, 3, 4, 8, 9, 10, 11, 12, 0, 0, 0, 0, 0, 0};
// Lane bytes (middle, high byte 0, -, high byte 1) in stream order.
alignas(16) constexpr uint8_t kCompactMiddle[16] = {1, 0, 3, 5, 4, 7, 9, 8, 11, 13, 12, 15, 0, 0, 0, 0};

template <PackedLayout L>
HWY_INLINE V8 EncodeBlocks(V16 samples) {
    const D8 d8;
    const D32 d32;
    const D64 d64;
    // A 32-bit lane holds the pair (s0, s1) as s0 | s1 << 16.
    const auto pairs = hn::BitCast(d32, samples);
    if constexpr (L == PackedLayout::P12) {
        // (s0 >> 4) | (s1 >> 4) << 12: three bytes of the stream.
        const auto stream = hn::Or(hn::ShiftRight<4>(hn::And(pairs, hn::Set(d32, 0xFFF0u))),
                                   hn::And(hn::ShiftRight<8>(pairs), hn::Set(d32, 0xFFF000u)));
        return hn::TableLookupBytes(hn::BitCast(d8, stream), hn::LoadDup128(d8, kCompact12p));
    } else if constexpr (L == PackedLayout::P10) {
        // 20 bits per pair, then 40 bits (five bytes) per 64-bit lane.
        const auto twenty = hn::Or(hn::And(hn::ShiftRight<6>(pairs), hn::Set(d32, 0x3FFu)),
                                   hn::And(hn::ShiftRight<12>(pairs), hn::Set(d32, 0xFFC00u)));
        const auto quads = hn::BitCast(d64, twenty);
        const auto stream = hn::Or(hn::And(quads, hn::Set(d64, uint64_t{0xFFFFF})),
                                   hn::And(hn::ShiftRight<12>(quads), hn::Set(d64, uint64_t{0xFFFFF} << 20)));
        return hn::TableLookupBytes(hn::BitCast(d8, stream), hn::LoadDup128(d8, kCompact10p));
    } else {
        // The middle byte from the two low bytes, unmasked, replaces s1's low byte.
        constexpr bool ten = L == PackedLayout::Packed10;
        const auto fromFirst = ten ? hn::And(hn::ShiftRight<6>(pairs), hn::Set(d32, 0x03u))
                                   : hn::And(hn::ShiftRight<4>(pairs), hn::Set(d32, 0x0Fu));
        const auto fromSecond = ten ? hn::And(hn::ShiftRight<18>(pairs), hn::Set(d32, 0x3Fu))
                                    : hn::And(hn::ShiftRight<16>(pairs), hn::Set(d32, 0xFFu));
        const auto lanes = hn::Or(hn::And(pairs, hn::Set(d32, 0xFF00FF00u)), hn::Or(fromFirst, fromSecond));
        return hn::TableLookupBytes(hn::BitCast(d8, lanes), hn::LoadDup128(d8, kCompactMiddle));
    }
}

template <PackedLayout L, unsigned PlainBits>
void Pack(const uint8_t* HWY_RESTRICT plain, uint8_t* HWY_RESTRICT packed, size_t pixels) {
    constexpr size_t stride = BlockStride(L);
    const D8 d8;
    const D16 d16;
    const size_t blocks = hn::Lanes(d8) / kBlockBytes;
    const size_t stepSamples = kBlockSamples * blocks;
    const size_t stepBytes = stride * blocks;
    const size_t reach = stride * (blocks - 1) + kBlockBytes;
    const size_t packedBytes = PackedBytes(L, pixels);
    size_t done = 0;
    size_t at = 0;
    for (; done + stepSamples <= pixels && at + reach <= packedBytes; done += stepSamples, at += stepBytes) {
        V16 samples;
        if constexpr (PlainBits == 16) {
            samples = hn::BitCast(d16, hn::LoadU(d8, plain + 2 * done));
        } else {
            const hn::Rebind<uint8_t, D16> dNarrow;
            samples = hn::ShiftLeft<8>(hn::PromoteTo(d16, hn::LoadU(dNarrow, plain + done)));
        }
        StoreBlocks<stride>(d8, EncodeBlocks<L>(samples), packed + at);
    }
    Scalar::Pack(L, PlainBits, plain + done * (PlainBits / 8), packed + at, pixels - done);
}

void UnpackKernel(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) {
    const bool eight = plainBits == 8;
    switch (layout) {
    case PackedLayout::P10:
        return eight ? UnpackTo8<PackedLayout::P10>(packed, plain, pixels)
                     : UnpackTo16<PackedLayout::P10>(packed, plain, pixels);
    case PackedLayout::P12:
        return eight ? UnpackTo8<PackedLayout::P12>(packed, plain, pixels)
                     : UnpackTo16<PackedLayout::P12>(packed, plain, pixels);
    case PackedLayout::Packed10:
        return eight ? UnpackTo8<PackedLayout::Packed10>(packed, plain, pixels)
                     : UnpackTo16<PackedLayout::Packed10>(packed, plain, pixels);
    case PackedLayout::Packed12:
        return eight ? UnpackTo8<PackedLayout::Packed12>(packed, plain, pixels)
                     : UnpackTo16<PackedLayout::Packed12>(packed, plain, pixels);
    }
}

void PackKernel(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) {
    const bool eight = plainBits == 8;
    switch (layout) {
    case PackedLayout::P10:
        return eight ? Pack<PackedLayout::P10, 8>(plain, packed, pixels)
                     : Pack<PackedLayout::P10, 16>(plain, packed, pixels);
    case PackedLayout::P12:
        return eight ? Pack<PackedLayout::P12, 8>(plain, packed, pixels)
                     : Pack<PackedLayout::P12, 16>(plain, packed, pixels);
    case PackedLayout::Packed10:
        return eight ? Pack<PackedLayout::Packed10, 8>(plain, packed, pixels)
                     : Pack<PackedLayout::Packed10, 16>(plain, packed, pixels);
    case PackedLayout::Packed12:
        return eight ? Pack<PackedLayout::Packed12, 8>(plain, packed, pixels)
                     : Pack<PackedLayout::Packed12, 16>(plain, packed, pixels);
    }
}

#else // !VIREO_PACKED_VECTORS

void UnpackKernel(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) {
    Scalar::Unpack(layout, plainBits, packed, plain, pixels);
}

void PackKernel(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) {
    Scalar::Pack(layout, plainBits, plain, packed, pixels);
}

#endif

const char* PackingKernelTarget() { return hwy::TargetName(HWY_TARGET); }

} // namespace
} // namespace HWY_NAMESPACE
} // namespace Vireo::Primitives
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vireo::Primitives {

HWY_EXPORT(UnpackKernel);
HWY_EXPORT(PackKernel);
HWY_EXPORT(PackingKernelTarget);

namespace Fast {

void Unpack(PackedLayout layout, unsigned plainBits, const uint8_t* packed, uint8_t* plain, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(UnpackKernel)(layout, plainBits, packed, plain, pixels);
}

void Pack(PackedLayout layout, unsigned plainBits, const uint8_t* plain, uint8_t* packed, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(PackKernel)(layout, plainBits, plain, packed, pixels);
}

const char* TargetName() noexcept { return HWY_DYNAMIC_DISPATCH(PackingKernelTarget)(); }

} // namespace Fast
} // namespace Vireo::Primitives
#endif
