// The fast path of the colour kernels: Highway compiles this file once per instruction set
// (SSSE3, SSE4, AVX2 and AVX-512 on x86-64, plus a one-lane fallback that runs the scalar
// reference) and the first call picks the best one the processor has.
//
// As in the packing kernels, every byte move is a shuffle inside a 128-bit block
// (TableLookupBytesOr0, one instruction everywhere), and each block of a vector loads its own
// 16-byte window of the input, wherever its pixels start (LoadWindows). The shuffle tables
// are built per call from the channel order and the fill value, so one loop serves every
// order, repeated source channels included, without a branch per pixel.
//
// A frame runs through whole steps while every window stays inside the input; the scalar
// reference finishes the remaining pixels, which keeps both paths byte for byte equal.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "primitives/ColourKernelsSimd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "ColourKernels.h"

// Vector code needs vector lengths known at compile time (a vector is assembled from its
// blocks by halving) and the little-endian lane order that the byte tables are written for.
#undef VIREO_COLOUR_VECTORS
#if HWY_TARGET == HWY_SCALAR || HWY_HAVE_SCALABLE || \
    (defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__)
#define VIREO_COLOUR_VECTORS 0
#else
#define VIREO_COLOUR_VECTORS 1
#endif

HWY_BEFORE_NAMESPACE();
namespace Vireo::Primitives {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
// Internal linkage: the other kernel families compile helpers into the same per-target
// namespaces, and a template of the same name and signature would otherwise be merged.
namespace {

#if VIREO_COLOUR_VECTORS

using D8 = hn::ScalableTag<uint8_t>;
using D16 = hn::Repartition<uint16_t, D8>;
using D32 = hn::Repartition<uint32_t, D8>;
using DI16 = hn::Repartition<int16_t, D8>;
using DI32 = hn::Repartition<int32_t, D8>;
using V8 = hn::Vec<D8>;
using V16 = hn::Vec<D16>;
using VI32 = hn::Vec<DI32>;

constexpr size_t kBlockBytes = 16;
constexpr size_t kVectorBytes = hn::MaxLanes(D8());
constexpr size_t kBlocks = kVectorBytes / kBlockBytes;
constexpr uint8_t kZero = 0x80; // TableLookupBytesOr0 writes 0 for this index

// Block b of the result is the 16 bytes at p + Window::Of(FirstBlock + b).
template <class Window, size_t FirstBlock = 0, class D>
HWY_INLINE hn::Vec<D> LoadWindows(D d, const uint8_t* HWY_RESTRICT p) {
    if constexpr (hn::MaxLanes(D()) <= kBlockBytes) {
        return hn::LoadU(d, p + Window::Of(FirstBlock));
    } else {
        const hn::Half<D> dh;
        constexpr size_t halfBlocks = hn::MaxLanes(hn::Half<D>()) / kBlockBytes;
        return hn::Combine(d, LoadWindows<Window, FirstBlock + halfBlocks>(dh, p),
                           LoadWindows<Window, FirstBlock>(dh, p));
    }
}

// Windows at a fixed distance from each other: block b at First + b * Stride.
template <size_t First, size_t Stride>
struct Strided {
    static constexpr size_t Of(size_t block) { return First + block * Stride; }
};

// --- moving bytes: grey to colour, channel reordering, 8 to 16 bits ------------------------
//
// Each output pixel of OutBytes bytes takes every byte either from a byte of the input pixel
// of InBytes bytes at the same index or from a constant (the fill value). Output block q of a
// step covers a few whole or partial pixels; its window starts at the first of their input
// pixels and, where their input bytes span more than 16, a second window ends at the last.
// The pattern of windows and tables repeats every period, the least whole number of blocks
// that holds whole pixels; a step is one period per block of a vector, so that vector v of a
// step always meets the same tables.

constexpr size_t PeriodBytes(size_t pixelBytes) {
    size_t bytes = pixelBytes;
    while (bytes % kBlockBytes != 0) bytes += pixelBytes;
    return bytes;
}

template <size_t InBytes, size_t OutBytes>
struct BytePlan {
    static constexpr size_t kPeriodBlocks = PeriodBytes(OutBytes) / kBlockBytes; // = vectors per step
    static constexpr size_t kStepBlocks = kPeriodBlocks * kBlocks;
    static constexpr size_t kStepPixels = kStepBlocks * kBlockBytes / OutBytes;

