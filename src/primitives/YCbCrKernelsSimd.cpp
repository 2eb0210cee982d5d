// The fast path of the YCbCr kernels: Highway compiles this file once per instruction set
// and the first call picks the best one the processor has.
//
// Bit-exact fixed point from 16-bit products. Every sum of the formulas fits 32 bits, and a
// 32-bit lane can take the sum of two 16 x 16-bit products plus an addend, exactly, in one x86
// instruction (ReorderWidenMulAccumulate). Factors that do not fit 16 bits are rewritten:
// 76284 Y as 19071 * 4Y; 132252, 104595 and -53281 as a multiple of 65536, added as the
// shifted sample, plus a remainder that fits; the 33030 of G in encoding is spread over two
// pair products. The >> 16 is then the high half of each lane, and the clamp of decoding is
// the saturating narrowing to 8 bits. Encoding 8-bit colour cannot leave 16-240 (the
// negative weights of each chroma sum to its positive one), so its results are read from
// the lanes without a clamp; the exhaustive test proves it.
//
// All byte moves that depend on the layout are shuffles inside 128-bit blocks, with tables
// built from the layout at each call, so every layout the structures can express costs the
// same. The blocks of a vector are loaded from, and stored to, places a fixed stride apart
// (LoadBlocks, StoreBlocks) so that each block holds whole groups.
//
// Decoding, 4:2:2 and 4:1:1: each 32-bit lane holds one pixel pair, which shares its
// chroma; the pair's two results are the high halves of two sums, so the 16-bit results
// come out in pixel order. 4:4:4 pairs pixel k with pixel k + 4 of each 8 and puts the
// 8-bit results back in order with one shuffle. Channels are then interleaved by Highway.
//
// Encoding: each 32-bit lane holds one pixel's sum, four pixels per block; the pair and
// group means are taken within the block, and two vectors' blocks fill one output block.
//
// A frame runs through whole vectors while their loads and stores stay inside the buffers;
// the scalar reference finishes the last pixels, at a group boundary.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "primitives/YCbCrKernelsSimd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <hwy/highway.h>

#include "YCbCrKernels.h"

// Vector code needs vector lengths known at compile time and the little-endian lane order
// that the byte tables are written for.
#undef VIREO_YCBCR_VECTORS
#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE || \
    (defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__)
#define VIREO_YCBCR_VECTORS 0
#else
#define VIREO_YCBCR_VECTORS 1
#endif

