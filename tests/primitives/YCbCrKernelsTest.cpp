#include <gtest/gtest.h>

#include <hwy/targets.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "primitives/YCbCrKernels.h"

namespace Vireo::Primitives {
namespace {

using Bytes = std::vector<uint8_t>; // sized exactly, so that ASan sees any byte past the end

// --- the formulas, written out again in 64-bit arithmetic with an explicit floor ----------

int64_t FloorBy65536(int64_t value) { return value >= 0 ? value / 65536 : -((-value + 65535) / 65536); }
uint8_t Clamp(int64_t value) { return uint8_t(std::min<int64_t>(std::max<int64_t>(value, 0), 255)); }

struct Triple {
    uint8_t a, b, c; // B, G, R or Y, Cb, Cr
    bool operator==(const Triple&) const = default;
};

Triple Decoded(int64_t y, int64_t cb, int64_t cr) {
    const int64_t l = 76284 * (y - 16);
    cb -= 128;
    cr -= 128;
    return {Clamp(FloorBy65536(l + 132252 * cb + 32768)), Clamp(FloorBy65536(l - 53281 * cr - 25625 * cb + 32768)),
            Clamp(FloorBy65536(l + 104595 * cr + 32768))};
}

Triple Encoded(int64_t b, int64_t g, int64_t r) {
    return {Clamp(FloorBy65536(16843 * r + 33030 * g + 6423 * b + 32768 + (16 << 16))),
            Clamp(FloorBy65536(-9699 * r - 19071 * g + 28770 * b + 32768 + (128 << 16))),
            Clamp(FloorBy65536(28770 * r - 24117 * g - 4653 * b + 32768 + (128 << 16)))};
}

// --- the layouts as groups, and the contract's model of every kernel ----------------------

struct Grouping {
    size_t pixels, bytes;
    std::vector<uint8_t> y; // the Y byte of each pixel of the group
    uint8_t cb, cr;
};
Grouping GroupingOf(Layout444 l) { return {1, 3, {l.y}, l.cb, l.cr}; }
Grouping GroupingOf(Layout422 l) { return {2, 4, {l.y0, l.y1}, l.cb, l.cr}; }
Grouping GroupingOf(Layout411 l) { return {4, 6, {l.y[0], l.y[1], l.y[2], l.y[3]}, l.cb, l.cr}; }

// YCbCr bytes the kernels read or write: whole groups, and the two bytes of a lone 4:2:2 pixel.
size_t YCbCrBytes(const Grouping& g, size_t n) { return n / g.pixels * g.bytes + (g.pixels == 2 ? n % 2 * 2 : 0); }
// The buffer encoding writes into: 4:1:1 also has room for a last incomplete group, which
// must stay untouched.
size_t EncodedBufferBytes(const Grouping& g, size_t n) {
    return g.pixels == 4 ? (n + 3) / 4 * 6 : YCbCrBytes(g, n);
}

// The lone last 4:2:2 pixel: its Y and the first chroma of the layout, in layout order.
struct Lone {
    size_t yAt, chromaAt;
    bool isCb;
};
Lone LoneOf(const Grouping& g) {
    const uint8_t chroma = std::min(g.cb, g.cr);
    return {g.y[0] < chroma ? 0u : 1u, g.y[0] < chroma ? 1u : 0u, g.cb < g.cr};
}

void ModelDecode(const Grouping& g, const uint8_t* in, unsigned channels, size_t n, uint8_t* colour) {
    const auto put = [&](size_t pixel, Triple bgr) {
        uint8_t* out = colour + channels * pixel;
        out[0] = bgr.a, out[1] = bgr.b, out[2] = bgr.c;
        if (channels == 4) out[3] = 0;
    };
    for (size_t group = 0; group < n / g.pixels; ++group) {
        const uint8_t* bytes = in + g.bytes * group;
        for (size_t k = 0; k < g.pixels; ++k) put(g.pixels * group + k, Decoded(bytes[g.y[k]], bytes[g.cb], bytes[g.cr]));
    }
    if (g.pixels == 2 && n % 2 == 1) {
        const Lone lone = LoneOf(g);
        const uint8_t* bytes = in + n / 2 * 4;
        const uint8_t chroma = bytes[lone.chromaAt];
        put(n - 1, Decoded(bytes[lone.yAt], lone.isCb ? chroma : 128, lone.isCb ? 128 : chroma));
    }
}

void ModelEncode(const Grouping& g, const uint8_t* colour, unsigned channels, size_t n, uint8_t* out) {
    const auto encoded = [&](size_t pixel) {
        const uint8_t* bgr = colour + channels * pixel;
        return Encoded(bgr[0], bgr[1], bgr[2]);
    };
    for (size_t group = 0; group < n / g.pixels; ++group) {
        uint8_t* bytes = out + g.bytes * group;
        unsigned cbSum = 0, crSum = 0;
        for (size_t k = 0; k < g.pixels; ++k) {
            const Triple ycc = encoded(g.pixels * group + k);
            bytes[g.y[k]] = ycc.a;
            cbSum += ycc.b, crSum += ycc.c;
        }
        const auto count = unsigned(g.pixels);
        bytes[g.cb] = uint8_t((cbSum + count / 2) / count);
        bytes[g.cr] = uint8_t((crSum + count / 2) / count);
    }
    if (g.pixels == 2 && n % 2 == 1) {
        const Lone lone = LoneOf(g);
        const Triple ycc = encoded(n - 1);
        out[n / 2 * 4 + lone.yAt] = ycc.a;
        out[n / 2 * 4 + lone.chromaAt] = lone.isCb ? ycc.b : ycc.c;
    }
}

// The byte orders of the pixel formats, and unusual ones that the structures also express.
const Layout444 k444[] = {{0, 1, 2}, {1, 0, 2}, {2, 0, 1}};
const Layout422 k422[] = {{0, 1, 2, 3}, {1, 0, 3, 2}, {0, 3, 2, 1}, {2, 0, 3, 1}, {3, 2, 1, 0}};
const Layout411 k411[] = {{{0, 1, 3, 4}, 2, 5}, {{1, 2, 4, 5}, 0, 3}, {{5, 3, 1, 0}, 4, 2}};

template <class Layout>
using Decoder = void (*)(const uint8_t*, Layout, uint8_t*, unsigned, size_t) noexcept;
template <class Layout>
using Encoder = void (*)(const uint8_t*, unsigned, Layout, uint8_t*, size_t) noexcept;
template <class Layout>
constexpr Decoder<Layout> kScalarDecode = Scalar::YCbCrToColour;
template <class Layout>
constexpr Decoder<Layout> kFastDecode = Fast::YCbCrToColour;
template <class Layout>
constexpr Encoder<Layout> kScalarEncode = Scalar::ColourToYCbCr;
template <class Layout>
constexpr Encoder<Layout> kFastEncode = Fast::ColourToYCbCr;

// Restores the instruction set chosen for the processor however the test ends.
struct ForcedTarget {
    explicit ForcedTarget(int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~ForcedTarget() { hwy::SetSupportedTargetsForTest(0); }
};

Bytes RandomBytes(size_t size, std::mt19937& random) {
    Bytes bytes(size);
    for (auto& byte : bytes) byte = uint8_t(random());
    return bytes;
}

// Equal bytes, or where they first differ.
testing::AssertionResult SameBytes(const Bytes& actual, const Bytes& expected) {
    if (actual.size() != expected.size())
        return testing::AssertionFailure() << actual.size() << " bytes, not " << expected.size();
    const auto [at, _] = std::mismatch(actual.begin(), actual.end(), expected.begin());
    if (at == actual.end()) return testing::AssertionSuccess();
    const size_t index = size_t(at - actual.begin());
    return testing::AssertionFailure() << "byte " << index << " of " << actual.size() << " is " << int(actual[index])
                                       << ", not " << int(expected[index]);
}

// Runs a kernel `offset` bytes into buffers that end where their allocation ends, into a
// destination prefilled with `fill`, and returns the destination without the offset.
template <class Run>
Bytes Output(size_t offset, size_t size, uint8_t fill, Run run) {
    Bytes out(offset + size, fill);
    run(out.data() + offset);
    return Bytes(out.begin() + std::ptrdiff_t(offset), out.end());
}

// Scalar against the contract's model, then the fast path of every instruction set against
// the scalar reference, on random input, in both directions. Bytes the contract leaves
// alone must keep their fill.
template <class Layout>
void CheckEverySize(const Layout& layout, std::mt19937& random) {
    const Grouping g = GroupingOf(layout);
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    for (size_t n : {0, 1, 2, 3, 4, 5, 6, 7, 8, 15, 16, 17, 31, 33, 63, 65, 1000, 4099}) {
        for (unsigned channels : {3u, 4u}) {
            for (size_t offset : {0, 1}) {
                SCOPED_TRACE(std::to_string(n) + " pixels, " + std::to_string(channels) + " channels, offset " +
                             std::to_string(offset));
                const Bytes ycbcr = RandomBytes(offset + YCbCrBytes(g, n), random);
                const Bytes colour = RandomBytes(offset + channels * n, random);
                const uint8_t* ycbcrIn = ycbcr.data() + offset;
                const uint8_t* colourIn = colour.data() + offset;
                const size_t colourBytes = channels * n, encodedBytes = EncodedBufferBytes(g, n);

                const Bytes decoded = Output(offset, colourBytes, 0xA5, [&](uint8_t* out) {
                    kScalarDecode<Layout>(ycbcrIn, layout, out, channels, n);
                });
                const Bytes encoded = Output(offset, encodedBytes, 0xA5, [&](uint8_t* out) {
                    kScalarEncode<Layout>(colourIn, channels, layout, out, n);
                });
                ASSERT_TRUE(SameBytes(decoded, Output(0, colourBytes, 0xA5, [&](uint8_t* out) {
                                          ModelDecode(g, ycbcrIn, channels, n, out);
                                      }))) << "scalar decoding";
                ASSERT_TRUE(SameBytes(encoded, Output(0, encodedBytes, 0xA5, [&](uint8_t* out) {
                                          ModelEncode(g, colourIn, channels, n, out);
                                      }))) << "scalar encoding";

                // The fast path fills its destination differently, so that a byte written by
                // one path only shows; the bytes left alone keep that fill.
                Bytes fastDecoded = decoded, fastEncoded = encoded;
                const size_t decodedBytes = g.pixels == 4 ? n / 4 * 4 * channels : colourBytes;
                std::fill(fastDecoded.begin() + std::ptrdiff_t(decodedBytes), fastDecoded.end(), 0x5A);
                std::fill(fastEncoded.begin() + std::ptrdiff_t(YCbCrBytes(g, n)), fastEncoded.end(), 0x5A);
                for (int64_t target : targets) {
                    ForcedTarget forced(target);
                    ASSERT_STREQ(Fast::YCbCrTargetName(), hwy::TargetName(target));
                    ASSERT_TRUE(SameBytes(Output(offset, colourBytes, 0x5A, [&](uint8_t* out) {
                                              kFastDecode<Layout>(ycbcrIn, layout, out, channels, n);
                                          }),
                                          fastDecoded)) << hwy::TargetName(target) << " decoding";
                    ASSERT_TRUE(SameBytes(Output(offset, encodedBytes, 0x5A, [&](uint8_t* out) {
                                              kFastEncode<Layout>(colourIn, channels, layout, out, n);
                                          }),
                                          fastEncoded)) << hwy::TargetName(target) << " encoding";
                }
            }
        }
    }
}

TEST(YCbCrKernels, ScalarFollowsTheContractAndEveryInstructionSetMatchesIt) {
    std::mt19937 random(1);
    for (const Layout444& layout : k444) {
        SCOPED_TRACE("4:4:4 " + std::to_string(layout.y) + std::to_string(layout.cb) + std::to_string(layout.cr));
        CheckEverySize(layout, random);
    }
    for (const Layout422& layout : k422) {
        SCOPED_TRACE("4:2:2 " + std::to_string(layout.y0) + std::to_string(layout.cb) + std::to_string(layout.y1) +
                     std::to_string(layout.cr));
        CheckEverySize(layout, random);
    }
    for (const Layout411& layout : k411) {
        SCOPED_TRACE("4:1:1 " + std::to_string(layout.cb) + std::to_string(layout.cr));
        CheckEverySize(layout, random);
    }
}

// The end of an odd 4:2:2 image, byte by byte in both byte orders of the pixel formats;
// and the last pixels of a 4:1:1 image that is not a multiple of four.
TEST(YCbCrKernels, IncompleteGroupsAtTheEnd) {
    const Layout422 yuyv{0, 1, 2, 3}, uyvy{1, 0, 3, 2};
    const Triple lone = Decoded(100, 200, 128);
    const Bytes colour = {10, 20, 30, 40, 50, 60, 70, 80, 90}; // three B, G, R pixels
    const Triple first = Encoded(10, 20, 30), second = Encoded(40, 50, 60), third = Encoded(70, 80, 90);
    const uint8_t cb = uint8_t((first.b + second.b + 1) / 2), cr = uint8_t((first.c + second.c + 1) / 2);
    for (bool fast : {false, true}) {
        SCOPED_TRACE(fast ? "fast" : "scalar");
        const auto decode = fast ? kFastDecode<Layout422> : kScalarDecode<Layout422>;
        const auto encode = fast ? kFastEncode<Layout422> : kScalarEncode<Layout422>;
        Bytes bgra(4);
        decode(Bytes{100, 200}.data(), yuyv, bgra.data(), 4, 1);
        EXPECT_EQ(bgra, (Bytes{lone.a, lone.b, lone.c, 0}));
        decode(Bytes{200, 100}.data(), uyvy, bgra.data(), 4, 1);
        EXPECT_EQ(bgra, (Bytes{lone.a, lone.b, lone.c, 0}));
        Bytes out(6);
        encode(colour.data(), 3, yuyv, out.data(), 3);
        EXPECT_EQ(out, (Bytes{first.a, cb, second.a, cr, third.a, third.b}));
        encode(colour.data(), 3, uyvy, out.data(), 3);
        EXPECT_EQ(out, (Bytes{cb, first.a, cr, second.a, third.b, third.a}));

        const auto decode411 = fast ? kFastDecode<Layout411> : kScalarDecode<Layout411>;
        const auto encode411 = fast ? kFastEncode<Layout411> : kScalarEncode<Layout411>;
        Bytes grey(7 * 3, 77);
        decode411(Bytes{16, 16, 128, 16, 16, 128}.data(), {{0, 1, 3, 4}, 2, 5}, grey.data(), 3, 7);
        EXPECT_EQ(grey, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 77, 77, 77, 77, 77, 77, 77, 77, 77}));
        Bytes quads(12, 77);
        encode411(Bytes(7 * 4, 255).data(), 4, {{1, 2, 4, 5}, 0, 3}, quads.data(), 7);
        EXPECT_EQ(quads, (Bytes{128, 235, 235, 128, 235, 235, 77, 77, 77, 77, 77, 77}));
    }
}

// Black and white, and the primary and secondary colours within a step of their rounded
// ITU-R BT.601 values, both ways: a wrong weight fails here even where the formulas of this
// test would copy it.
TEST(YCbCrKernels, KnownColoursAgreeWithBt601) {
    for (bool fast : {false, true}) {
        SCOPED_TRACE(fast ? "fast" : "scalar");
        const auto decode = fast ? kFastDecode<Layout444> : kScalarDecode<Layout444>;
        const auto encode = fast ? kFastEncode<Layout444> : kScalarEncode<Layout444>;
        Bytes bgr(3);
        decode(Bytes{16, 128, 128}.data(), {0, 1, 2}, bgr.data(), 3, 1);
        EXPECT_EQ(bgr, (Bytes{0, 0, 0}));
        decode(Bytes{235, 128, 128}.data(), {0, 1, 2}, bgr.data(), 3, 1);
        EXPECT_EQ(bgr, (Bytes{255, 255, 255}));
        for (int colour = 0; colour < 8; ++colour) {
            const double b = colour & 1, g = colour >> 1 & 1, r = colour >> 2 & 1;
            const double y = 0.299 * r + 0.587 * g + 0.114 * b;
            const double ideal[3] = {16 + 219 * y, 128 + 224 * (b - y) / 1.772, 128 + 224 * (r - y) / 1.402};
            const Bytes in = {uint8_t(255 * b), uint8_t(255 * g), uint8_t(255 * r)};
            Bytes ycc(3);
            encode(in.data(), 3, {0, 1, 2}, ycc.data(), 1);
            for (int k = 0; k < 3; ++k) EXPECT_LE(std::abs(ycc[k] - ideal[k]), 1.0) << "colour " << colour << " " << k;
            const Bytes rounded = {uint8_t(std::lround(ideal[0])), uint8_t(std::lround(ideal[1])),
                                   uint8_t(std::lround(ideal[2]))};
            decode(rounded.data(), {0, 1, 2}, bgr.data(), 3, 1);
            for (int k = 0; k < 3; ++k) EXPECT_LE(std::abs(bgr[k] - int(in[k])), 2) << "colour " << colour << " " << k;
        }
    }
}

// Every 24-bit value i (or every stride-th) as a pixel of the bytes i >> 16, i >> 8, i.
Bytes Triples(size_t stride) {
    Bytes triples;
    triples.reserve(3 * ((size_t(1) << 24) / stride + 1));
    for (size_t i = 0; i < (size_t(1) << 24); i += stride)
        triples.insert(triples.end(), {uint8_t(i >> 16), uint8_t(i >> 8), uint8_t(i)});
    return triples;
}

// The exhaustive checks prove the arithmetic; sanitizers look for memory and thread faults,
// which every 61st value finds as well, in a fraction of the time.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kEvery = 61;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr size_t kEvery = 61;
#else
constexpr size_t kEvery = 1;
#endif
#else
constexpr size_t kEvery = 1;
#endif
constexpr size_t kSubset = 61; // a subset that still spans every value of each byte

Bytes Mapped(const Bytes& triples, Triple (*formula)(int64_t, int64_t, int64_t)) {
    Bytes out(triples.size());
    for (size_t at = 0; at < triples.size(); at += 3) {
        const Triple t = formula(triples[at], triples[at + 1], triples[at + 2]);
        out[at] = t.a, out[at + 1] = t.b, out[at + 2] = t.c;
    }
    return out;
}

// Equal frames of 3-byte pixels, or the first pixel that differs.
testing::AssertionResult SamePixels(const Bytes& actual, const Bytes& expected) {
    if (actual == expected) return testing::AssertionSuccess();
    const size_t at = size_t(std::mismatch(actual.begin(), actual.end(), expected.begin()).first - actual.begin()) / 3 * 3;
    return testing::AssertionFailure() << "pixel " << at / 3 << " is " << int(actual[at]) << " " << int(actual[at + 1])
                                       << " " << int(actual[at + 2]) << ", not " << int(expected[at]) << " "
                                       << int(expected[at + 1]) << " " << int(expected[at + 2]);
}

// Decodes Y, Cb, Cr triples as 4:4:4 and as 4:2:2 pairs (Cb, Y, Cr, Y ^ 0x5A), so that the
// second pixel of a pair sees every triple too.
void CheckDecoding(Decoder<Layout444> decode444, Decoder<Layout422> decode422, const Bytes& triples,
                   const Bytes& expected) {
    const size_t n = triples.size() / 3;
    Bytes bgr(3 * n);
    decode444(triples.data(), {0, 1, 2}, bgr.data(), 3, n);
    ASSERT_TRUE(SamePixels(bgr, expected)) << "4:4:4";
    if (!decode422) return;
    Bytes pairs(4 * n), seconds(3 * n);
    for (size_t k = 0; k < n; ++k) {
        const uint8_t* t = &triples[3 * k];
        pairs[4 * k] = t[1], pairs[4 * k + 1] = t[0], pairs[4 * k + 2] = t[2], pairs[4 * k + 3] = t[0] ^ 0x5A;
        seconds[3 * k] = t[0] ^ 0x5A, seconds[3 * k + 1] = t[1], seconds[3 * k + 2] = t[2];
    }
    Bytes pairBgr(6 * n), firstBgr(3 * n), secondBgr(3 * n);
    decode422(pairs.data(), {1, 0, 3, 2}, pairBgr.data(), 3, 2 * n);
    for (size_t k = 0; k < n; ++k) {
        std::copy_n(&pairBgr[6 * k], 3, &firstBgr[3 * k]);
        std::copy_n(&pairBgr[6 * k + 3], 3, &secondBgr[3 * k]);
    }
    ASSERT_TRUE(SamePixels(firstBgr, expected)) << "first pixels of 4:2:2 pairs";
    ASSERT_TRUE(SamePixels(secondBgr, Mapped(seconds, Decoded))) << "second pixels of 4:2:2 pairs";
}

// Every (Y, Cb, Cr) triple against the formula, as 4:4:4: the scalar reference and the fast
// path of the chosen instruction set (its pixel pairs of 4:2:2 share that arithmetic); every
// instruction set on a subset, as 4:4:4 and 4:2:2.
TEST(YCbCrKernels, DecodingIsExactForEveryTriple) {
    const Bytes triples = Triples(kEvery);
    const Bytes expected = Mapped(triples, Decoded);
    CheckDecoding(kScalarDecode<Layout444>, nullptr, triples, expected);
    CheckDecoding(kFastDecode<Layout444>, nullptr, triples, expected);
    const Bytes someTriples = Triples(kSubset), someExpected = Mapped(someTriples, Decoded);
    for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
        ForcedTarget forced(target);
        SCOPED_TRACE(hwy::TargetName(target));
        CheckDecoding(kFastDecode<Layout444>, kFastDecode<Layout422>, someTriples, someExpected);
    }
}

