// What the scalar reference and the fast path of the demosaicing kernels share: the mosaic
// geometry (site colours, mirrored borders), the bilinear rule for one pixel (the fast path
// finishes border columns with it) and the fixed-point CIELab conversion of the adaptive
// homogeneity-directed algorithm, whose cube-root table both paths read.
#ifndef VIREO_SRC_PRIMITIVES_DEMOSAICSHARED_H
#define VIREO_SRC_PRIMITIVES_DEMOSAICSHARED_H

#include <cstddef>
#include <cstdint>
#include <limits>

#include "Demosaic.h"

namespace Vireo::Primitives::DemosaicDetail {

enum : int { kRed = 0, kGreen = 1, kBlue = 2 };

// The colour of mosaic position (x, y); any integer position works, since the pattern
// repeats every two samples in both directions.
inline int SiteColour(BayerGrid grid, ptrdiff_t x, ptrdiff_t y) {
    static constexpr int kPatterns[4][4] = {
        {kBlue, kGreen, kGreen, kRed}, // BGGR
        {kRed, kGreen, kGreen, kBlue}, // RGGB
        {kGreen, kBlue, kRed, kGreen}, // GBRG
        {kGreen, kRed, kBlue, kGreen}, // GRBG
    };
    return kPatterns[static_cast<int>(grid) & 3][(y & 1) * 2 + (x & 1)];
}

// Index of position i along a dimension of n samples when the image is reflected across
// its first and last samples without repeating them (-1 -> 1, n -> n - 2), as often as
// needed for positions far outside. Reflections keep the parity of the position, so the
// mirrored sample has the colour the position would have, except in a dimension of 1,
// where everything falls on the single sample.
inline size_t Mirror(ptrdiff_t i, size_t n) {
    if (i >= 0 && i < static_cast<ptrdiff_t>(n)) return static_cast<size_t>(i);
    if (n == 1) return 0;
    const ptrdiff_t period = 2 * (static_cast<ptrdiff_t>(n) - 1);
    i %= period;
    if (i < 0) i = -i;
    return static_cast<size_t>(i < static_cast<ptrdiff_t>(n) ? i : period - i);
}

template <class Sample>
constexpr int32_t kMaxSample = static_cast<int32_t>(std::numeric_limits<Sample>::max());

template <class Sample>
inline Sample MosaicAt(const Mosaic<Sample>& mosaic, ptrdiff_t x, ptrdiff_t y) {
    return mosaic.samples[Mirror(y, mosaic.height) * mosaic.width + Mirror(x, mosaic.width)];
}

// Stores one pixel in the requested channel order; the fourth channel is always 0.
template <class Sample>
inline void StorePixel(Sample* pixel, ColourOrder order, int32_t red, int32_t green, int32_t blue) {
    pixel[0] = static_cast<Sample>(order.blueFirst ? blue : red);
    pixel[1] = static_cast<Sample>(green);
    pixel[2] = static_cast<Sample>(order.blueFirst ? red : blue);
    if (order.channels == 4) pixel[3] = 0;
}

// Bilinear interpolation of pixel (x, y): every colour is the rounded mean of the samples
// of that colour in the 3 x 3 neighbourhood, except that the pixel's own colour is its own
// sample and green is never taken from the diagonals. Inside the image that gives the 4
// direct neighbours for green, the 2 row or column neighbours for red and blue at green
// sites and the 4 diagonals for red at blue sites and blue at red ones. In an image one
// sample wide or high the mirrored neighbours fall on the sample itself and on samples of
// other colours: they still count for the colour they have, and a colour absent from the
// neighbourhood is 0.
template <class Sample>
inline void BilinearPixel(const Mosaic<Sample>& mosaic, ptrdiff_t x, ptrdiff_t y, int32_t (&rgb)[3]) {
    const size_t width = mosaic.width, height = mosaic.height;
    const int own = SiteColour(mosaic.grid, x, y);
    uint32_t sums[3] = {0, 0, 0}, counts[3] = {0, 0, 0};
    for (ptrdiff_t dy = -1; dy <= 1; ++dy)
        for (ptrdiff_t dx = -1; dx <= 1; ++dx) {
            const size_t sx = Mirror(x + dx, width), sy = Mirror(y + dy, height);
            const int colour = SiteColour(mosaic.grid, static_cast<ptrdiff_t>(sx), static_cast<ptrdiff_t>(sy));
            if (colour == own && (dx != 0 || dy != 0)) continue;
            if (colour == kGreen && dx != 0 && dy != 0) continue;
            sums[colour] += mosaic.samples[sy * width + sx];
            ++counts[colour];
        }
    for (int colour = 0; colour < 3; ++colour)
        rgb[colour] = counts[colour] == 0 ? 0 : static_cast<int32_t>((sums[colour] + counts[colour] / 2) / counts[colour]);
}

// --- adaptive homogeneity-directed demosaicing -------------------------------------------
//
// Rows of the output depend on mosaic rows up to this far away (green 2, colour differences
// 1, homogeneity ball 1, homogeneity sum 1); columns likewise.
constexpr ptrdiff_t kAhdReach = 5;

// The adaptive algorithm computes in units finer than the samples, so that the roundings of
// its chain of means and differences stay well below a sample step: 8-bit samples are
// scaled by 16 (which keeps them, and every sum the filters form, within 16-bit vector
// lanes) and rounded back at the end; 16-bit samples are kept as they are (their own steps
// are fine already, and their sums take 32-bit lanes).
template <class Sample>
constexpr int kFractionBits = sizeof(Sample) == 1 ? 4 : 0;

template <class Sample>
constexpr int32_t ToSample(int32_t value) {
    if constexpr (kFractionBits<Sample> == 0) return value;
    else return (value + (1 << (kFractionBits<Sample> - 1))) >> kFractionBits<Sample>;
}

// CIELab in fixed point, shared bit for bit by both paths and shaped for 16-bit vector lanes.
// The camera's colours are taken as linear sRGB primaries with a D65 white. Colours enter
// with 12 bits (16-bit samples lose their low 4; 8-bit ones, in units of 1/16, have 12), and
// X/Xn, Y/Yn and Z/Zn are sums of three products with Q12 weights that add up to exactly
// 4096, each product rounded down to 12 bits (what a 16-bit multiply-high gives): a 12-bit
// index i of t = (i + 1/2) / 4096, 4093 for white.
//
// Homogeneity only compares distances with tolerances of the same kind, so the constant
// factors of CIELab that scale a whole distance drop out: L is kept as f(Y), and a and b as
// 5 (f(X) - f(Y)) and 2 (f(Y) - f(Z)), in the ratio 500 : 200 of CIELab. All fit 16 bits,
// and so do their differences, whose squares the chroma distance adds in 32.
constexpr int32_t kXyzWeights[3][3] = {
    {1777, 1541, 778}, // X / Xn from R, G, B: 0.4124564, 0.3575761, 0.1804375 over 0.95047
    {871, 2929, 296},  // Y: 0.2126729, 0.7151522, 0.0721750
    {73, 448, 3575},   // Z / Zn: 0.0193339, 0.1191920, 0.9503041 over 1.08883
};
constexpr int kLabInputBits = 12;

template <class Sample>
constexpr int kLabInputShift = 8 * int(sizeof(Sample)) + kFractionBits<Sample> - kLabInputBits;

// (a * b) >> 16 and (a * b + 2^14) >> 15 of 16-bit values, as the vector instructions do them.
inline int32_t MulHigh16(int32_t a, int32_t b) { return (a * b) >> 16; }
inline int32_t MulRound15(int32_t a, int32_t b) { return (a * b + (1 << 14)) >> 15; }

inline int32_t XyzIndex(int component, int32_t red, int32_t green, int32_t blue) {
    const int32_t* w = kXyzWeights[component];
    return MulHigh16(red << 3, w[0] << 1) + MulHigh16(green << 3, w[1] << 1) + MulHigh16(blue << 3, w[2] << 1);
}

// f(t) of CIELab, Q11 (2048 at white), computed with 16-bit arithmetic rather than looked up,
// so that the fast path needs no gathers (slow on many processors). With t = x / 8192 and
// x = 2i + 1, f is a cubic in u, the fraction of x over the power of two 2^e below it (Q15),
// one cubic per octave: cbrt(1 + u) fitted at the Chebyshev nodes of [0, 1] (within 1e-4),
// times 2048 cbrt(2^e / 8192). Below x = 64 (t < 0.0078) the first segment is CIELab's
// straight line instead, which meets the cube root there within 0.0003. The 8 segments'
// coefficients (Q3) and the multipliers that make u, 2^(10 - segment), fill one 16-byte
// table each. The result is within 1 of 2048 f(t) rounded, for every index.
constexpr int16_t kCubeRootCoefficients[4][8] = {
    {2758, 3251, 4096, 5161, 6503, 8193, 10322, 13005},
    {498, 1073, 1351, 1703, 2145, 2703, 3405, 4291},
    {0, -300, -378, -476, -600, -755, -952, -1199},
    {0, 72, 91, 114, 144, 181, 229, 288},
};
constexpr int16_t kCubeRootMultipliers[8] = {1024, 512, 256, 128, 64, 32, 16, 8};

inline int32_t LabCubeRoot(int32_t index) {
    const int32_t x = 2 * index + 1;
    int segment = 0; // floor(log2 x) - 5, within 0 .. 7
    while (segment < 7 && (x >> (segment + 6)) != 0) ++segment;
    // u = x / 2^(segment + 5) - 1 in Q15; negative below x = 32, where the segment is straight.
    const int32_t u = x * kCubeRootMultipliers[segment] - 32768;
    int32_t p = kCubeRootCoefficients[3][segment];
    for (int power = 2; power >= 0; --power) p = kCubeRootCoefficients[power][segment] + MulRound15(u, p);
    return (p + 4) >> 3;
}

struct Lab {
    int32_t l, a, b;
};

template <class Sample>
inline Lab ToLab(int32_t red, int32_t green, int32_t blue) {
    const int32_t r = red >> kLabInputShift<Sample>, g = green >> kLabInputShift<Sample>,
                  b = blue >> kLabInputShift<Sample>;
    const int32_t fx = LabCubeRoot(XyzIndex(0, r, g, b)), fy = LabCubeRoot(XyzIndex(1, r, g, b)),
                  fz = LabCubeRoot(XyzIndex(2, r, g, b));
    return {fy, 5 * (fx - fy), 2 * (fy - fz)};
}

// Green across a red or blue site along one direction, from the samples at -2 .. +2 along
// it: the filter [-1 2 2 2 -1] / 4 (the average of the two greens corrected by the second
// difference of the site's own colour), rounded down after adding 2, and held between the
// two neighbouring greens so that it cannot overshoot at edges.
inline int32_t DirectionalGreen(int32_t farBefore, int32_t greenBefore, int32_t own, int32_t greenAfter,
                                int32_t farAfter) {
    const int32_t estimate = (2 * (greenBefore + own + greenAfter) - farBefore - farAfter + 2) >> 2;
    const int32_t low = greenBefore < greenAfter ? greenBefore : greenAfter;
    const int32_t high = greenBefore < greenAfter ? greenAfter : greenBefore;
    return estimate < low ? low : (estimate > high ? high : estimate);
}

inline int32_t ClampSample(int32_t value, int32_t max) { return value < 0 ? 0 : (value > max ? max : value); }

} // namespace Vireo::Primitives::DemosaicDetail

#endif