HWY_BEFORE_NAMESPACE();
namespace Vireo::Primitives {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if VIREO_YCBCR_VECTORS
namespace {

using D8 = hn::ScalableTag<uint8_t>;
using D8Half = hn::Half<D8>;
using D16 = hn::Repartition<int16_t, D8>;
using DU16 = hn::Repartition<uint16_t, D8>;
using D32 = hn::Repartition<int32_t, D8>;
using DU32 = hn::Repartition<uint32_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using VU16 = hn::Vec<DU16>;
using V32 = hn::Vec<D32>;

constexpr size_t kBlockBytes = 16;
constexpr uint8_t kZero = 0x80; // TableLookupBytesOr0 writes 0 for this index

// One block's shuffle, the same in every block of a vector. Bytes not named are 0.
struct ByteTable {
    alignas(16) uint8_t bytes[kBlockBytes];
    ByteTable() {
        for (uint8_t& byte : bytes) byte = kZero;
    }
    V8 Load() const { return hn::LoadDup128(D8(), bytes); }
};

size_t BlocksPerVector() { return hn::Lanes(D8()) / kBlockBytes; }

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

// Puts block b at p + b * Stride, in order, whole: its last 16 - Stride bytes are
// overwritten by the next block, and the last block's by the next step or the scalar
// finish, so p + (blocks - 1) * Stride + 16 must lie inside what the kernel writes.
template <size_t Stride, class D>
HWY_INLINE void StoreBlocks(D d, hn::Vec<D> v, uint8_t* HWY_RESTRICT p) {
    if constexpr (hn::MaxLanes(D()) <= kBlockBytes) {
        hn::StoreU(v, d, p);
    } else {
        const hn::Half<D> dh;
        constexpr size_t halfBlocks = hn::MaxLanes(hn::Half<D>()) / kBlockBytes;
        StoreBlocks<Stride>(dh, hn::LowerHalf(dh, v), p);
        StoreBlocks<Stride>(dh, hn::UpperHalf(dh, v), p + halfBlocks * Stride);
    }
}

// a[2i] * b[2i] + a[2i + 1] * b[2i + 1] + addend[i], exact in 32 bits.
HWY_INLINE V32 MulAddPairs(V16 a, V16 b, V32 addend) {
    const D32 d32;
    V32 odd = hn::Zero(d32);
    const V32 even = hn::ReorderWidenMulAccumulate(d32, a, b, addend, odd);
    return hn::RearrangeToOddPlusEven(even, odd);
}

// The factors (low, high) for the two 16-bit halves of every 32-bit lane.
HWY_INLINE V16 Factors(int16_t low, int16_t high) {
    const uint32_t lane = uint32_t(uint16_t(low)) | uint32_t(uint16_t(high)) << 16;
    return hn::BitCast(D16(), hn::Set(DU32(), lane));
}

// --- decoding ---------------------------------------------------------------------------

// The Y - 16, Cb - 128 and Cr - 128 offsets and the rounding, folded into one constant per
// colour, so that the luma term is 76284 * Y of the sample as it is.
constexpr int32_t kLumaOffset = 32768 - 76284 * 16;
constexpr int32_t kBlueOffset = kLumaOffset - 132252 * 128;
constexpr int32_t kGreenOffset = kLumaOffset + 53281 * 128 + 25625 * 128;
constexpr int32_t kRedOffset = kLumaOffset - 104595 * 128;

// The colour sums without their luma term, for the (Cb, Cr) of each 32-bit lane.
struct ChromaTerms {
    V32 blue, green, red;
};

// `pairs` holds Cb in the low and Cr in the high 16 bits of each lane.
HWY_INLINE ChromaTerms ChromaTermsOf(V16 pairs) {
    const D32 d32;
    const DU32 du32;
    const auto bits = hn::BitCast(du32, pairs);
    const V32 cbTimes131072 = hn::BitCast(d32, hn::ShiftLeft<17>(bits)); // Cr leaves the lane
    const V32 crTimes65536 = hn::BitCast(d32, hn::And(bits, hn::Set(du32, 0xFFFF0000u)));
    ChromaTerms terms;
    // 132252 = 131072 + 1180
    terms.blue = MulAddPairs(pairs, Factors(1180, 0), hn::Set(d32, kBlueOffset)) + cbTimes131072;
    // -53281 = 12255 - 65536
    terms.green = MulAddPairs(pairs, Factors(-25625, 12255), hn::Set(d32, kGreenOffset)) - crTimes65536;
    // 104595 = 131072 - 26477
    terms.red = MulAddPairs(pairs, Factors(0, -26477), hn::Set(d32, kRedOffset)) + crTimes65536 + crTimes65536;
    return terms;
}

// Pixel results before the clamp, 16 bits each, in pixel order.
struct Colours16 {
    V16 blue, green, red;
};

// Result 2i is the high half of first[i] + firstChroma[i], result 2i + 1 that of
// second[i] + secondChroma[i].
HWY_INLINE V16 HighHalves(V32 first, V32 firstChroma, V32 second, V32 secondChroma) {
    const D16 d16;
    const DU32 du32;
    const V32 even = first + firstChroma;
    const V32 odd = second + secondChroma;
    return hn::OddEven(hn::BitCast(d16, odd), hn::BitCast(d16, hn::ShiftRight<16>(hn::BitCast(du32, even))));
}

enum class Sampling { Full, Pairs, Quads }; // 4:4:4, 4:2:2, 4:1:1

// Where each 32-bit lane finds its samples in the block: `luma` gives (Y, Y) of the
// lane's pixel pair, or (Y, 0) for 4:4:4, `chroma` its (Cb, Cr), as 16-bit values.
struct DecodeTables {
    V8 luma, chroma;
};

// Input bytes of the 8 pixels of one block, and of a half step's blocks.
template <Sampling S>
constexpr size_t DecodeStride() {
    return S == Sampling::Full ? 24 : S == Sampling::Pairs ? 16 : 12;
}

// How far past its first byte a half step reads.
template <Sampling S>
size_t DecodeReach(size_t blocks) {
    const size_t lastBlock = DecodeStride<S>() * (blocks - 1) + kBlockBytes;
    return S == Sampling::Full ? 12 + lastBlock : lastBlock;
}

DecodeTables TablesOf(Layout444 layout) {
    ByteTable luma, chroma;
    for (uint8_t pixel = 0; pixel < 4; ++pixel) {
        const uint8_t at = uint8_t(3 * pixel);
        luma.bytes[4 * pixel] = uint8_t(at + layout.y);
        chroma.bytes[4 * pixel] = uint8_t(at + layout.cb);
        chroma.bytes[4 * pixel + 2] = uint8_t(at + layout.cr);
    }
    return {luma.Load(), chroma.Load()};
}

DecodeTables TablesOf(Layout422 layout) {
    ByteTable luma, chroma;
    for (uint8_t pair = 0; pair < 4; ++pair) {
        const uint8_t at = uint8_t(4 * pair);
        luma.bytes[4 * pair] = uint8_t(at + layout.y0);
        luma.bytes[4 * pair + 2] = uint8_t(at + layout.y1);
        chroma.bytes[4 * pair] = uint8_t(at + layout.cb);
        chroma.bytes[4 * pair + 2] = uint8_t(at + layout.cr);
    }
    return {luma.Load(), chroma.Load()};
}

DecodeTables TablesOf(Layout411 layout) {
    ByteTable luma, chroma;
    for (uint8_t pair = 0; pair < 4; ++pair) {
        const uint8_t at = uint8_t(6 * (pair / 2));
        const uint8_t first = uint8_t(2 * (pair % 2)); // of the group's four Y
        luma.bytes[4 * pair] = uint8_t(at + layout.y[first]);
        luma.bytes[4 * pair + 2] = uint8_t(at + layout.y[first + 1]);
        chroma.bytes[4 * pair] = uint8_t(at + layout.cb);
        chroma.bytes[4 * pair + 2] = uint8_t(at + layout.cr);
    }
    return {luma.Load(), chroma.Load()};
}

// Half a step: Lanes(D8) / 2 pixels, 8 per block, starting at p.
template <Sampling S>
HWY_INLINE Colours16 DecodeHalf(const uint8_t* HWY_RESTRICT p, const DecodeTables& tables) {
    const D8 d8;
    const D16 d16;
    const D32 d32;
    constexpr size_t stride = DecodeStride<S>();
    if constexpr (S == Sampling::Full) {
        // Pixels 0-3 of each 8 in `first`, 4-7 in `second`.
        const V8 first = LoadBlocks<stride>(d8, p);
        const V8 second = LoadBlocks<stride>(d8, p + stride / 2);
        const V16 firstLuma4 = hn::ShiftLeft<2>(hn::BitCast(d16, hn::TableLookupBytesOr0(first, tables.luma)));
        const V16 secondLuma4 = hn::ShiftLeft<2>(hn::BitCast(d16, hn::TableLookupBytesOr0(second, tables.luma)));
        const V32 firstLuma = MulAddPairs(firstLuma4, Factors(19071, 0), hn::Zero(d32));
        const V32 secondLuma = MulAddPairs(secondLuma4, Factors(19071, 0), hn::Zero(d32));
        const ChromaTerms firstChroma = ChromaTermsOf(hn::BitCast(d16, hn::TableLookupBytesOr0(first, tables.chroma)));
        const ChromaTerms secondChroma = ChromaTermsOf(hn::BitCast(d16, hn::TableLookupBytesOr0(second, tables.chroma)));
        return {HighHalves(firstLuma, firstChroma.blue, secondLuma, secondChroma.blue),
                HighHalves(firstLuma, firstChroma.green, secondLuma, secondChroma.green),
                HighHalves(firstLuma, firstChroma.red, secondLuma, secondChroma.red)};
    } else {
        const V8 bytes = LoadBlocks<stride>(d8, p);
        // 76284 * Y = 19071 * 4Y, and 4Y still fits a 16-bit factor.
        const V16 luma4 = hn::ShiftLeft<2>(hn::BitCast(d16, hn::TableLookupBytesOr0(bytes, tables.luma)));
        const V32 evenLuma = MulAddPairs(luma4, Factors(19071, 0), hn::Zero(d32));
        const V32 oddLuma = MulAddPairs(luma4, Factors(0, 19071), hn::Zero(d32));
        const ChromaTerms chroma = ChromaTermsOf(hn::BitCast(d16, hn::TableLookupBytesOr0(bytes, tables.chroma)));
        return {HighHalves(evenLuma, chroma.blue, oddLuma, chroma.blue),
                HighHalves(evenLuma, chroma.green, oddLuma, chroma.green),
                HighHalves(evenLuma, chroma.red, oddLuma, chroma.red)};
    }
}

// 4:4:4 results come as pixels 0, 4, 1, 5, 2, 6, 3, 7 of each 8.
alignas(16) constexpr uint8_t kFullOrder[16] = {0, 2, 4, 6, 1, 3, 5, 7, 8, 10, 12, 14, 9, 11, 13, 15};

// Decodes whole steps of Lanes(D8) pixels and returns how many pixels it did.
template <Sampling S, unsigned Channels>
size_t DecodeVectors(const uint8_t* HWY_RESTRICT in, size_t inBytes, const DecodeTables& tables,
                     uint8_t* HWY_RESTRICT colour, size_t pixels) {
    const D8 d8;
    const D8Half dh;
    const size_t step = hn::Lanes(d8);
    const size_t halfBytes = DecodeStride<S>() * BlocksPerVector();
    const size_t reach = DecodeReach<S>(BlocksPerVector());
    size_t done = 0;
    for (size_t at = 0; done + step <= pixels && at + halfBytes + reach <= inBytes; done += step, at += 2 * halfBytes) {
        const Colours16 low = DecodeHalf<S>(in + at, tables);
        const Colours16 high = DecodeHalf<S>(in + at + halfBytes, tables);
        V8 blue = hn::Combine(d8, hn::DemoteTo(dh, high.blue), hn::DemoteTo(dh, low.blue));
        V8 green = hn::Combine(d8, hn::DemoteTo(dh, high.green), hn::DemoteTo(dh, low.green));
        V8 red = hn::Combine(d8, hn::DemoteTo(dh, high.red), hn::DemoteTo(dh, low.red));
        if constexpr (S == Sampling::Full) {
            const V8 order = hn::LoadDup128(d8, kFullOrder);
            blue = hn::TableLookupBytes(blue, order);
            green = hn::TableLookupBytes(green, order);
            red = hn::TableLookupBytes(red, order);
        }
        if constexpr (Channels == 3) {
            hn::StoreInterleaved3(blue, green, red, d8, colour + 3 * done);
        } else {
            hn::StoreInterleaved4(blue, green, red, hn::Zero(d8), d8, colour + 4 * done);
        }
    }
    return done;
}

template <Sampling S, class Layout>
size_t DecodeFrame(const uint8_t* in, size_t inBytes, Layout layout, uint8_t* colour, unsigned channels,
                   size_t pixels) {
    const DecodeTables tables = TablesOf(layout);
    return channels == 3 ? DecodeVectors<S, 3>(in, inBytes, tables, colour, pixels)
                         : DecodeVectors<S, 4>(in, inBytes, tables, colour, pixels);
}

// --- encoding ---------------------------------------------------------------------------

constexpr int32_t kYOffset = 32768 + (16 << 16);
constexpr int32_t kChromaOffset = 32768 + (128 << 16);

// Per pixel, four to a block: the Y, Cb and Cr sums, whose byte 2 is the value.
struct Sums {
    V32 y, cb, cr;
};

// (G, B) and (G, R) of each pixel as 16-bit values; G's weight is split over both pairs.
struct EncodeTables {
    V8 greenBlue, greenRed;
};

template <unsigned Channels>
EncodeTables ColourTables() {
    ByteTable greenBlue, greenRed;
    for (uint8_t pixel = 0; pixel < 4; ++pixel) {
        const uint8_t at = uint8_t(Channels * pixel);
        greenBlue.bytes[4 * pixel] = greenRed.bytes[4 * pixel] = uint8_t(at + 1);
        greenBlue.bytes[4 * pixel + 2] = at;
        greenRed.bytes[4 * pixel + 2] = uint8_t(at + 2);
    }
    return {greenBlue.Load(), greenRed.Load()};
}

HWY_INLINE V32 WeightedSum(V16 greenBlue, V16 greenRed, int16_t green1, int16_t blue, int16_t green2, int16_t red,
                           int32_t offset) {
    return MulAddPairs(greenRed, Factors(green2, red),
                       MulAddPairs(greenBlue, Factors(green1, blue), hn::Set(D32(), offset)));
}

HWY_INLINE Sums SumsOf(V8 colour, const EncodeTables& tables) {
    const D16 d16;
    const V16 gb = hn::BitCast(d16, hn::TableLookupBytesOr0(colour, tables.greenBlue));
    const V16 gr = hn::BitCast(d16, hn::TableLookupBytesOr0(colour, tables.greenRed));
    // 33030 = 16515 + 16515, -19071 = -9535 - 9536, -24117 = -12058 - 12059
    return {WeightedSum(gb, gr, 16515, 6423, 16515, 16843, kYOffset),
            WeightedSum(gb, gr, -9535, 28770, -9536, -9699, kChromaOffset),
            WeightedSum(gb, gr, -12058, -4653, -12059, 28770, kChromaOffset)};
}

// Each pixel's (Cb, Cr) as 16-bit values.
HWY_INLINE VU16 ChromaOf(const Sums& sums) {
    const DU16 du16;
    const DU32 du32;
    return hn::OddEven(hn::BitCast(du16, sums.cr), hn::BitCast(du16, hn::ShiftRight<16>(hn::BitCast(du32, sums.cb))));
}

// (Cb, Cr) of pixel pairs 0-1 and 2-3 of each block in 16-bit lanes 0-1 and 4-5:
// (c0 + c1 + 1) / 2.
HWY_INLINE V8 PairMeans(const Sums& sums) {
    const DU16 du16;
    const VU16 chroma = ChromaOf(sums);
    return hn::BitCast(D8(), hn::AverageRound(chroma, hn::ShiftRightBytes<4>(du16, chroma)));
}

// (Cb, Cr) of each block's four pixels in 16-bit lanes 0-1: (sum + 2) / 4.
HWY_INLINE V8 QuadMeans(const Sums& sums) {
    const DU16 du16;
    VU16 sum = ChromaOf(sums);
    sum = sum + hn::ShiftRightBytes<4>(du16, sum);
    sum = sum + hn::ShiftRightBytes<8>(du16, sum);
    return hn::BitCast(D8(), hn::ShiftRight<2>(sum + hn::Set(du16, uint16_t{2})));
}

HWY_INLINE V8 Pick(V32 sums, const V8& table) { return hn::TableLookupBytesOr0(hn::BitCast(D8(), sums), table); }

// Whole steps of 4:4:4; returns the pixels done.
template <unsigned Channels>
size_t Encode444Vectors(const uint8_t* HWY_RESTRICT colour, Layout444 layout, uint8_t* HWY_RESTRICT out,
                        size_t pixels) {
    const D8 d8;
    const EncodeTables tables = ColourTables<Channels>();
    ByteTable y, cb, cr;
    for (uint8_t pixel = 0; pixel < 4; ++pixel) {
        const uint8_t at = uint8_t(3 * pixel), sumByte = uint8_t(4 * pixel + 2);
        y.bytes[at + layout.y] = cb.bytes[at + layout.cb] = cr.bytes[at + layout.cr] = sumByte;
    }
    const V8 yTable = y.Load(), cbTable = cb.Load(), crTable = cr.Load();
    const size_t blocks = BlocksPerVector();
    const size_t step = 4 * blocks;
    const size_t inReach = 4 * Channels * (blocks - 1) + kBlockBytes;
    const size_t outReach = 12 * (blocks - 1) + kBlockBytes;
    size_t done = 0;
    for (; done + step <= pixels && Channels * done + inReach <= Channels * pixels && 3 * done + outReach <= 3 * pixels;
         done += step) {
        const Sums sums = SumsOf(LoadBlocks<4 * Channels>(d8, colour + Channels * done), tables);
        const V8 bytes = hn::Or(hn::Or(Pick(sums.y, yTable), Pick(sums.cb, cbTable)), Pick(sums.cr, crTable));
        StoreBlocks<12>(d8, bytes, out + 3 * done);
    }
    return done;
}

// Whole steps of 4:2:2 (Quads false) or 4:1:1: the first vector holds pixels 0-3 of each
// 8, the second 4-7; together they fill one output block of 16 or 12 bytes.
template <bool Quads, unsigned Channels, class Layout>
size_t EncodeSubsampledVectors(const uint8_t* HWY_RESTRICT colour, Layout layout, uint8_t* HWY_RESTRICT out,
                               size_t pixels) {
    const D8 d8;
    const EncodeTables tables = ColourTables<Channels>();
    ByteTable yTables[2], chromaTables[2]; // of the first and second vector
    for (uint8_t half = 0; half < 2; ++half) {
        if constexpr (Quads) {
            const uint8_t at = uint8_t(6 * half);
            for (uint8_t pixel = 0; pixel < 4; ++pixel) yTables[half].bytes[at + layout.y[pixel]] = uint8_t(4 * pixel + 2);
            chromaTables[half].bytes[at + layout.cb] = 0;
            chromaTables[half].bytes[at + layout.cr] = 2;
        } else {
            for (uint8_t pair = 0; pair < 2; ++pair) {
                const uint8_t at = uint8_t(4 * (2 * half + pair)), sums = uint8_t(8 * pair);
                yTables[half].bytes[at + layout.y0] = uint8_t(sums + 2);
                yTables[half].bytes[at + layout.y1] = uint8_t(sums + 6);
                chromaTables[half].bytes[at + layout.cb] = sums;
                chromaTables[half].bytes[at + layout.cr] = uint8_t(sums + 2);
            }
        }
    }
    const V8 firstY = yTables[0].Load(), secondY = yTables[1].Load();
    const V8 firstChroma = chromaTables[0].Load(), secondChroma = chromaTables[1].Load();
    constexpr size_t stride = 8 * Channels, outStride = Quads ? 12 : 16;
    const size_t blocks = BlocksPerVector();
    const size_t step = 8 * blocks;
    const size_t inReach = 4 * Channels + stride * (blocks - 1) + kBlockBytes;
    const size_t outReach = outStride * (blocks - 1) + kBlockBytes;
    const size_t outBytes = Quads ? pixels / 4 * 6 : 2 * pixels;
    size_t done = 0;
    for (; done + step <= pixels && Channels * done + inReach <= Channels * pixels &&
           done * outStride / 8 + outReach <= outBytes;
         done += step) {
        const uint8_t* p = colour + Channels * done;
        const Sums first = SumsOf(LoadBlocks<stride>(d8, p), tables);
        const Sums second = SumsOf(LoadBlocks<stride>(d8, p + 4 * Channels), tables);
        const V8 firstMeans = Quads ? QuadMeans(first) : PairMeans(first);
        const V8 secondMeans = Quads ? QuadMeans(second) : PairMeans(second);
        const V8 bytes = hn::Or(hn::Or(Pick(first.y, firstY), hn::TableLookupBytesOr0(firstMeans, firstChroma)),
                                hn::Or(Pick(second.y, secondY), hn::TableLookupBytesOr0(secondMeans, secondChroma)));
        StoreBlocks<outStride>(d8, bytes, out + done * outStride / 8);
    }
    return done;
}

} // namespace

void YCbCrDecode444(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    const size_t done = DecodeFrame<Sampling::Full>(in, 3 * pixels, layout, colour, channels, pixels);
    Scalar::YCbCrToColour(in + 3 * done, layout, colour + channels * done, channels, pixels - done);
}

void YCbCrDecode422(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    const size_t done = DecodeFrame<Sampling::Pairs>(in, 2 * pixels, layout, colour, channels, pixels);
    Scalar::YCbCrToColour(in + 2 * done, layout, colour + channels * done, channels, pixels - done);
}

void YCbCrDecode411(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    const size_t done = DecodeFrame<Sampling::Quads>(in, pixels / 4 * 6, layout, colour, channels, pixels);
    Scalar::YCbCrToColour(in + done / 4 * 6, layout, colour + channels * done, channels, pixels - done);
}

void YCbCrEncode444(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) {
    const size_t done = channels == 3 ? Encode444Vectors<3>(colour, layout, out, pixels)
                                      : Encode444Vectors<4>(colour, layout, out, pixels);
    Scalar::ColourToYCbCr(colour + channels * done, channels, layout, out + 3 * done, pixels - done);
}

void YCbCrEncode422(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) {
    const size_t done = channels == 3 ? EncodeSubsampledVectors<false, 3>(colour, layout, out, pixels)
                                      : EncodeSubsampledVectors<false, 4>(colour, layout, out, pixels);
    Scalar::ColourToYCbCr(colour + channels * done, channels, layout, out + 2 * done, pixels - done);
}

void YCbCrEncode411(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) {
    const size_t done = channels == 3 ? EncodeSubsampledVectors<true, 3>(colour, layout, out, pixels)
                                      : EncodeSubsampledVectors<true, 4>(colour, layout, out, pixels);
    Scalar::ColourToYCbCr(colour + channels * done, channels, layout, out + done / 4 * 6, pixels - done);
}

#else // !VIREO_YCBCR_VECTORS

void YCbCrDecode444(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    Scalar::YCbCrToColour(in, layout, colour, channels, pixels);
}
void YCbCrDecode422(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    Scalar::YCbCrToColour(in, layout, colour, channels, pixels);
}
void YCbCrDecode411(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) {
    Scalar::YCbCrToColour(in, layout, colour, channels, pixels);
}
void YCbCrEncode444(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) {
    Scalar::ColourToYCbCr(colour, channels, layout, out, pixels);
}
void YCbCrEncode422(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) {
    Scalar::ColourToYCbCr(colour, channels, layout, out, pixels);
}
void YCbCrEncode411(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) {
    Scalar::ColourToYCbCr(colour, channels, layout, out, pixels);
}

#endif

const char* YCbCrTarget() { return hwy::TargetName(HWY_TARGET); }

} // namespace HWY_NAMESPACE
} // namespace Vireo::Primitives
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vireo::Primitives {

HWY_EXPORT(YCbCrDecode444);
HWY_EXPORT(YCbCrDecode422);
HWY_EXPORT(YCbCrDecode411);
HWY_EXPORT(YCbCrEncode444);
HWY_EXPORT(YCbCrEncode422);
HWY_EXPORT(YCbCrEncode411);
HWY_EXPORT(YCbCrTarget);

namespace Fast {

void YCbCrToColour(const uint8_t* in, Layout444 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrDecode444)(in, layout, colour, channels, pixels);
}

void YCbCrToColour(const uint8_t* in, Layout422 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrDecode422)(in, layout, colour, channels, pixels);
}

void YCbCrToColour(const uint8_t* in, Layout411 layout, uint8_t* colour, unsigned channels, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrDecode411)(in, layout, colour, channels, pixels);
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout444 layout, uint8_t* out, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrEncode444)(colour, channels, layout, out, pixels);
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout422 layout, uint8_t* out, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrEncode422)(colour, channels, layout, out, pixels);
}

void ColourToYCbCr(const uint8_t* colour, unsigned channels, Layout411 layout, uint8_t* out, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(YCbCrEncode411)(colour, channels, layout, out, pixels);
}

const char* YCbCrTargetName() noexcept { return HWY_DYNAMIC_DISPATCH(YCbCrTarget)(); }

} // namespace Fast
} // namespace Vireo::Primitives
#endif