// Every B, G, R colour, encoded as 4:4:4, against the formula (whose clamp never acts: the
// fast path relies on that), as above.
TEST(YCbCrKernels, EncodingIsExactForEveryColour) {
    const Bytes colours = Triples(kEvery);
    const Bytes expected = Mapped(colours, Encoded);
    const auto check = [](Encoder<Layout444> encode, const Bytes& colours, const Bytes& expected) {
        Bytes ycc(colours.size());
        encode(colours.data(), 3, {0, 1, 2}, ycc.data(), colours.size() / 3);
        return SamePixels(ycc, expected);
    };
    ASSERT_TRUE(check(kScalarEncode<Layout444>, colours, expected)) << "scalar";
    ASSERT_TRUE(check(kFastEncode<Layout444>, colours, expected)) << "fast";
    const Bytes someColours = Triples(kSubset), someExpected = Mapped(someColours, Encoded);
    for (int64_t target : hwy::SupportedAndGeneratedTargets()) {
        ForcedTarget forced(target);
        EXPECT_TRUE(check(kFastEncode<Layout444>, someColours, someExpected)) << hwy::TargetName(target);
    }
}

// Frames of several streams are converted at the same time from the first call on (each
// test runs in a process of its own, so this one makes the first choice of instruction set).
TEST(YCbCrKernels, ConcurrentFirstCallsAgreeWithTheReference) {
    constexpr size_t kThreads = 4, kPixels = 2448 * 8 + 1;
    constexpr Layout422 uyvy{1, 0, 3, 2};
    std::mt19937 random(5);
    std::vector<Bytes> sources, results(kThreads, Bytes(3 * kPixels));
    for (size_t t = 0; t < kThreads; ++t) sources.push_back(RandomBytes(2 * kPixels, random));
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] { Fast::YCbCrToColour(sources[t].data(), uyvy, results[t].data(), 3, kPixels); });
    for (auto& thread : threads) thread.join();
    for (size_t t = 0; t < kThreads; ++t) {
        Bytes expected(3 * kPixels);
        Scalar::YCbCrToColour(sources[t].data(), uyvy, expected.data(), 3, kPixels);
        EXPECT_EQ(results[t], expected) << "thread " << t;
    }
}

} // namespace
} // namespace Vireo::Primitives
