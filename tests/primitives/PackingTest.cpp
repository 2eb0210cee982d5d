#include <Vireo/Packing.h>

#include <gtest/gtest.h>

#include <hwy/targets.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <GenICam.h>

#include "primitives/PackedSamples.h"

namespace Vireo {
namespace {

using namespace Primitives;
using Bytes = std::vector<uint8_t>; // always sized exactly, so that ASan sees any byte past the end

constexpr PackedLayout kLayouts[] = {PackedLayout::P10, PackedLayout::P12, PackedLayout::Packed10,
                                     PackedLayout::Packed12};

unsigned SampleBits(PackedLayout layout) {
    return layout == PackedLayout::P10 || layout == PackedLayout::Packed10 ? 10 : 12;
}

Bytes RandomBytes(size_t size, std::mt19937& random) {
    Bytes bytes(size);
    for (auto& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
}

// Random packed bytes in which every bit that belongs to no sample is 0, as a camera sends
// them: 10Packed's middle bytes use bits 0-1 and 4-5 only, and the last byte of an
// incomplete group only the bits its samples reach.
Bytes ValidPacked(PackedLayout layout, size_t pixels, std::mt19937& random) {
    Bytes bytes = RandomBytes(PackedBytes(layout, pixels), random);
    if (layout == PackedLayout::Packed10)
        for (size_t middle = 1; middle < bytes.size(); middle += 3) bytes[middle] &= 0x33;
    const size_t usedBits = layout == PackedLayout::P10 ? pixels % 4 * 10 % 8 : pixels % 2 * 4;
    if (usedBits != 0) bytes.back() &= static_cast<uint8_t>((1u << usedBits) - 1);
    return bytes;
}

using Kernel = void (*)(PackedLayout, unsigned, const uint8_t*, uint8_t*, size_t) noexcept;
const char* const kPaths[] = {"scalar", "fast"};
const Kernel kUnpackers[] = {Scalar::Unpack, Fast::Unpack};
const Kernel kPackers[] = {Scalar::Pack, Fast::Pack};

Bytes Unpacked(Kernel unpack, PackedLayout layout, unsigned bits, const Bytes& packed, size_t pixels) {
    Bytes plain(PlainBytes(bits, pixels));
    unpack(layout, bits, packed.data(), plain.data(), pixels);
    return plain;
}

Bytes Packed(Kernel pack, PackedLayout layout, unsigned bits, const Bytes& plain, size_t pixels) {
    Bytes packed(PackedBytes(layout, pixels));
    pack(layout, bits, plain.data(), packed.data(), pixels);
    return packed;
}

// One group per layout, computed by hand from the bit placement, followed by an incomplete
// group; repeated so that the vector loop decodes it as well as the scalar finish. The 8-bit
// result is the top 8 bits of each sample.
struct KnownGroups {
    PackedLayout layout;
    std::vector<uint16_t> groupSamples;
    Bytes groupBytes;
    std::vector<uint16_t> tailSamples;
    Bytes tailBytes;
};

const KnownGroups kKnown[] = {
    // 0x123 = byte 0 + bits 0-1 of byte 1; 0x2A5 = bits 6-7 of byte 3 + byte 4 as bits 2-9.
    {PackedLayout::P10, {0x123, 0x3FF, 0x000, 0x2A5}, {0x23, 0xFD, 0x0F, 0x40, 0xA9}, {0x155, 0x0AA, 0x3C3},
     {0x55, 0xA9, 0x32, 0x3C}},
    {PackedLayout::P12, {0xABC, 0x123}, {0xBC, 0x3A, 0x12}, {0xFED}, {0xED, 0x0F}},
    {PackedLayout::Packed10, {0x2AD, 0x153}, {0xAB, 0x31, 0x54}, {0x3C7}, {0xF1, 0x03}},
    {PackedLayout::Packed12, {0xABC, 0x123}, {0xAB, 0x3C, 0x12}, {0xFED}, {0xFE, 0x0D}},
};

TEST(PackedLayouts, FollowTheDocumentedBitPlacementInBothDirections) {
    for (const KnownGroups& known : kKnown) {
        const unsigned bits = SampleBits(known.layout);
        for (size_t repeats : {size_t(0), size_t(1), size_t(100)}) {
            Bytes packed;
            std::vector<uint16_t> samples;
            for (size_t r = 0; r < repeats; ++r) {
                packed.insert(packed.end(), known.groupBytes.begin(), known.groupBytes.end());
                samples.insert(samples.end(), known.groupSamples.begin(), known.groupSamples.end());
            }
            packed.insert(packed.end(), known.tailBytes.begin(), known.tailBytes.end());
            samples.insert(samples.end(), known.tailSamples.begin(), known.tailSamples.end());
            const size_t n = samples.size();
            ASSERT_EQ(packed.size(), PackedBytes(known.layout, n));
            Bytes plain8(n), plain16(2 * n);
            for (size_t i = 0; i < n; ++i) {
                const unsigned aligned = samples[i] << (16 - bits);
                plain8[i] = static_cast<uint8_t>(samples[i] >> (bits - 8));
                plain16[2 * i] = static_cast<uint8_t>(aligned);
                plain16[2 * i + 1] = static_cast<uint8_t>(aligned >> 8);
            }
            for (size_t path = 0; path < 2; ++path) {
                SCOPED_TRACE(std::string(LayoutName(known.layout)) + " " + kPaths[path] + " x" +
                             std::to_string(repeats));
                EXPECT_EQ(Unpacked(kUnpackers[path], known.layout, 16, packed, n), plain16);
                EXPECT_EQ(Unpacked(kUnpackers[path], known.layout, 8, packed, n), plain8);
                EXPECT_EQ(Packed(kPackers[path], known.layout, 16, plain16, n), packed);
            }
        }
    }
}

TEST(PackedLayouts, RoundTripWithoutLossAtEveryCount) {
    std::mt19937 random(1);
    for (PackedLayout layout : kLayouts) {
        for (size_t n = 1; n <= 200; n += (n < 40 ? 1 : 37)) {
            for (size_t path = 0; path < 2; ++path) {
                const Kernel unpack = kUnpackers[path], pack = kPackers[path];
                SCOPED_TRACE(std::string(LayoutName(layout)) + " " + kPaths[path] + " n=" + std::to_string(n));
                // Packed bytes -> 16 bits -> packed bytes, and 8 bits -> packed -> 8 bits.
                const Bytes packed = ValidPacked(layout, n, random);
                EXPECT_EQ(Packed(pack, layout, 16, Unpacked(unpack, layout, 16, packed, n), n), packed);
                const Bytes plain8 = RandomBytes(n, random);
                EXPECT_EQ(Unpacked(unpack, layout, 8, Packed(pack, layout, 8, plain8, n), n), plain8);
            }
        }
    }
}

using PublicFunction = void (*)(const uint8_t*, uint8_t*, size_t, size_t, size_t);

Bytes PackedWith(PublicFunction pack, const Bytes& plain16, size_t pixels, size_t packedBytes) {
    Bytes packed(packedBytes);
    pack(plain16.data(), packed.data(), pixels, 1, 16);
    return packed;
}

// Input whose low bits are not zero: the Packed layouts merge the low bytes into the middle
// byte unmasked, the bit streams truncate each sample. (The vector code is held to the same
// bytes by the comparison with the scalar reference on unaligned input below.)
TEST(PackedLayouts, PackingSixteenBitsKeepsTheUnmaskedMiddleByteOfThePackedLayouts) {
    const Bytes plain = {0x34, 0x12, 0x78, 0x56, 0xCD, 0xAB}; // 0x1234, 0x5678, 0xABCD
    // 0x34 >> 4 | 0x78 = 0x7B; the last sample alone: 0xCD >> 4 = 0x0C.
    EXPECT_EQ(PackedWith(Packing::To12Packed, plain, 2, 3), (Bytes{0x12, 0x7B, 0x56}));
    EXPECT_EQ(PackedWith(Packing::To12Packed, plain, 3, 5), (Bytes{0x12, 0x7B, 0x56, 0xAB, 0x0C}));
    // 0x34 >> 6 | 0x78 >> 2 = 0x1E; 0xCD >> 6 = 0x03.
    EXPECT_EQ(PackedWith(Packing::To10Packed, plain, 3, 5), (Bytes{0x12, 0x1E, 0x56, 0xAB, 0x03}));
    EXPECT_EQ(PackedWith(Packing::To12p, plain, 2, 3), (Bytes{0x23, 0x71, 0x56}));       // 0x123, 0x567
    EXPECT_EQ(PackedWith(Packing::To10p, plain, 3, 4), (Bytes{0x48, 0x64, 0xF5, 0x2A})); // 0x048, 0x159, 0x2AF
}

TEST(PackedLayouts, AFrameIsOneRunOfSamplesWithRowsNotPadded) {
    std::mt19937 random(3);
    const Bytes plain = RandomBytes(2 * 21, random);
    Bytes asRows(PackedBytes(PackedLayout::P10, 21)), asLine(asRows.size());
    Packing::To10p(plain.data(), asRows.data(), 3, 7, 16);
    Packing::To10p(plain.data(), asLine.data(), 21, 1, 16);
    EXPECT_EQ(asRows.size(), 27u);
    EXPECT_EQ(asRows, asLine);
    Bytes back(plain.size());
    Unpacking::From10p(asRows.data(), back.data(), 7, 3, 16);
    Bytes expected = plain;
    for (size_t i = 0; i < 21; ++i) expected[2 * i] &= 0xC0;
    EXPECT_EQ(back, expected);
}

// Restores the instruction set chosen for the processor however the test ends.
struct ForcedTarget {
    explicit ForcedTarget(int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~ForcedTarget() { hwy::SetSupportedTargetsForTest(0); }
};

// Runs both kernels on the same random input, `offset` bytes into buffers that end exactly
// where their allocation ends, into destinations that start with different contents (so
// that a byte left unwritten shows).
bool SameOutput(Kernel slow, Kernel fast, PackedLayout layout, unsigned bits, size_t n, size_t inBytes,
                size_t outBytes, size_t offset, std::mt19937& random) {
    const Bytes in = RandomBytes(offset + inBytes, random);
    Bytes slowOut(offset + outBytes, 0xA5), fastOut(slowOut.size(), 0x5A);
    slow(layout, bits, in.data() + offset, slowOut.data() + offset, n);
    fast(layout, bits, in.data() + offset, fastOut.data() + offset, n);
    return std::equal(slowOut.begin() + offset, slowOut.end(), fastOut.begin() + offset);
}

// Every instruction set the processor runs, on frames whose sizes put the end of the vector
// loop everywhere, with every bit of the input random (bits that belong to no sample must
// be ignored alike) and 16-bit input not aligned (so that the unmasked rule is exercised).
TEST(PackedLayouts, VectorCodeOfEveryInstructionSetMatchesTheScalarReference) {
    const std::pair<size_t, size_t> sizes[] = {{1, 1},  {2, 1},  {3, 1},   {5, 1},   {7, 3},   {15, 1},   {16, 1},
                                               {17, 1}, {31, 2}, {32, 1},  {33, 1},  {47, 1},  {63, 1},   {64, 1},
                                               {65, 1}, {97, 1}, {127, 3}, {128, 1}, {129, 1}, {255, 1},  {257, 2},
                                               {1, 4099}, {4099, 3}, {640, 9}};
    std::mt19937 random(4);
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (int64_t target : targets) {
        ForcedTarget forced(target);
        ASSERT_STREQ(Fast::TargetName(), hwy::TargetName(target));
        for (const auto& [width, height] : sizes) {
            const size_t n = width * height;
            for (PackedLayout layout : kLayouts) {
                for (unsigned bits : {8u, 16u}) {
                    for (size_t offset : {size_t(0), size_t(1)}) {
                        SCOPED_TRACE(std::string(hwy::TargetName(target)) + " " + LayoutName(layout) + " " +
                                     std::to_string(bits) + " bits, " + std::to_string(width) + " x " +
                                     std::to_string(height) + ", offset " + std::to_string(offset));
                        const size_t packedBytes = PackedBytes(layout, n), plainBytes = PlainBytes(bits, n);
                        ASSERT_TRUE(SameOutput(Scalar::Unpack, Fast::Unpack, layout, bits, n, packedBytes, plainBytes,
                                               offset, random)) << "unpacking";
                        ASSERT_TRUE(SameOutput(Scalar::Pack, Fast::Pack, layout, bits, n, plainBytes, packedBytes,
                                               offset, random)) << "packing";
                    }
                }
            }
        }
    }
}

// Frames of several streams are converted at the same time, from the first call on (each
// test runs in a process of its own, so this one makes the first choice of instruction set).
TEST(PackedLayouts, ConcurrentFirstCallsAgreeWithTheReference) {
    constexpr size_t kThreads = 4;
    constexpr size_t kPixels = 2448 * 8 + 3;
    std::mt19937 random(5);
    std::vector<Bytes> sources, results(kThreads, Bytes(2 * kPixels));
    for (size_t t = 0; t < kThreads; ++t)
        sources.push_back(RandomBytes(PackedBytes(PackedLayout::P12, kPixels), random));
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] { Unpacking::From12p(sources[t].data(), results[t].data(), kPixels, 1, 16); });
    for (auto& thread : threads) thread.join();
    for (size_t t = 0; t < kThreads; ++t)
        EXPECT_EQ(results[t], Unpacked(Scalar::Unpack, PackedLayout::P12, 16, sources[t], kPixels))
            << "thread " << t;
}

std::string MessageOf(PublicFunction function, const uint8_t* source, uint8_t* destination, size_t width,
                      size_t height, size_t bitsPerPixel) {
    try {
        function(source, destination, width, height, bitsPerPixel);
    } catch (const GenICam::InvalidArgumentException& error) {
        return error.what();
    } catch (...) {
        return "another exception";
    }
    return "no exception";
}

TEST(PackedLayouts, PublicFunctionsRefuseArgumentsThatDescribeNoValidFrame) {
    const std::pair<const char*, PublicFunction> functions[] = {
        {"To10p", Packing::To10p},         {"To10Packed", Packing::To10Packed},
        {"To12p", Packing::To12p},         {"To12Packed", Packing::To12Packed},
        {"From10p", Unpacking::From10p},   {"From10Packed", Unpacking::From10Packed},
        {"From12p", Unpacking::From12p},   {"From12Packed", Unpacking::From12Packed}};
    Bytes in(64), out(64);
    for (const auto& [name, f] : functions) {
        const std::string where = std::string(name[0] == 'T' ? " (Packing, " : " (Unpacking, ") + name + ")";
        const auto message = [&](const char* text) { return "InvalidArgumentException: " + std::string(text) + where; };
        EXPECT_EQ(MessageOf(f, nullptr, out.data(), 4, 1, 8), message("source is nullptr."));
        EXPECT_EQ(MessageOf(f, in.data(), nullptr, 4, 1, 8), message("destination is nullptr."));
        EXPECT_EQ(MessageOf(f, in.data(), out.data(), 0, 1, 8), message("width must be > 0."));
        EXPECT_EQ(MessageOf(f, in.data(), out.data(), 4, 0, 16), message("height must be > 0."));
        EXPECT_EQ(MessageOf(f, in.data(), out.data(), 4, 1, 12), message("bitsPerPixel must be 8 or 16, not 12."));
        EXPECT_EQ(MessageOf(f, in.data(), out.data(), size_t(1) << 40, size_t(1) << 40, 8),
                  message("width x height (1099511627776 x 1099511627776) is too large."));
        EXPECT_EQ(MessageOf(f, in.data(), in.data() + 4, 8, 1, 16), message("source and destination overlap."));
        EXPECT_EQ(MessageOf(f, in.data(), out.data(), 8, 2, 16), "no exception");
    }
}

} // namespace
} // namespace Vireo
