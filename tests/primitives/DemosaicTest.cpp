// The demosaicing kernels: the fast path against the scalar reference on every instruction
// set, frames done in strips, and the facts any demosaicing must keep (flat fields stay flat,
// samples keep their values, mirrored borders).
#include <gtest/gtest.h>

#include <hwy/targets.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "primitives/Demosaic.h"

namespace Vireo {
namespace {

using namespace Primitives;

constexpr BayerGrid kGrids[] = {BayerGrid::BGGR, BayerGrid::RGGB, BayerGrid::GBRG, BayerGrid::GRBG};
constexpr ColourOrder kOrders[] = {{3, true}, {3, false}, {4, true}, {4, false}};
const char* const kGridNames[] = {"BGGR", "RGGB", "GBRG", "GRBG"};

template <class Sample>
using Kernel = void (*)(const Mosaic<Sample>&, size_t, size_t, Sample*, ColourOrder);

template <class Sample>
struct Algorithm {
    const char* name;
    Kernel<Sample> scalar, fast;
};

template <class Sample>
std::vector<Algorithm<Sample>> Algorithms() {
    return {{"bilinear", Scalar::DemosaicBilinear, Fast::DemosaicBilinear},
            {"AHD", Scalar::DemosaicAhd, Fast::DemosaicAhd}};
}

std::string Describe(const char* algorithm, size_t bits, BayerGrid grid, ColourOrder order, size_t width,
                     size_t height) {
    return std::string(algorithm) + " " + std::to_string(bits) + " bits " + kGridNames[int(grid)] + " " +
           (order.blueFirst ? "B" : "R") + "G" + (order.blueFirst ? "R" : "B") + (order.channels == 4 ? "0 " : " ") +
           std::to_string(width) + " x " + std::to_string(height);
}

// The colour of a site: 0 red, 1 green, 2 blue.
int ColourAt(BayerGrid grid, size_t x, size_t y) {
    static const int kPatterns[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}};
    return kPatterns[int(grid)][(y % 2) * 2 + x % 2];
}

// Output channel of a colour.
size_t ChannelOf(int colour, ColourOrder order) { return order.blueFirst ? size_t(2 - colour) : size_t(colour); }

template <class Sample>
std::vector<Sample> RandomSamples(size_t count, uint32_t max, std::mt19937& random) {
    std::vector<Sample> samples(count);
    for (Sample& sample : samples) sample = Sample(random() % (max + 1));
    return samples;
}

// The whole frame, into an output of exactly its size (so that ASan sees any write past it).
template <class Sample>
std::vector<Sample> Demosaiced(Kernel<Sample> kernel, const Mosaic<Sample>& mosaic, ColourOrder order) {
    std::vector<Sample> out(mosaic.width * mosaic.height * order.channels);
    kernel(mosaic, 0, mosaic.height, out.data(), order);
    return out;
}

// Restores the instruction set chosen for the processor however the test ends.
struct ForcedTarget {
    explicit ForcedTarget(int64_t target) { hwy::SetSupportedTargetsForTest(target); }
    ~ForcedTarget() { hwy::SetSupportedTargetsForTest(0); }
};

// Random mosaics of many sizes, including sizes smaller than the filters, widths that end
// anywhere in a vector and widths of more than one tile of the vector AHD (4096 columns),
// with every grid and output order; the reference runs once and every instruction set's
// fast path must match it.
template <class Sample>
void ExpectFastPathsMatchReference(uint32_t max, uint32_t seed) {
    const std::pair<size_t, size_t> sizes[] = {
        {1, 1},  {2, 1},  {1, 2},   {1, 9},  {9, 1},   {2, 2},    {3, 3},    {2, 5},   {5, 2},    {4, 4},
        {7, 5},  {16, 3}, {17, 4},  {18, 6}, {31, 7},  {33, 8},   {34, 3},   {40, 5},  {64, 4},   {65, 6},
        {66, 9}, {97, 5}, {130, 4}, {255, 3}, {259, 7}, {300, 6}, {517, 5}, {3, 40}, {4099, 3}, {4133, 2}};
    std::mt19937 random(seed);
    const std::vector<int64_t> targets = hwy::SupportedAndGeneratedTargets();
    ASSERT_FALSE(targets.empty());
    size_t turn = 0;
    for (const auto& [width, height] : sizes)
        for (const Algorithm<Sample>& algorithm : Algorithms<Sample>())
            for (BayerGrid grid : kGrids) {
                // Every order on the small sizes; one each, in turn, on the larger ones.
                const bool small = width * height <= 64;
                for (size_t o = 0; o < std::size(kOrders); ++o) {
                    if (!small && o != turn % std::size(kOrders)) continue;
                    const ColourOrder order = kOrders[o];
                    SCOPED_TRACE(Describe(algorithm.name, 8 * sizeof(Sample), grid, order, width, height));
                    const std::vector<Sample> samples = RandomSamples<Sample>(width * height, max, random);
                    const Mosaic<Sample> mosaic{samples.data(), width, height, grid};
                    const std::vector<Sample> expected = Demosaiced(algorithm.scalar, mosaic, order);
                    for (int64_t target : targets) {
                        ForcedTarget forced(target);
                        ASSERT_STREQ(Fast::DemosaicTargetName(), hwy::TargetName(target));
                        ASSERT_EQ(Demosaiced(algorithm.fast, mosaic, order), expected) << hwy::TargetName(target);
                    }
                }
                ++turn;
            }
}

TEST(Demosaic, FastPathOfEveryInstructionSetMatchesTheReference8) { ExpectFastPathsMatchReference<uint8_t>(255, 1); }

TEST(Demosaic, FastPathOfEveryInstructionSetMatchesTheReference16) {
    // The full 16-bit range (sums and colour differences must not overflow), and the
    // 12-bit range of a Bayer12 container, whose values are not shifted to the top.
    ExpectFastPathsMatchReference<uint16_t>(65535, 2);
    ExpectFastPathsMatchReference<uint16_t>(4095, 3);
}

// Strips of random heights, each into an output of exactly its size, must make the same frame
// as one call (each strip reads the rows around it, but writes only its own).
TEST(Demosaic, FramesDoneInStripsEqualTheFrameDoneAtOnce) {
    std::mt19937 random(7);
    for (const auto& [width, height] : {std::pair<size_t, size_t>{37, 29}, {300, 23}, {6, 13}, {2, 9}}) {
        const std::vector<uint8_t> samples = RandomSamples<uint8_t>(width * height, 255, random);
        const Mosaic<uint8_t> mosaic{samples.data(), width, height, kGrids[random() % 4]};
        const ColourOrder order = kOrders[random() % 4];
        for (const Algorithm<uint8_t>& algorithm : Algorithms<uint8_t>())
            for (Kernel<uint8_t> kernel : {algorithm.scalar, algorithm.fast}) {
                SCOPED_TRACE(Describe(algorithm.name, 8, mosaic.grid, order, width, height));
                const std::vector<uint8_t> whole = Demosaiced(kernel, mosaic, order);
                for (int split = 0; split < 3; ++split) {
                    std::vector<uint8_t> joined;
                    for (size_t row = 0; row < height;) {
                        const size_t end = std::min(height, row + 1 + random() % 7);
                        std::vector<uint8_t> strip((end - row) * width * order.channels);
                        kernel(mosaic, row, end, strip.data(), order);
                        joined.insert(joined.end(), strip.begin(), strip.end());
                        row = end;
                    }
                    ASSERT_EQ(joined, whole);
                }
                // An empty range writes nothing.
                std::vector<uint8_t> untouched(4, 0xA5);
                kernel(mosaic, 5, 5, untouched.data(), order);
                EXPECT_EQ(untouched, std::vector<uint8_t>(4, 0xA5));
            }
    }
}

// Several threads, each doing some strips of the same frame into its own rows of one output.
TEST(Demosaic, StripsDoneByConcurrentThreadsMakeTheWholeFrame) {
    constexpr size_t kWidth = 301, kHeight = 64, kThreads = 4;
    std::mt19937 random(9);
    const std::vector<uint16_t> samples = RandomSamples<uint16_t>(kWidth * kHeight, 65535, random);
    const Mosaic<uint16_t> mosaic{samples.data(), kWidth, kHeight, BayerGrid::GRBG};
    const ColourOrder order{4, true};
    for (const Algorithm<uint16_t>& algorithm : Algorithms<uint16_t>()) {
        std::vector<uint16_t> out(kWidth * kHeight * 4);
        std::vector<std::thread> threads;
        for (size_t t = 0; t < kThreads; ++t)
            threads.emplace_back([&, t] {
                // Strips of 3 rows, dealt round the threads.
                for (size_t row = 3 * t; row < kHeight; row += 3 * kThreads) {
                    const size_t end = std::min(kHeight, row + 3);
                    algorithm.fast(mosaic, row, end, out.data() + row * kWidth * 4, order);
                }
            });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(out, Demosaiced(algorithm.scalar, mosaic, order)) << algorithm.name;
    }
}

// A field of one colour, each site holding its colour's value, comes back as that colour
// everywhere, borders included, with the fourth channel 0; grey is the case of equal
// values. Extreme 16-bit values show overflow in the sums and differences.
template <class Sample>
void ExpectUniformFieldsRestored(const std::vector<std::array<uint32_t, 3>>& colours) {
    const std::pair<size_t, size_t> sizes[] = {{2, 2}, {3, 5}, {8, 7}, {41, 12}, {270, 4}};
    for (const auto& rgb : colours)
        for (const auto& [width, height] : sizes)
            for (BayerGrid grid : kGrids)
                for (const Algorithm<Sample>& algorithm : Algorithms<Sample>())
                    for (Kernel<Sample> kernel : {algorithm.scalar, algorithm.fast}) {
                        const ColourOrder order{4, grid == BayerGrid::RGGB};
                        SCOPED_TRACE(Describe(algorithm.name, 8 * sizeof(Sample), grid, order, width, height) +
                                     " colour " + std::to_string(rgb[0]) + "," + std::to_string(rgb[1]) + "," +
                                     std::to_string(rgb[2]));
                        std::vector<Sample> samples(width * height);
                        for (size_t y = 0; y < height; ++y)
                            for (size_t x = 0; x < width; ++x) samples[y * width + x] = Sample(rgb[ColourAt(grid, x, y)]);
                        const std::vector<Sample> out = Demosaiced(kernel, {samples.data(), width, height, grid}, order);
                        std::vector<Sample> expected(out.size());
                        for (size_t pixel = 0; pixel < width * height; ++pixel)
                            for (int colour = 0; colour < 3; ++colour)
                                expected[pixel * 4 + ChannelOf(colour, order)] = Sample(rgb[colour]);
                        ASSERT_EQ(out, expected);
                    }
}

TEST(Demosaic, UniformColourFieldsAndGreyComeBackUnchanged) {
    ExpectUniformFieldsRestored<uint8_t>({{0, 0, 0}, {128, 128, 128}, {255, 255, 255}, {200, 100, 50}, {0, 255, 17}});
    ExpectUniformFieldsRestored<uint16_t>({{4095, 4095, 4095}, {65535, 65535, 65535}, {65535, 0, 65535},
                                           {0, 65535, 0}, {1000, 4095, 3}});
}

// Whatever the neighbours, a site's own colour is its sample: interpolation only fills in.
TEST(Demosaic, EverySiteKeepsItsOwnSample) {
    std::mt19937 random(11);
    for (const auto& [width, height] : {std::pair<size_t, size_t>{1, 1}, {1, 6}, {6, 1}, {3, 3}, {45, 17}})
        for (BayerGrid grid : kGrids)
            for (const Algorithm<uint16_t>& algorithm : Algorithms<uint16_t>())
                for (Kernel<uint16_t> kernel : {algorithm.scalar, algorithm.fast}) {
                    const ColourOrder order{3, grid == BayerGrid::GBRG};
                    SCOPED_TRACE(Describe(algorithm.name, 16, grid, order, width, height));
                    const std::vector<uint16_t> samples = RandomSamples<uint16_t>(width * height, 65535, random);
                    const std::vector<uint16_t> out = Demosaiced(kernel, {samples.data(), width, height, grid}, order);
                    for (size_t y = 0; y < height; ++y)
                        for (size_t x = 0; x < width; ++x)
                            ASSERT_EQ(out[(y * width + x) * 3 + ChannelOf(ColourAt(grid, x, y), order)],
                                      samples[y * width + x])
                                << "at " << x << ", " << y;
                }
}

// A grey step edge along the rows or along the columns: interpolating along the edge is
// exact, so AHD, which must pick that direction where the other one blurs, reconstructs
// every pixel, where bilinear interpolation smears the step over its neighbours.
TEST(Demosaic, AhdInterpolatesAlongEdgesThatBilinearBlurs) {
    constexpr size_t kWidth = 40, kHeight = 36;
    for (bool stepAlongRows : {true, false})
        for (BayerGrid grid : kGrids) {
            SCOPED_TRACE(std::string(stepAlongRows ? "edge along rows " : "edge along columns ") + kGridNames[int(grid)]);
            std::vector<uint8_t> samples(kWidth * kHeight);
            for (size_t y = 0; y < kHeight; ++y)
                for (size_t x = 0; x < kWidth; ++x) samples[y * kWidth + x] = (stepAlongRows ? y : x) < 17 ? 40 : 210;
            const Mosaic<uint8_t> mosaic{samples.data(), kWidth, kHeight, grid};
            std::vector<uint8_t> grey(kWidth * kHeight * 3);
            for (size_t i = 0; i < grey.size(); ++i) grey[i] = samples[i / 3];
            EXPECT_EQ(Demosaiced<uint8_t>(Scalar::DemosaicAhd, mosaic, {3, false}), grey);
            EXPECT_EQ(Demosaiced<uint8_t>(Fast::DemosaicAhd, mosaic, {3, false}), grey);
            EXPECT_NE(Demosaiced<uint8_t>(Scalar::DemosaicBilinear, mosaic, {3, false}), grey);
        }
}

// Bilinear values worked out by hand on a 4 x 3 RGGB mosaic, at a corner, an edge and inside:
//     10  20  30  40        R G R G
//     50  60  70  80        G B G B
//     90 100 110 120        R G R G
// Past the borders the mosaic is mirrored without repeating the edge: column -1 is column 1,
// row 3 is row 1.
TEST(Demosaic, BilinearMeansFollowTheMirroredNeighbours) {
    const uint8_t samples[12] = {10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120};
    const Mosaic<uint8_t> mosaic{samples, 4, 3, BayerGrid::RGGB};
    struct Expected {
        size_t x, y;
        uint8_t red, green, blue;
    };
    const Expected pixels[] = {
        {0, 0, 10, 35, 60},  // red corner: green (20 + 20 + 50 + 50) / 4, blue the 4 mirrored diagonals, all 60
        {1, 0, 20, 20, 60},  // green: red (10 + 30) / 2, blue (60 + 60) / 2 from row 1 above and below
        {3, 0, 30, 40, 80},  // green at the right edge: red (30 + 30) / 2, column 4 mirrored to 2
        {1, 1, 60, 60, 60},  // blue inside: red (10 + 30 + 90 + 110) / 4, green (50 + 70 + 20 + 100) / 4
        {0, 1, 50, 50, 60},  // green at the left edge: red (10 + 90) / 2, blue (60 + 60) / 2
        {2, 2, 110, 90, 70}, // red on the bottom row: green (100 + 120 + 70 + 70) / 4, blue (60 + 80 + 60 + 80) / 4
    };
    for (Kernel<uint8_t> kernel : {Kernel<uint8_t>(Scalar::DemosaicBilinear), Kernel<uint8_t>(Fast::DemosaicBilinear)}) {
        const std::vector<uint8_t> out = Demosaiced(kernel, mosaic, {3, false});
        for (const Expected& pixel : pixels) {
            const uint8_t* rgb = &out[(pixel.y * 4 + pixel.x) * 3];
            EXPECT_EQ(rgb[0], pixel.red) << pixel.x << ", " << pixel.y;
            EXPECT_EQ(rgb[1], pixel.green) << pixel.x << ", " << pixel.y;
            EXPECT_EQ(rgb[2], pixel.blue) << pixel.x << ", " << pixel.y;
        }
    }
}

} // namespace
} // namespace Vireo