    static constexpr size_t FirstByte(size_t block) { return block * kBlockBytes / OutBytes * InBytes; }
    static constexpr size_t EndByte(size_t block) {
        return ((block * kBlockBytes + kBlockBytes - 1) / OutBytes + 1) * InBytes;
    }
    static constexpr size_t Window(size_t block, size_t window) {
        const size_t first = FirstByte(block);
        if (window == 0 || EndByte(block) <= first + kBlockBytes) return first;
        return EndByte(block) - kBlockBytes;
    }
    static constexpr bool TwoWindows() {
        for (size_t block = 0; block < kPeriodBlocks; ++block)
            if (EndByte(block) - FirstByte(block) > kBlockBytes) return true;
        return false;
    }
    // Input bytes a step reads from its start: its last window may reach past its pixels.
    static constexpr size_t Reach() {
        size_t reach = 0;
        for (size_t block = 0; block < kStepBlocks; ++block) reach = std::max(reach, Window(block, 1) + kBlockBytes);
        return reach;
    }
    static constexpr bool WindowsSuffice() {
        for (size_t block = 0; block < kPeriodBlocks; ++block)
            if (EndByte(block) - FirstByte(block) > 2 * kBlockBytes) return false;
        return true;
    }

    template <size_t Vector, size_t WindowIndex>
    struct VectorWindow {
        static constexpr size_t Of(size_t block) { return Window(Vector * kBlocks + block, WindowIndex); }
    };
};

// Tables of one step: per vector, one byte table per window and the constant bytes.
template <class Plan>
struct ByteTables {
    alignas(64) uint8_t window[2][Plan::kPeriodBlocks * kVectorBytes];
    alignas(64) uint8_t constant[Plan::kPeriodBlocks * kVectorBytes];
};

// source[k] is the input byte of output byte k of a pixel, or -1 for constant[k]. Blocks a
// whole period apart differ only by whole periods of input and output, relative to which the
// tables are written, so one period is built and copied to the rest of the step: kept short
// because a caller may convert a frame row by row.
template <class Plan, size_t InBytes, size_t OutBytes>
void BuildByteTables(const int8_t* source, const uint8_t* constant, ByteTables<Plan>& tables) {
    size_t pixel = 0, byte = 0; // of output byte `at` of the period
    for (size_t at = 0; at < Plan::kPeriodBlocks * kBlockBytes; ++at) {
        const size_t block = at / kBlockBytes;
        const size_t first = Plan::Window(block, 0), second = Plan::Window(block, 1);
        uint8_t fromFirst = kZero, fromSecond = kZero, fixed = 0;
        if (source[byte] < 0) {
            fixed = constant[byte];
        } else {
            const size_t input = pixel * InBytes + static_cast<size_t>(source[byte]);
            if (input < first + kBlockBytes) fromFirst = static_cast<uint8_t>(input - first);
            else fromSecond = static_cast<uint8_t>(input - second);
        }
        tables.window[0][at] = fromFirst;
        tables.window[1][at] = fromSecond;
        tables.constant[at] = fixed;
        if (++byte == OutBytes) {
            byte = 0;
            ++pixel;
        }
    }
    for (size_t at = Plan::kPeriodBlocks * kBlockBytes; at < Plan::kStepBlocks * kBlockBytes; at += kBlockBytes) {
        const size_t from = at % (Plan::kPeriodBlocks * kBlockBytes);
        std::memcpy(tables.window[0] + at, tables.window[0] + from, kBlockBytes);
        std::memcpy(tables.window[1] + at, tables.window[1] + from, kBlockBytes);
        std::memcpy(tables.constant + at, tables.constant + from, kBlockBytes);
    }
}

template <class Plan, size_t Vector, bool Constants>
HWY_INLINE void MoveVector(const uint8_t* HWY_RESTRICT in, uint8_t* HWY_RESTRICT out, const ByteTables<Plan>& tables) {
    const D8 d8;
    constexpr size_t at = Vector * kVectorBytes;
    using First = typename Plan::template VectorWindow<Vector, 0>;
    V8 bytes = hn::TableLookupBytesOr0(LoadWindows<First>(d8, in), hn::Load(d8, tables.window[0] + at));
    if constexpr (Plan::TwoWindows()) {
        using Second = typename Plan::template VectorWindow<Vector, 1>;
        bytes =
            hn::Or(bytes, hn::TableLookupBytesOr0(LoadWindows<Second>(d8, in), hn::Load(d8, tables.window[1] + at)));
    }
    if constexpr (Constants) bytes = hn::Or(bytes, hn::Load(d8, tables.constant + at));
    hn::StoreU(bytes, d8, out + at);
}

// Returns the number of pixels done; the caller finishes the rest.
template <size_t InBytes, size_t OutBytes, bool Constants>
size_t MoveBytes(const uint8_t* HWY_RESTRICT in, uint8_t* HWY_RESTRICT out, size_t pixels, const int8_t* source,
                 const uint8_t* constant) {
    using Plan = BytePlan<InBytes, OutBytes>;
    static_assert(Plan::kPeriodBlocks <= 3, "one step holds at most three vectors");
    static_assert(Plan::WindowsSuffice(), "two windows hold the input of every block");
    constexpr size_t reach = Plan::Reach();
    const size_t inBytes = pixels * InBytes;
    if (inBytes < reach) return 0;
    ByteTables<Plan> tables;
    BuildByteTables<Plan, InBytes, OutBytes>(source, constant, tables);
    size_t done = 0;
    for (; done * InBytes + reach <= inBytes; done += Plan::kStepPixels) {
        const uint8_t* stepIn = in + done * InBytes;
        uint8_t* stepOut = out + done * OutBytes;
        MoveVector<Plan, 0, Constants>(stepIn, stepOut, tables);
        if constexpr (Plan::kPeriodBlocks > 1) MoveVector<Plan, 1, Constants>(stepIn, stepOut, tables);
        if constexpr (Plan::kPeriodBlocks > 2) MoveVector<Plan, 2, Constants>(stepIn, stepOut, tables);
    }
    return done;
}

// Output channel k < 3 of a pixel is input channel source(k), channel 3 the fill value;
// samples of SampleBytes bytes, the fill's bytes in memory order.
template <size_t SampleBytes, size_t InChannels, size_t OutChannels, class SourceChannel>
size_t MoveChannels(const uint8_t* in, uint8_t* out, size_t pixels, SourceChannel sourceChannel,
                    const uint8_t* fillBytes) {
    int8_t source[4 * SampleBytes];
    uint8_t constant[4 * SampleBytes] = {};
    for (size_t k = 0; k < OutChannels; ++k) {
        for (size_t i = 0; i < SampleBytes; ++i) {
            const size_t at = k * SampleBytes + i;
            source[at] = k < 3 ? static_cast<int8_t>(sourceChannel(k) * SampleBytes + i) : int8_t{-1};
            if (k == 3) constant[at] = fillBytes[i];
        }
    }
    return MoveBytes<InChannels * SampleBytes, OutChannels * SampleBytes, OutChannels == 4>(in, out, pixels, source,
                                                                                            constant);
}

template <size_t SampleBytes>
size_t GreyToColourVectors(const uint8_t* grey, uint8_t* colour, unsigned channels, const uint8_t* fillBytes,
                           size_t pixels) {
    const auto fromGrey = [](size_t) { return size_t{0}; };
    if (channels == 4) return MoveChannels<SampleBytes, 1, 4>(grey, colour, pixels, fromGrey, fillBytes);
    return MoveChannels<SampleBytes, 1, 3>(grey, colour, pixels, fromGrey, fillBytes);
}

template <size_t SampleBytes>
size_t SwapChannelsVectors(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels,
                           ChannelOrder order, const uint8_t* fillBytes, size_t pixels) {
    const auto fromOrder = [&order](size_t k) { return size_t{order.source[k]}; };
    if (inChannels == 3) {
        if (outChannels == 3) return MoveChannels<SampleBytes, 3, 3>(in, out, pixels, fromOrder, fillBytes);
        return MoveChannels<SampleBytes, 3, 4>(in, out, pixels, fromOrder, fillBytes);
    }
    if (outChannels == 3) return MoveChannels<SampleBytes, 4, 3>(in, out, pixels, fromOrder, fillBytes);
    return MoveChannels<SampleBytes, 4, 4>(in, out, pixels, fromOrder, fillBytes);
}

template <class Sample>
const uint8_t* Bytes(const Sample* p) {
    return reinterpret_cast<const uint8_t*>(p);
}
template <class Sample>
uint8_t* Bytes(Sample* p) {
    return reinterpret_cast<uint8_t*>(p);
}

void GreyToColour8Kernel(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) {
    const size_t done = GreyToColourVectors<1>(grey, colour, channels, &fill, pixels);
    Scalar::GreyToColour(grey + done, colour + done * channels, channels, fill, pixels - done);
}

void GreyToColour16Kernel(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) {
    uint8_t fillBytes[2];
    std::memcpy(fillBytes, &fill, sizeof fill);
    const size_t done = GreyToColourVectors<2>(Bytes(grey), Bytes(colour), channels, fillBytes, pixels);
    Scalar::GreyToColour(grey + done, colour + done * channels, channels, fill, pixels - done);
}

void SwapChannels8Kernel(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                         uint8_t fill, size_t pixels) {
    const size_t done = SwapChannelsVectors<1>(in, inChannels, out, outChannels, order, &fill, pixels);
    Scalar::SwapChannels(in + done * inChannels, inChannels, out + done * outChannels, outChannels, order, fill,
                         pixels - done);
}

void SwapChannels16Kernel(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels,
                          ChannelOrder order, uint16_t fill, size_t pixels) {
    uint8_t fillBytes[2];
    std::memcpy(fillBytes, &fill, sizeof fill);
    const size_t done =
        SwapChannelsVectors<2>(Bytes(in), inChannels, Bytes(out), outChannels, order, fillBytes, pixels);
    Scalar::SwapChannels(in + done * inChannels, inChannels, out + done * outChannels, outChannels, order, fill,
                         pixels - done);
}

// v * 257 has both bytes equal to v: each output sample is its input byte twice.
void Scale8To16Kernel(const uint8_t* in, uint16_t* out, size_t samples) {
    const int8_t source[2] = {0, 0};
    const size_t done = MoveBytes<1, 2, false>(in, Bytes(out), samples, source, nullptr);
    Scalar::Scale8To16(in + done, out + done, samples - done);
}

// --- weighted grey ------------------------------------------------------------------------
//
// The sum is formed with the signed 16 x 16 -> 32-bit multiply-add of adjacent lanes
// (ReorderWidenMulAccumulate, one instruction on x86). The weight 38470 does not fit a signed
// 16-bit lane, so c1 is taken twice at 19235: the pairs (c0, c1) and (c2, c1) against
// (19595, 19235) and (7471, 19235). The shuffles that gather the pairs from the input
// window also apply the channel order.

constexpr uint32_t kWeightsC0C1 = 19235u << 16 | 19595u;
constexpr uint32_t kWeightsC2C1 = 19235u << 16 | 7471u;

HWY_INLINE VI32 WeightedSum(hn::Vec<DI16> pairsC0C1, hn::Vec<DI16> pairsC2C1, VI32 start) {
    const DI32 di32;
    const D32 d32;
    const DI16 di16;
    VI32 odd = hn::Zero(di32);
    VI32 sum =
        hn::ReorderWidenMulAccumulate(di32, pairsC0C1, hn::BitCast(di16, hn::Set(d32, kWeightsC0C1)), start, odd);
    sum = hn::ReorderWidenMulAccumulate(di32, pairsC2C1, hn::BitCast(di16, hn::Set(d32, kWeightsC2C1)), sum, odd);
    return hn::RearrangeToOddPlusEven(sum, odd);
}

// 8 bits: a block's 16 grey pixels come from four windows of 4 pixels each, quarter k at
// pixel 4k of the block. Each window gives one 32-bit lane per pixel, whose byte 2 after
// rounding is the grey value; a last shuffle puts quarter k's four into bytes 4k to 4k + 3.
template <size_t Channels>
size_t ColourToGrey8Vectors(const uint8_t* colour, ChannelOrder order, uint8_t* grey, size_t pixels) {
    constexpr size_t stepPixels = 16 * kBlocks;
    constexpr size_t reach = (stepPixels - 4) * Channels + kBlockBytes;
    const size_t inBytes = pixels * Channels;
    if (inBytes < reach) return 0;

    alignas(16) uint8_t c0c1[16], c2c1[16], quarter[4][16];
    for (size_t i = 0; i < 4; ++i) {
        c0c1[4 * i] = static_cast<uint8_t>(Channels * i + order.source[0]);
        c2c1[4 * i] = static_cast<uint8_t>(Channels * i + order.source[2]);
        c0c1[4 * i + 2] = c2c1[4 * i + 2] = static_cast<uint8_t>(Channels * i + order.source[1]);
        c0c1[4 * i + 1] = c0c1[4 * i + 3] = c2c1[4 * i + 1] = c2c1[4 * i + 3] = kZero;
    }
    for (size_t k = 0; k < 4; ++k)
        for (size_t j = 0; j < 16; ++j) quarter[k][j] = j / 4 == k ? static_cast<uint8_t>(4 * (j % 4) + 2) : kZero;

    const D8 d8;
    const DI16 di16;
    const DI32 di32;
    const V8 gatherC0C1 = hn::LoadDup128(d8, c0c1), gatherC2C1 = hn::LoadDup128(d8, c2c1);
    const VI32 half = hn::Set(di32, 32768);
    const auto greyOfQuarter = [&](V8 window, size_t k) {
        const VI32 sum = WeightedSum(hn::BitCast(di16, hn::TableLookupBytesOr0(window, gatherC0C1)),
                                     hn::BitCast(di16, hn::TableLookupBytesOr0(window, gatherC2C1)), half);
        return hn::TableLookupBytesOr0(hn::BitCast(d8, sum), hn::LoadDup128(d8, quarter[k]));
    };
    size_t done = 0;
    for (; done * Channels + reach <= inBytes; done += stepPixels) {
        const uint8_t* in = colour + done * Channels;
        const V8 q0 = greyOfQuarter(LoadWindows<Strided<0, 16 * Channels>>(d8, in), 0);
        const V8 q1 = greyOfQuarter(LoadWindows<Strided<4 * Channels, 16 * Channels>>(d8, in), 1);
        const V8 q2 = greyOfQuarter(LoadWindows<Strided<8 * Channels, 16 * Channels>>(d8, in), 2);
        const V8 q3 = greyOfQuarter(LoadWindows<Strided<12 * Channels, 16 * Channels>>(d8, in), 3);
        hn::StoreU(hn::Or(hn::Or(q0, q1), hn::Or(q2, q3)), d8, grey + done);
    }
    return done;
}

// 16 bits: samples are unsigned, the multiply-add signed, so every sample enters as
// c - 32768 (its top bit flipped). The weights sum to 65536, so the sum comes out 2^31 too
// low; adding 2^31 + 32768 modulo 2^32 gives the rounded sum, exact because the largest,
// 65535 * 65536 + 32768, is below 2^32. The grey value is its upper 16 bits.
// A block's 8 grey pixels come from four windows of 2 pixels: windows 0 and 1 make one
// vector of 4 sums, windows 2 and 3 another.
template <size_t Channels>
size_t ColourToGrey16Vectors(const uint8_t* colour, ChannelOrder order, uint8_t* grey, size_t pixels) {
    constexpr size_t pixelBytes = 2 * Channels;
    constexpr size_t stepPixels = 8 * kBlocks;
    constexpr size_t reach = (stepPixels - 2) * pixelBytes + kBlockBytes;
    const size_t inBytes = pixels * pixelBytes;
    if (inBytes < reach) return 0;

    // Window w of a pair of windows fills 32-bit lanes 2w and 2w + 1.
    alignas(16) uint8_t c0c1[2][16], c2c1[2][16], upper[2][16];
    std::memset(c0c1, kZero, sizeof c0c1);
    std::memset(c2c1, kZero, sizeof c2c1);
    std::memset(upper, kZero, sizeof upper);
    for (size_t lane = 0; lane < 4; ++lane) {
        const size_t w = lane / 2, pixel = lane % 2;
        for (size_t i = 0; i < 2; ++i) {
            const auto sampleByte = [&](size_t channel) {
                return static_cast<uint8_t>(pixel * pixelBytes + 2 * channel + i);
            };
            c0c1[w][4 * lane + i] = sampleByte(order.source[0]);
            c2c1[w][4 * lane + i] = sampleByte(order.source[2]);
            c0c1[w][4 * lane + 2 + i] = c2c1[w][4 * lane + 2 + i] = sampleByte(order.source[1]);
            for (size_t h = 0; h < 2; ++h) upper[h][2 * (4 * h + lane) + i] = static_cast<uint8_t>(4 * lane + 2 + i);
        }
    }

    const D8 d8;
    const D16 d16;
    const D32 d32;
    const DI16 di16;
    const DI32 di32;
    const V16 flip = hn::Set(d16, uint16_t{0x8000});
    const hn::Vec<D32> bias = hn::Set(d32, 0x80008000u);
    const auto pairs = [&](V8 first, V8 second, const uint8_t(*table)[16]) {
        const V8 gathered = hn::Or(hn::TableLookupBytesOr0(first, hn::LoadDup128(d8, table[0])),
                                   hn::TableLookupBytesOr0(second, hn::LoadDup128(d8, table[1])));
        return hn::BitCast(di16, hn::Xor(hn::BitCast(d16, gathered), flip));
    };
    const auto greyOfHalf = [&](V8 first, V8 second, size_t h) {
        const VI32 sum = WeightedSum(pairs(first, second, c0c1), pairs(first, second, c2c1), hn::Zero(di32));
        const hn::Vec<D32> rounded = hn::Add(hn::BitCast(d32, sum), bias);
        return hn::TableLookupBytesOr0(hn::BitCast(d8, rounded), hn::LoadDup128(d8, upper[h]));
    };
    constexpr size_t stride = 8 * pixelBytes;
    size_t done = 0;
    for (; done * pixelBytes + reach <= inBytes; done += stepPixels) {
        const uint8_t* in = colour + done * pixelBytes;
        const V8 low = greyOfHalf(LoadWindows<Strided<0, stride>>(d8, in),
                                  LoadWindows<Strided<2 * pixelBytes, stride>>(d8, in), 0);
        const V8 high = greyOfHalf(LoadWindows<Strided<4 * pixelBytes, stride>>(d8, in),
                                   LoadWindows<Strided<6 * pixelBytes, stride>>(d8, in), 1);
        hn::StoreU(hn::Or(low, high), d8, grey + 2 * done);
    }
    return done;
}

void ColourToGrey8Kernel(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) {
    const size_t done = channels == 4 ? ColourToGrey8Vectors<4>(colour, order, grey, pixels)
                                      : ColourToGrey8Vectors<3>(colour, order, grey, pixels);
    Scalar::ColourToGrey(colour + done * channels, channels, order, grey + done, pixels - done);
}

void ColourToGrey16Kernel(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey,
                          size_t pixels) {
    const size_t done = channels == 4 ? ColourToGrey16Vectors<4>(Bytes(colour), order, Bytes(grey), pixels)
                                      : ColourToGrey16Vectors<3>(Bytes(colour), order, Bytes(grey), pixels);
    Scalar::ColourToGrey(colour + done * channels, channels, order, grey + done, pixels - done);
}

// --- 16 to 8 bits ---------------------------------------------------------------------------
//
// A block's 16 output bytes come from two windows of 8 samples; the 8-bit value ends up in
// one byte of each 16-bit lane, and two shuffles gather them in order.

alignas(16) constexpr uint8_t kLowBytesFirst[16] = {0,     2,     4,     6,     8,     10,    12,    14,
                                                    kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero};
alignas(16) constexpr uint8_t kLowBytesSecond[16] = {kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                                     0,     2,     4,     6,     8,     10,    12,    14};
alignas(16) constexpr uint8_t kHighBytesFirst[16] = {1,     3,     5,     7,     9,     11,    13,    15,
                                                     kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero};
alignas(16) constexpr uint8_t kHighBytesSecond[16] = {kZero, kZero, kZero, kZero, kZero, kZero, kZero, kZero,
                                                      1,     3,     5,     7,     9,     11,    13,    15};

template <class Narrow>
HWY_INLINE size_t Narrow16To8(const uint16_t* in, uint8_t* out, size_t samples, const uint8_t* firstTable,
                              const uint8_t* secondTable, Narrow narrow) {
    const D8 d8;
    const D16 d16;
    const V8 first = hn::LoadDup128(d8, firstTable), second = hn::LoadDup128(d8, secondTable);
    constexpr size_t stepSamples = 16 * kBlocks;
    size_t done = 0;
    for (; done + stepSamples <= samples; done += stepSamples) {
        const uint8_t* bytes = Bytes(in + done);
        const V16 a = narrow(hn::BitCast(d16, LoadWindows<Strided<0, 32>>(d8, bytes)));
        const V16 b = narrow(hn::BitCast(d16, LoadWindows<Strided<16, 32>>(d8, bytes)));
        hn::StoreU(hn::Or(hn::TableLookupBytesOr0(hn::BitCast(d8, a), first),
                          hn::TableLookupBytesOr0(hn::BitCast(d8, b), second)),
                   d8, out + done);
    }
    return done;
}

// (v + 128) / 257 exactly: for x = v + 128 < 65536, x * 65281 / 2^24 is x / 257 times
// (1 + 2^-24), above it by less than 255 * 2^-24, while x / 257 is an integer or at least
// 1/257 below the next, so the quotients agree after rounding down. x / 2^24 is the high
// byte of the multiply-high by 65281. For v >= 65408 the sum saturates at 65535 = 255 * 257,
// which still gives 255, the right value there.
void Scale16To8Kernel(const uint16_t* in, uint8_t* out, size_t samples) {
    const D16 d16;
    const V16 half = hn::Set(d16, uint16_t{128}), reciprocal = hn::Set(d16, uint16_t{65281});
    const auto scale = [&](V16 v) { return hn::MulHigh(hn::SaturatedAdd(v, half), reciprocal); };
    const size_t done = Narrow16To8(in, out, samples, kHighBytesFirst, kHighBytesSecond, scale);
    Scalar::Scale16To8(in + done, out + done, samples - done);
}

void Shift16To8Kernel(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) {
    const int bits = static_cast<int>(shift);
    const auto shifted = [bits](V16 v) { return hn::ShiftRightSame(v, bits); };
    const size_t done = Narrow16To8(in, out, samples, kLowBytesFirst, kLowBytesSecond, shifted);
    Scalar::Shift16To8(in + done, out + done, shift, samples - done);
}

#else // !VIREO_COLOUR_VECTORS

void GreyToColour8Kernel(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) {
    Scalar::GreyToColour(grey, colour, channels, fill, pixels);
}
void GreyToColour16Kernel(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) {
    Scalar::GreyToColour(grey, colour, channels, fill, pixels);
}
void ColourToGrey8Kernel(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) {
    Scalar::ColourToGrey(colour, channels, order, grey, pixels);
}
void ColourToGrey16Kernel(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey,
                          size_t pixels) {
    Scalar::ColourToGrey(colour, channels, order, grey, pixels);
}
void SwapChannels8Kernel(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                         uint8_t fill, size_t pixels) {
    Scalar::SwapChannels(in, inChannels, out, outChannels, order, fill, pixels);
}
void SwapChannels16Kernel(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels,
                          ChannelOrder order, uint16_t fill, size_t pixels) {
    Scalar::SwapChannels(in, inChannels, out, outChannels, order, fill, pixels);
}
void Scale8To16Kernel(const uint8_t* in, uint16_t* out, size_t samples) {
    Scalar::Scale8To16(in, out, samples);
}
void Scale16To8Kernel(const uint16_t* in, uint8_t* out, size_t samples) {
    Scalar::Scale16To8(in, out, samples);
}
void Shift16To8Kernel(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) {
    Scalar::Shift16To8(in, out, shift, samples);
}

#endif

const char* ColourKernelTarget() {
    return hwy::TargetName(HWY_TARGET);
}

} // namespace
} // namespace HWY_NAMESPACE
} // namespace Vireo::Primitives
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vireo::Primitives {

HWY_EXPORT(GreyToColour8Kernel);
HWY_EXPORT(GreyToColour16Kernel);
HWY_EXPORT(ColourToGrey8Kernel);
HWY_EXPORT(ColourToGrey16Kernel);
HWY_EXPORT(SwapChannels8Kernel);
HWY_EXPORT(SwapChannels16Kernel);
HWY_EXPORT(Scale16To8Kernel);
HWY_EXPORT(Scale8To16Kernel);
HWY_EXPORT(Shift16To8Kernel);
HWY_EXPORT(ColourKernelTarget);

namespace Fast {

void GreyToColour(const uint8_t* grey, uint8_t* colour, unsigned channels, uint8_t fill, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(GreyToColour8Kernel)(grey, colour, channels, fill, pixels);
}

void GreyToColour(const uint16_t* grey, uint16_t* colour, unsigned channels, uint16_t fill, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(GreyToColour16Kernel)(grey, colour, channels, fill, pixels);
}

void ColourToGrey(const uint8_t* colour, unsigned channels, ChannelOrder order, uint8_t* grey, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(ColourToGrey8Kernel)(colour, channels, order, grey, pixels);
}

void ColourToGrey(const uint16_t* colour, unsigned channels, ChannelOrder order, uint16_t* grey,
                  size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(ColourToGrey16Kernel)(colour, channels, order, grey, pixels);
}

void SwapChannels(const uint8_t* in, unsigned inChannels, uint8_t* out, unsigned outChannels, ChannelOrder order,
                  uint8_t fill, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(SwapChannels8Kernel)(in, inChannels, out, outChannels, order, fill, pixels);
}

void SwapChannels(const uint16_t* in, unsigned inChannels, uint16_t* out, unsigned outChannels, ChannelOrder order,
                  uint16_t fill, size_t pixels) noexcept {
    HWY_DYNAMIC_DISPATCH(SwapChannels16Kernel)(in, inChannels, out, outChannels, order, fill, pixels);
}

void Scale16To8(const uint16_t* in, uint8_t* out, size_t samples) noexcept {
    HWY_DYNAMIC_DISPATCH(Scale16To8Kernel)(in, out, samples);
}

void Scale8To16(const uint8_t* in, uint16_t* out, size_t samples) noexcept {
    HWY_DYNAMIC_DISPATCH(Scale8To16Kernel)(in, out, samples);
}

void Shift16To8(const uint16_t* in, uint8_t* out, unsigned shift, size_t samples) noexcept {
    HWY_DYNAMIC_DISPATCH(Shift16To8Kernel)(in, out, shift, samples);
}

const char* ColourTargetName() noexcept {
    return HWY_DYNAMIC_DISPATCH(ColourKernelTarget)();
}

} // namespace Fast
} // namespace Vireo::Primitives
#endif
