#include <gtest/gtest.h>

#include <hwy/targets.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "primitives/ColourKernels.h"

namespace Vireo {
namespace {

using namespace Primitives;

// Restores the instruction set chosen for the processor however the test ends.
struct ForcedTarget {
    explicit ForcedTarget(int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~ForcedTarget() { hwy::SetSupportedTargetsForTest(0); }
};

// Runs check() once per instruction set the processor has, with the fast path forced to it.
template <class Check>
void OnEveryTarget(Check check) {
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (int64_t target : targets) {
        ForcedTarget forced(target);
        ASSERT_STREQ(Fast::ColourTargetName(), hwy::TargetName(target));
        SCOPED_TRACE(hwy::TargetName(target));
        check();
    }
}

// Sizes that put the end of the vector loop everywhere, including before its first step.
constexpr size_t kSizes[] = {0, 1, 2, 3, 7, 15, 16, 17, 31, 33, 63, 65, 1000, 4099};
constexpr ChannelOrder kOrders[] = {{{0, 1, 2}}, {{2, 1, 0}}, {{1, 1, 1}}, {{2, 0, 1}}, {{3, 0, 3}}};

bool Fits(ChannelOrder order, unsigned channels) {
    return std::all_of(order.source, order.source + 3, [&](uint8_t c) { return c < channels; });
}

std::string Describe(ChannelOrder order) {
    return "order " + std::to_string(order.source[0]) + std::to_string(order.source[1]) +
           std::to_string(order.source[2]);
}

// The scalar or the fast variant of the overloaded kernels, for one sample size.
template <class Sample>
struct Kernels {
    void (*toColour)(const Sample*, Sample*, unsigned, Sample, size_t) noexcept;
    void (*toGrey)(const Sample*, unsigned, ChannelOrder, Sample*, size_t) noexcept;
    void (*swap)(const Sample*, unsigned, Sample*, unsigned, ChannelOrder, Sample, size_t) noexcept;
};

template <class Sample>
Kernels<Sample> KernelsOf(bool fast) {
    if (fast) return {Fast::GreyToColour, Fast::ColourToGrey, Fast::SwapChannels};
    return {Scalar::GreyToColour, Scalar::ColourToGrey, Scalar::SwapChannels};
}

template <class T>
std::vector<T> Random(size_t count, std::mt19937& random) {
    std::vector<T> values(count);
    for (auto& value : values) value = static_cast<T>(random());
    return values;
}

// Runs run(fast, in, out) with the scalar and the fast path on the same random input, `offset`
// samples into buffers that end exactly where their allocation ends (so that ASan sees any
// access past the end). The destinations start with different contents, so that a sample
// left unwritten shows, behind a common prefix that must stay untouched.
template <class In, class Out, class Run>
void ExpectSameOutput(size_t inCount, size_t outCount, std::mt19937& random, const std::string& what, Run run) {
    for (size_t offset : {size_t(0), size_t(1)}) {
        const std::vector<In> in = Random<In>(offset + inCount, random);
        std::vector<Out> slow(offset + outCount, static_cast<Out>(0xA5A5)), fast(slow.size(), static_cast<Out>(0x5A5A));
        std::fill_n(slow.begin(), offset, Out{0x77});
        std::fill_n(fast.begin(), offset, Out{0x77});
        run(false, in.data() + offset, slow.data() + offset);
        run(true, in.data() + offset, fast.data() + offset);
        ASSERT_TRUE(slow == fast) << what << ", offset " << offset;
    }
}

template <class Sample>
void CompareColourAndGrey(std::mt19937& random) {
    const Sample fills[] = {Sample(0), Sample(0xABCD)};
    for (size_t n : kSizes) {
        for (unsigned channels : {3u, 4u}) {
            const std::string what = std::to_string(8 * sizeof(Sample)) + " bits, " + std::to_string(channels) +
                                     " channels, " + std::to_string(n) + " pixels";
            for (Sample fill : fills)
                ExpectSameOutput<Sample, Sample>(n, n * channels, random, "grey to colour, " + what,
                                                 [&](bool fast, const Sample* in, Sample* out) {
                                                     KernelsOf<Sample>(fast).toColour(in, out, channels, fill, n);
                                                 });
            for (ChannelOrder order : kOrders) {
                if (!Fits(order, channels)) continue;
                ExpectSameOutput<Sample, Sample>(n * channels, n, random,
                                                 "colour to grey, " + what + ", " + Describe(order),
                                                 [&](bool fast, const Sample* in, Sample* out) {
                                                     KernelsOf<Sample>(fast).toGrey(in, channels, order, out, n);
                                                 });
            }
        }
    }
}

TEST(ColourKernels, GreyConversionsOfEveryInstructionSetMatchTheScalarReference) {
    std::mt19937 random(1);
    OnEveryTarget([&] {
        CompareColourAndGrey<uint8_t>(random);
        CompareColourAndGrey<uint16_t>(random);
    });
}

template <class Sample>
void CompareSwaps(std::mt19937& random) {
    for (size_t n : kSizes) {
        for (unsigned inChannels : {3u, 4u}) {
            for (unsigned outChannels : {3u, 4u}) {
                for (ChannelOrder order : kOrders) {
                    if (!Fits(order, inChannels)) continue;
                    const Sample fill = static_cast<Sample>(random());
                    const std::string what = std::to_string(8 * sizeof(Sample)) + " bits, " +
                                             std::to_string(inChannels) + " -> " + std::to_string(outChannels) +
                                             " channels, " + Describe(order) + ", " + std::to_string(n) + " pixels";
                    ExpectSameOutput<Sample, Sample>(
                        n * inChannels, n * outChannels, random, what, [&](bool fast, const Sample* in, Sample* out) {
                            KernelsOf<Sample>(fast).swap(in, inChannels, out, outChannels, order, fill, n);
                        });
                }
            }
        }
    }
}

TEST(ColourKernels, ChannelSwapsOfEveryInstructionSetMatchTheScalarReference) {
    std::mt19937 random(2);
    OnEveryTarget([&] {
        CompareSwaps<uint8_t>(random);
        CompareSwaps<uint16_t>(random);
    });
}

TEST(ColourKernels, RangeScalingOfEveryInstructionSetMatchesTheScalarReference) {
    std::mt19937 random(3);
    OnEveryTarget([&] {
        for (size_t n : kSizes) {
            const std::string what = std::to_string(n) + " samples";
            ExpectSameOutput<uint16_t, uint8_t>(n, n, random, "16 to 8, " + what,
                                                [&](bool fast, const uint16_t* in, uint8_t* out) {
                                                    (fast ? Fast::Scale16To8 : Scalar::Scale16To8)(in, out, n);
                                                });
            ExpectSameOutput<uint8_t, uint16_t>(n, n, random, "8 to 16, " + what,
                                                [&](bool fast, const uint8_t* in, uint16_t* out) {
                                                    (fast ? Fast::Scale8To16 : Scalar::Scale8To16)(in, out, n);
                                                });
            for (unsigned shift = 0; shift <= 8; ++shift)
                ExpectSameOutput<uint16_t, uint8_t>(n, n, random, "shift " + std::to_string(shift) + ", " + what,
                                                    [&](bool fast, const uint16_t* in, uint8_t* out) {
                                                        (fast ? Fast::Shift16To8 : Scalar::Shift16To8)(in, out, shift,
                                                                                                       n);
                                                    });
        }
    });
}

// Known values, through both paths on frames long enough for the vector loop: the test
// repeats one pixel `kRepeats` times and expects every output pixel to be the same.
constexpr size_t kRepeats = 200;

template <class Sample, class Kernel>
std::vector<Sample> GreyOfRepeated(Kernel kernel, std::vector<Sample> pixel, ChannelOrder order) {
    const unsigned channels = static_cast<unsigned>(pixel.size());
    std::vector<Sample> colour;
    for (size_t p = 0; p < kRepeats; ++p) colour.insert(colour.end(), pixel.begin(), pixel.end());
    std::vector<Sample> grey(kRepeats);
    kernel(colour.data(), channels, order, grey.data(), kRepeats);
    std::sort(grey.begin(), grey.end());
    grey.erase(std::unique(grey.begin(), grey.end()), grey.end());
    return grey;
}

TEST(ColourKernels, GreyWeighsTheOrderedChannelsAndKeepsTheValueOfEqualChannels) {
    using U8 = std::vector<uint8_t>;
    using U16 = std::vector<uint16_t>;
    for (bool fast : {false, true}) {
        SCOPED_TRACE(fast ? "fast" : "scalar");
        const auto grey8 = KernelsOf<uint8_t>(fast).toGrey;
        const auto grey16 = KernelsOf<uint16_t>(fast).toGrey;
        // 0.299, 0.587 and 0.114 of 255, rounded the way the fixed point does: 76 + 150 + 29 = 255.
        EXPECT_EQ(GreyOfRepeated(grey8, U8{255, 0, 0}, {{0, 1, 2}}), U8{76});
        EXPECT_EQ(GreyOfRepeated(grey8, U8{0, 255, 0}, {{0, 1, 2}}), U8{150});
        EXPECT_EQ(GreyOfRepeated(grey8, U8{0, 0, 255}, {{0, 1, 2}}), U8{29});
        // The order picks the channels: red last (BGR), and red in channel 3 of four.
        EXPECT_EQ(GreyOfRepeated(grey8, U8{0, 0, 255}, {{2, 1, 0}}), U8{76});
        EXPECT_EQ(GreyOfRepeated(grey8, U8{9, 0, 0, 255}, {{3, 1, 2}}), U8{76});
        EXPECT_EQ(GreyOfRepeated(grey8, U8{10, 20, 30, 200}, {{3, 3, 3}}), U8{200});
        for (unsigned v : {0u, 1u, 127u, 128u, 254u, 255u}) {
            const uint8_t s = static_cast<uint8_t>(v);
            EXPECT_EQ(GreyOfRepeated(grey8, U8{s, s, s}, {{0, 1, 2}}), U8{s}) << v;
            EXPECT_EQ(GreyOfRepeated(grey8, U8{s, s, s, 0}, {{2, 1, 0}}), U8{s}) << v;
        }
        // 16 bits, where the sums reach 32 bits: 19595 + 38469 + 7471 = 65535.
        EXPECT_EQ(GreyOfRepeated(grey16, U16{65535, 0, 0}, {{0, 1, 2}}), U16{19595});
        EXPECT_EQ(GreyOfRepeated(grey16, U16{0, 65535, 0}, {{0, 1, 2}}), U16{38469});
        EXPECT_EQ(GreyOfRepeated(grey16, U16{0, 0, 65535, 0}, {{0, 1, 2}}), U16{7471});
        EXPECT_EQ(GreyOfRepeated(grey16, U16{65535, 0, 0}, {{2, 1, 0}}), U16{7471});
        for (unsigned v : {0u, 1u, 32767u, 32768u, 65534u, 65535u}) {
            const uint16_t s = static_cast<uint16_t>(v);
            EXPECT_EQ(GreyOfRepeated(grey16, U16{s, s, s}, {{0, 1, 2}}), U16{s}) << v;
            EXPECT_EQ(GreyOfRepeated(grey16, U16{1, s, s, s}, {{3, 2, 1}}), U16{s}) << v;
        }
    }
}

// Output channel k is input channel order.source[k], channel 3 the fill value; checked on
// pixels whose samples all differ, so that any mix-up shows.
TEST(ColourKernels, ChannelSwapsTakeEachOutputChannelFromItsSourceAndFillTheFourth) {
    constexpr size_t n = 100;
    std::vector<uint16_t> in(4 * n);
    for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint16_t>(0x1001 * i + 3);
    const auto sample = [&](size_t pixel, unsigned channels, unsigned k) { return in[pixel * channels + k]; };
    for (bool fast : {false, true}) {
        for (unsigned inChannels : {3u, 4u}) {
            for (unsigned outChannels : {3u, 4u}) {
                for (ChannelOrder order : {ChannelOrder{{2, 1, 0}}, ChannelOrder{{3, 3, 0}}, ChannelOrder{{1, 1, 1}}}) {
                    if (!Fits(order, inChannels)) continue;
                    SCOPED_TRACE(std::string(fast ? "fast " : "scalar ") + std::to_string(inChannels) + " -> " +
                                 std::to_string(outChannels) + ", " + Describe(order));
                    std::vector<uint16_t> out16(outChannels * n);
                    std::vector<uint8_t> in8(in.begin(), in.begin() + inChannels * n), out8(outChannels * n);
                    KernelsOf<uint16_t>(fast).swap(in.data(), inChannels, out16.data(), outChannels, order,
                                                   uint16_t{0xF00D}, n);
                    KernelsOf<uint8_t>(fast).swap(in8.data(), inChannels, out8.data(), outChannels, order,
                                                  uint8_t{0xEE}, n);
                    for (size_t p = 0; p < n; ++p) {
                        for (unsigned k = 0; k < outChannels; ++k) {
                            const uint16_t expected = k < 3 ? sample(p, inChannels, order.source[k]) : uint16_t{0xF00D};
                            ASSERT_EQ(out16[p * outChannels + k], expected) << "pixel " << p << " channel " << k;
                            ASSERT_EQ(out8[p * outChannels + k], k < 3 ? uint8_t(expected) : uint8_t{0xEE});
                        }
                    }
                }
            }
        }
    }
}

TEST(ColourKernels, GreyToColourRepeatsGreyInThreeChannelsAndFillsTheFourth) {
    constexpr size_t n = 100;
    std::vector<uint16_t> grey16(n);
    for (size_t i = 0; i < n; ++i) grey16[i] = static_cast<uint16_t>(0x0101 * i + 0x8001);
    const std::vector<uint8_t> grey8(grey16.begin(), grey16.end());
    for (bool fast : {false, true}) {
        for (unsigned channels : {3u, 4u}) {
            SCOPED_TRACE(std::string(fast ? "fast, " : "scalar, ") + std::to_string(channels) + " channels");
            std::vector<uint16_t> colour16(channels * n);
            std::vector<uint8_t> colour8(channels * n);
            KernelsOf<uint16_t>(fast).toColour(grey16.data(), colour16.data(), channels, uint16_t{0xBEEF}, n);
            KernelsOf<uint8_t>(fast).toColour(grey8.data(), colour8.data(), channels, uint8_t{0x42}, n);
            for (size_t p = 0; p < n; ++p) {
                for (unsigned k = 0; k < channels; ++k) {
                    ASSERT_EQ(colour16[p * channels + k], k < 3 ? grey16[p] : uint16_t{0xBEEF}) << p << ", " << k;
                    ASSERT_EQ(colour8[p * channels + k], k < 3 ? grey8[p] : uint8_t{0x42}) << p << ", " << k;
                }
            }
        }
    }
}

// Every possible sample, on every instruction set: 16 to 8 bits is the rounded quotient
// v * 255 / 65535 (never exactly half way, so the rounding direction of ties is moot),
// 8 to 16 bits is v * 257, and the shift keeps the low byte of v >> shift.
TEST(ColourKernels, RangeScalingIsExactForEverySample) {
    std::vector<uint16_t> all16(65536);
    for (size_t v = 0; v < all16.size(); ++v) all16[v] = static_cast<uint16_t>(v);
    std::vector<uint8_t> all8(256);
    for (size_t v = 0; v < all8.size(); ++v) all8[v] = static_cast<uint8_t>(v);
    const auto check = [&](bool fast) {
        std::vector<uint8_t> narrow(all16.size());
        (fast ? Fast::Scale16To8 : Scalar::Scale16To8)(all16.data(), narrow.data(), all16.size());
        for (size_t v = 0; v < all16.size(); ++v)
            ASSERT_EQ(narrow[v], std::lround(double(v) * 255.0 / 65535.0)) << "16 to 8 of " << v;
        std::vector<uint16_t> wide(all8.size());
        (fast ? Fast::Scale8To16 : Scalar::Scale8To16)(all8.data(), wide.data(), all8.size());
        for (size_t v = 0; v < all8.size(); ++v) ASSERT_EQ(wide[v], v * 257) << "8 to 16 of " << v;
        for (unsigned shift : {0u, 2u, 4u, 8u}) {
            (fast ? Fast::Shift16To8 : Scalar::Shift16To8)(all16.data(), narrow.data(), shift, all16.size());
            for (size_t v = 0; v < all16.size(); ++v)
                ASSERT_EQ(narrow[v], (v >> shift) & 0xFF) << "shift " << shift << " of " << v;
        }
    };
    check(false);
    OnEveryTarget([&] { check(true); });
}

} // namespace
} // namespace Vireo
