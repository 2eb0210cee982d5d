// The fast path of the demosaicing kernels: Highway compiles this file once per instruction
// set and the first call picks the best one the processor has. Every vector operation is
// the integer operation of the scalar reference, lane for lane, so both write the same bytes.
//
// Bilinear works on rows straight from the mosaic: a vector of pixels takes its neighbours
// from shifted loads of the row and of the rows above and below, computes every mean a site
// could need, and keeps per lane the ones its colour needs (sites alternate lane by lane).
// Only the first and last columns, whose neighbours are mirrored, use the scalar rule.
//
// Adaptive homogeneity-directed demosaicing runs as a pipeline down the rows: each mosaic row
// is copied once into a row with mirrored margins, and each stage (green, colours, CIELab,
// homogeneity, choice) keeps only the few rows that the next stage reads, in rings of row
// buffers. The margins hold the stages' values at mirrored positions, which equal the values
// at the positions they mirror (every stage is symmetric under the border reflections), so no
// stage tests for borders. Rows span the whole image up to 4096 columns, wider images are
// done in tiles of columns: narrower tiles keep the rings in a smaller cache but cost more
// in margins and per-row set-up than they save (measured on a 2448-column frame).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "primitives/DemosaicSimd.cpp"
#include <hwy/foreach_target.h> // IWYU pragma: keep

#include <hwy/highway.h>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

#include "DemosaicShared.h"

HWY_BEFORE_NAMESPACE();
namespace Vireo::Primitives {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
// Each kernel family compiles its vector code into the same per-target namespaces; an
// unnamed one keeps same-named helpers of two families apart.
namespace {
using namespace DemosaicDetail;

#if HWY_TARGET != HWY_SCALAR

// Stores the three channel vectors (and a zero fourth) as interleaved pixels.
template <class D, class V>
HWY_INLINE void StorePixels(D d, ColourOrder order, V red, V green, V blue, typename hn::TFromD<D>* out) {
    const V first = order.blueFirst ? blue : red, third = order.blueFirst ? red : blue;
    if (order.channels == 4) hn::StoreInterleaved4(first, green, third, hn::Zero(d), d, out);
    else hn::StoreInterleaved3(first, green, third, d, out);
}

// --- bilinear ------------------------------------------------------------------------------
//
// Works in lanes of the sample size: the mean of two is the rounding average instruction, and
// the rounded mean of four is built from two such averages without widening.

// (a + b + c + d + 2) >> 2: with h and l the halves (rounded down) and low bits of a + b and
// of c + d, it is the rounding average of the halves, plus 1 when both low bits are set and
// the halves add up to an even number (the one case where the average rounds too low). It
// never exceeds the largest sample: both low bits set means both sums are odd, below twice
// the largest value.
template <class V>
HWY_INLINE V MeanOfFour(V a, V b, V c, V d) {
    const V one = hn::Set(hn::DFromV<V>(), 1);
    const V lowAB = hn::And(hn::Xor(a, b), one), lowCD = hn::And(hn::Xor(c, d), one);
    const V halfAB = hn::Sub(hn::AverageRound(a, b), lowAB), halfCD = hn::Sub(hn::AverageRound(c, d), lowCD);
    const V carry = hn::AndNot(hn::Xor(halfAB, halfCD), hn::And(lowAB, lowCD));
    return hn::Add(hn::AverageRound(halfAB, halfCD), carry);
}

template <class Sample>
void BilinearRow(const Mosaic<Sample>& mosaic, size_t y, Sample* out, ColourOrder order) {
    const hn::ScalableTag<Sample> d;
    using V = hn::Vec<decltype(d)>;
    const size_t lanes = hn::Lanes(d);
    const size_t width = mosaic.width;
    const Sample* row = mosaic.samples + y * width;
    const Sample* above = mosaic.samples + Mirror(ptrdiff_t(y) - 1, mosaic.height) * width;
    const Sample* below = mosaic.samples + Mirror(ptrdiff_t(y) + 1, mosaic.height) * width;

    const auto scalarPixel = [&](size_t x) {
        int32_t rgb[3];
        BilinearPixel(mosaic, ptrdiff_t(x), ptrdiff_t(y), rgb);
        StorePixel(out + x * order.channels, order, rgb[kRed], rgb[kGreen], rgb[kBlue]);
    };
    scalarPixel(0);
    if (width > 1) scalarPixel(width - 1);
    if (width < lanes + 2) {
        for (size_t x = 1; x + 1 < width; ++x) scalarPixel(x);
        return;
    }

    // The colour that the row has besides green, and the one its neighbour rows have.
    const int rowColour = SiteColour(mosaic.grid, 0, ptrdiff_t(y)) == kGreen ? SiteColour(mosaic.grid, 1, ptrdiff_t(y))
                                                                               : SiteColour(mosaic.grid, 0, ptrdiff_t(y));
    const auto vectorAt = [&](size_t x) {
        const V left = hn::LoadU(d, row + x - 1), centre = hn::LoadU(d, row + x), right = hn::LoadU(d, row + x + 1);
        const V up = hn::LoadU(d, above + x), down = hn::LoadU(d, below + x);
        const V alongRow = hn::AverageRound(left, right);
        const V alongColumn = hn::AverageRound(up, down);
        const V cross = MeanOfFour(left, right, up, down);
        const V diagonal = MeanOfFour(hn::LoadU(d, above + x - 1), hn::LoadU(d, above + x + 1),
                                      hn::LoadU(d, below + x - 1), hn::LoadU(d, below + x + 1));
        // Lane 0 is column x; sites alternate from there.
        V rowValue, green, otherValue;
        if (SiteColour(mosaic.grid, ptrdiff_t(x), ptrdiff_t(y)) == kGreen) {
            rowValue = hn::OddEven(centre, alongRow);
            green = hn::OddEven(cross, centre);
            otherValue = hn::OddEven(diagonal, alongColumn);
        } else {
            rowValue = hn::OddEven(alongRow, centre);
            green = hn::OddEven(centre, cross);
            otherValue = hn::OddEven(alongColumn, diagonal);
        }
        const V red = rowColour == kRed ? rowValue : otherValue, blue = rowColour == kRed ? otherValue : rowValue;
        StorePixels(d, order, red, green, blue, out + x * order.channels);
    };
    size_t x = 1;
    for (; x + lanes + 1 <= width; x += lanes) vectorAt(x);
    // The last vector ends at the last inner column, overlapping the previous one.
    if (x + 1 < width) vectorAt(width - 1 - lanes);
}

template <class Sample>
void BilinearKernel(const Mosaic<Sample>& mosaic, size_t rowBegin, size_t rowEnd, Sample* out, ColourOrder order) {
    // A single row has no rows of the other colours to read: the scalar rule handles it.
    if (mosaic.height < 2) return Scalar::DemosaicBilinear(mosaic, rowBegin, rowEnd, out, order);
    const size_t rowSize = mosaic.width * order.channels;
    for (size_t y = rowBegin; y < rowEnd; ++y) BilinearRow(mosaic, y, out + (y - rowBegin) * rowSize, order);
}

// --- adaptive homogeneity-directed ----------------------------------------------------------
//
// Green, the colour differences and the choice work in lanes of 16 bits for 8-bit samples
// (in units of 1/16 they stay below 2^12, and every sum of the filters within 2^15) and of
// 32 bits for 16-bit samples. CIELab and homogeneity work in 16-bit lanes for both, on
// colours of 12 bits; only the squared chroma distances take 32 bits.

using D16 = hn::ScalableTag<int16_t>;
using V16 = hn::Vec<D16>;
using D32 = hn::ScalableTag<int32_t>;
using V32 = hn::Vec<D32>;

template <class Sample>
using AhdLane = std::conditional_t<sizeof(Sample) == 1, int16_t, int32_t>;

constexpr size_t kTileColumns = 4096;
// Columns of margin on the left of every row buffer. The mosaic rows are filled over all of
// it; each later stage is computed over a narrower margin, as wide as the stages after it
// read: green 3, colours and CIELab 2, homogeneity 1. Towards the right, each stage runs on
// to the end of its last vector, into the room left after the margin.
constexpr ptrdiff_t kMargin = 8;
constexpr ptrdiff_t kGreenMargin = 3, kColourMargin = 2, kHomogeneityMargin = 1;
constexpr int kRows = 0, kColumns = 1;

// The row buffers of one call: for each quantity a ring of the last rows computed, as many
// as the stages after it read, each row a tile wide plus margins, of 16- or 32-bit values.
template <class Lane>
class AhdRows {
public:
    AhdRows(size_t tileColumns)
        : stride_((tileColumns + 2 * kMargin + 2 * hn::MaxLanes(D16()) + 15) / 16 * 16),
          // Zeroed, so that lanes past the end of a stage only ever see values in range.
          storage_(stride_ * kRowCount, 0) {}

    // Samples in the finer units.
    Lane* Mosaic(ptrdiff_t row) { return At<Lane>(kMosaicFirst, 5, row); }
    // Green of each direction, and the sample minus it (the colour difference at red and
    // blue sites).
    Lane* Green(int direction, ptrdiff_t row) { return At<Lane>(kGreenFirst + 4 * direction, 4, row); }
    Lane* Difference(int direction, ptrdiff_t row) { return At<Lane>(kDifferenceFirst + 3 * direction, 3, row); }
    // Red and blue (channel 0 and 1) of each direction.
    Lane* RedBlue(int direction, int channel, ptrdiff_t row) {
        return At<Lane>(kRedBlueFirst + 3 * (2 * direction + channel), 3, row);
    }
    // Red, green and blue of each direction with 12 bits, for CIELab (16-bit samples only:
    // 8-bit ones have 12 bits in their finer units already).
    int16_t* Colour12(int direction, int channel) { return At<int16_t>(kColour12First + 3 * direction + channel, 1, 0); }
    // CIELab of each direction: L, a and b.
    int16_t* Lab(int direction, int component, ptrdiff_t row) {
        return At<int16_t>(kLabFirst + 3 * (3 * direction + component), 3, row);
    }
    // Homogeneity along rows minus along columns, summed over 3 columns.
    int16_t* Score(ptrdiff_t row) { return At<int16_t>(kScoreFirst, 3, row); }
    // Homogeneity along rows minus along columns, of the row being scored.
    int16_t* Balance() { return At<int16_t>(kBalanceFirst, 1, 0); }

private:
    static constexpr size_t kMosaicFirst = 0, kGreenFirst = 5, kDifferenceFirst = 13, kRedBlueFirst = 19,
                            kColour12First = 31, kLabFirst = 37, kScoreFirst = 55, kBalanceFirst = 58,
                            kRowCount = 59;
    // Rows are numbered as in the image, from -kAhdReach on (mirrored rows above the top).
    template <class T>
    T* At(size_t first, ptrdiff_t ring, ptrdiff_t row) {
        const size_t slot = size_t((row % ring + ring) % ring);
        return reinterpret_cast<T*>(storage_.data() + (first + slot) * stride_) + kMargin;
    }
    size_t stride_;
    std::vector<int32_t> storage_;
};

// Tables of 16 bytes for LabCubeRootV, repeated in every 16-byte block of a vector.
// The segment of x from its bits 9-12 (when any is set) or else bits 5-8.
alignas(16) constexpr uint8_t kSegmentFromHighBits[16] = {0, 4, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7, 7, 7, 7, 7};
alignas(16) constexpr uint8_t kSegmentFromLowBits[16] = {0, 0, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 3, 3, 3, 3};

// LabCubeRoot lane by lane. The segment comes from two byte-table lookups, and the segment's
// multiplier and coefficients from lookups of the byte pairs 2 segment and 2 segment + 1.
HWY_INLINE V16 LabCubeRootV(V16 index) {
    const D16 d;
    const hn::Repartition<uint8_t, D16> d8;
    const V16 x = hn::Or(hn::Add(index, index), hn::Set(d, 1));
    const auto lookUp = [&](const uint8_t* table, V16 byteIndices) {
        return hn::BitCast(d, hn::TableLookupBytes(hn::LoadDup128(d8, table), hn::BitCast(d8, byteIndices)));
    };
    const auto lookUpPair = [&](const int16_t* table, V16 pairIndices) {
        return hn::TableLookupBytes(hn::LoadDup128(d, table), pairIndices);
    };
    // Lanes hold byte indices below 16, so their high bytes index entry 0, which is 0.
    const V16 segment = hn::Max(lookUp(kSegmentFromHighBits, hn::ShiftRight<9>(x)),
                                lookUp(kSegmentFromLowBits, hn::And(hn::ShiftRight<5>(x), hn::Set(d, 15))));
    const V16 pair = hn::Add(hn::Mul(segment, hn::Set(d, 514)), hn::Set(d, 256)); // bytes 2s, 2s + 1
    // x times the multiplier can pass 2^15; the 16-bit wrap-around is undone by subtracting 2^15.
    const V16 u = hn::Add(hn::Mul(x, lookUpPair(kCubeRootMultipliers, pair)), hn::Set(d, int16_t(-32768)));
    V16 p = lookUpPair(kCubeRootCoefficients[3], pair);
    for (int power = 2; power >= 0; --power)
        p = hn::Add(lookUpPair(kCubeRootCoefficients[power], pair), hn::MulFixedPoint15(u, p));
    return hn::ShiftRight<3>(hn::Add(p, hn::Set(d, 4)));
}

// Lanes of 16-bit pairs (low, high): low^2 + high^2 in 32 bits.
HWY_INLINE V32 SumOfSquares(V16 pairs) {
    const D32 d32;
    V32 odd = hn::Zero(d32);
    const V32 even = hn::ReorderWidenMulAccumulate(d32, pairs, pairs, hn::Zero(d32), odd);
    return hn::RearrangeToOddPlusEven(even, odd);
}

// DirectionalGreen of the scalar code, lane by lane.
template <class V>
HWY_INLINE V DirectionalGreenV(V farBefore, V greenBefore, V own, V greenAfter, V farAfter) {
    const hn::DFromV<V> d;
    const V twice = hn::ShiftLeft<1>(hn::Add(hn::Add(greenBefore, own), greenAfter));
    const V estimate = hn::ShiftRight<2>(hn::Sub(hn::Sub(hn::Add(twice, hn::Set(d, 2)), farBefore), farAfter));
    return hn::Min(hn::Max(estimate, hn::Min(greenBefore, greenAfter)), hn::Max(greenBefore, greenAfter));
}

// One tile of columns [x0, x0 + columns) taken down the rows of a call.
template <class Sample>
class AhdTile {
    using Lane = AhdLane<Sample>;
    using DL = hn::ScalableTag<Lane>;
    using VL = hn::Vec<DL>;
    using ML = hn::Mask<DL>;

public:
    AhdTile(const Mosaic<Sample>& mosaic, AhdRows<Lane>& rows, size_t x0, size_t columns)
        : mosaic_(mosaic), rows_(rows), x0_(ptrdiff_t(x0)), columns_(ptrdiff_t(columns)) {}

    // Output rows [rowBegin, rowEnd) of the tile; row y starts at out + (y - rowBegin) * rowSize.
    void Run(ptrdiff_t rowBegin, ptrdiff_t rowEnd, Sample* out, size_t rowSize, ColourOrder order) {
        // Each mosaic row loaded lets every stage advance by one row, each stage trailing the
        // one it reads by the rows it needs below.
        for (ptrdiff_t row = rowBegin - kAhdReach; row < rowEnd + kAhdReach; ++row) {
            LoadMosaicRow(row);
            if (row - 2 >= rowBegin - 3) Green(row - 2);
            if (row - 3 >= rowBegin - 2) ColoursAndLab(row - 3);
            if (row - 4 >= rowBegin - 1) Homogeneity(row - 4);
            if (row - 5 >= rowBegin) Choose(row - 5, out + size_t(row - 5 - rowBegin) * rowSize, order);
        }
    }

private:
    static constexpr int32_t kMax = kMaxSample<Sample> << kFractionBits<Sample>;
    static constexpr ptrdiff_t kLanes = ptrdiff_t(hn::MaxLanes(DL())); // vectors of known size only
    static constexpr ptrdiff_t kLanes16 = ptrdiff_t(hn::MaxLanes(D16()));

    static VL Load(const Lane* p) { return hn::LoadU(DL(), p); }
    static V16 Load16(const int16_t* p) { return hn::LoadU(D16(), p); }

    // Lanes of green sites in row `row`, for vectors that start at tile column `start` (or
    // any column of the same parity).
    ML GreenLanes(ptrdiff_t row, ptrdiff_t start) const {
        const DL d;
        const ML even = hn::Eq(hn::And(hn::Iota(d, 0), hn::Set(d, 1)), hn::Zero(d));
        return SiteColour(mosaic_.grid, x0_ + start, row) == kGreen ? even : hn::Not(even);
    }
    // The colour besides green in row `row`.
    int RowColour(ptrdiff_t row) const {
        const int first = SiteColour(mosaic_.grid, 0, row);
        return first == kGreen ? SiteColour(mosaic_.grid, 1, row) : first;
    }

    void LoadMosaicRow(ptrdiff_t row) {
        const DL d;
        const hn::Rebind<Sample, DL> ds;
        Lane* to = rows_.Mosaic(row);
        const Sample* from = mosaic_.samples + Mirror(row, mosaic_.height) * mosaic_.width;
        const ptrdiff_t width = ptrdiff_t(mosaic_.width);
        const ptrdiff_t end = columns_ + kMargin;
        // Inside the image the row is copied with vectors; outside it, mirrored sample by sample.
        const ptrdiff_t insideBegin = std::max(-kMargin, -x0_), insideEnd = std::min(end, width - x0_);
        const auto mirrored = [&](ptrdiff_t j) {
            return Lane(int32_t(from[Mirror(x0_ + j, mosaic_.width)]) << kFractionBits<Sample>);
        };
        for (ptrdiff_t j = -kMargin; j < insideBegin; ++j) to[j] = mirrored(j);
        ptrdiff_t j = insideBegin;
        for (; j + kLanes <= insideEnd; j += kLanes)
            hn::StoreU(hn::ShiftLeft<kFractionBits<Sample>>(hn::PromoteTo(d, hn::LoadU(ds, from + x0_ + j))), d, to + j);
        for (; j < end; ++j) to[j] = mirrored(j);
    }

    void Green(ptrdiff_t row) {
        const DL d;
        const Lane* m = rows_.Mosaic(row);
        const Lane *up2 = rows_.Mosaic(row - 2), *up1 = rows_.Mosaic(row - 1);
        const Lane *down1 = rows_.Mosaic(row + 1), *down2 = rows_.Mosaic(row + 2);
        Lane* green[2] = {rows_.Green(kRows, row), rows_.Green(kColumns, row)};
        Lane* difference[2] = {rows_.Difference(kRows, row), rows_.Difference(kColumns, row)};
        const ML greenSite = GreenLanes(row, -kGreenMargin);
        for (ptrdiff_t j = -kGreenMargin; j < columns_ + kGreenMargin; j += kLanes) {
            const VL own = Load(m + j);
            const VL h = DirectionalGreenV(Load(m + j - 2), Load(m + j - 1), own, Load(m + j + 1), Load(m + j + 2));
            const VL v = DirectionalGreenV(Load(up2 + j), Load(up1 + j), own, Load(down1 + j), Load(down2 + j));
            const VL alongRows = hn::IfThenElse(greenSite, own, h), alongColumns = hn::IfThenElse(greenSite, own, v);
            hn::StoreU(alongRows, d, green[kRows] + j);
            hn::StoreU(alongColumns, d, green[kColumns] + j);
            hn::StoreU(hn::Sub(own, alongRows), d, difference[kRows] + j);
            hn::StoreU(hn::Sub(own, alongColumns), d, difference[kColumns] + j);
        }
    }

    void ColoursAndLab(ptrdiff_t row) {
        const DL d;
        const Lane* m = rows_.Mosaic(row);
        const ML greenSite = GreenLanes(row, -kColourMargin);
        const bool redRow = RowColour(row) == kRed;
        const VL max = hn::Set(d, Lane(kMax)), one = hn::Set(d, Lane(1)), two = hn::Set(d, Lane(2));
        for (int direction : {kRows, kColumns}) {
            const Lane* g = rows_.Green(direction, row);
            const Lane *up = rows_.Difference(direction, row - 1), *here = rows_.Difference(direction, row),
                       *down = rows_.Difference(direction, row + 1);
            Lane* redOut = rows_.RedBlue(direction, 0, row);
            Lane* blueOut = rows_.RedBlue(direction, 1, row);
            for (ptrdiff_t j = -kColourMargin; j < columns_ + kColourMargin; j += kLanes) {
                const VL ownGreen = Load(g + j);
                // At green sites: the row's colour from the row, the other from the column.
                const VL alongRow = hn::ShiftRight<1>(hn::Add(hn::Add(Load(here + j - 1), Load(here + j + 1)), one));
                const VL alongColumn = hn::ShiftRight<1>(hn::Add(hn::Add(Load(up + j), Load(down + j)), one));
                // At the row's own colour: the other colour from the diagonals.
                const VL diagonal = hn::ShiftRight<2>(hn::Add(
                    hn::Add(hn::Add(Load(up + j - 1), Load(up + j + 1)), hn::Add(Load(down + j - 1), Load(down + j + 1))),
                    two));
                const VL rowColour = hn::IfThenElse(greenSite, ClampTo(hn::Add(ownGreen, alongRow), max), Load(m + j));
                const VL otherColour = ClampTo(hn::Add(ownGreen, hn::IfThenElse(greenSite, alongColumn, diagonal)), max);
                const VL red = redRow ? rowColour : otherColour, blue = redRow ? otherColour : rowColour;
                hn::StoreU(red, d, redOut + j);
                hn::StoreU(blue, d, blueOut + j);
                if constexpr (sizeof(Lane) == 4) {
                    // 12 bits for CIELab.
                    const hn::Rebind<int16_t, DL> d16;
                    const auto to12 = [&](VL v) { return hn::DemoteTo(d16, hn::ShiftRight<kLabInputShift<Sample>>(v)); };
                    hn::StoreU(to12(red), d16, rows_.Colour12(direction, kRed) + j);
                    hn::StoreU(to12(ownGreen), d16, rows_.Colour12(direction, kGreen) + j);
                    hn::StoreU(to12(blue), d16, rows_.Colour12(direction, kBlue) + j);
                }
            }
            Lab(direction, row);
        }
    }

    static VL ClampTo(VL v, VL max) { return hn::Min(hn::Max(v, hn::Zero(DL())), max); }

    // ToLab over the row.
    void Lab(int direction, ptrdiff_t row) {
        const D16 d;
        const int16_t *red, *green, *blue;
        if constexpr (sizeof(Lane) == 2) {
            red = rows_.RedBlue(direction, 0, row), green = rows_.Green(direction, row),
            blue = rows_.RedBlue(direction, 1, row);
        } else {
            red = rows_.Colour12(direction, kRed), green = rows_.Colour12(direction, kGreen),
            blue = rows_.Colour12(direction, kBlue);
        }
        int16_t* lab[3] = {rows_.Lab(direction, 0, row), rows_.Lab(direction, 1, row), rows_.Lab(direction, 2, row)};
        V16 weights[3][3];
        for (int component = 0; component < 3; ++component)
            for (int channel = 0; channel < 3; ++channel)
                weights[component][channel] = hn::Set(d, int16_t(kXyzWeights[component][channel] << 1));
        for (ptrdiff_t j = -kColourMargin; j < columns_ + kColourMargin; j += kLanes16) {
            const V16 r = hn::ShiftLeft<3>(Load16(red + j)), g = hn::ShiftLeft<3>(Load16(green + j)),
                      b = hn::ShiftLeft<3>(Load16(blue + j));
            V16 f[3];
            for (int component = 0; component < 3; ++component)
                f[component] = LabCubeRootV(hn::Add(hn::Add(hn::MulHigh(r, weights[component][0]), hn::MulHigh(g, weights[component][1])),
                                                    hn::MulHigh(b, weights[component][2])));
            const V16 xy = hn::Sub(f[0], f[1]), yz = hn::Sub(f[1], f[2]);
            hn::StoreU(f[1], d, lab[0] + j);
            hn::StoreU(hn::Add(hn::ShiftLeft<2>(xy), xy), d, lab[1] + j);
            hn::StoreU(hn::Add(yz, yz), d, lab[2] + j);
        }
    }

    void Homogeneity(ptrdiff_t row) {
        const D16 d;
        const D32 d32;
        const int16_t* lab[2][3][3]; // direction, row - 1 .. row + 1, component
        for (int direction : {kRows, kColumns})
            for (int dy = 0; dy < 3; ++dy)
                for (int component = 0; component < 3; ++component)
                    lab[direction][dy][component] = rows_.Lab(direction, component, row - 1 + dy);
        int16_t* balance = rows_.Balance();
        for (ptrdiff_t j = -kHomogeneityMargin; j < columns_ + kHomogeneityMargin; j += kLanes16) {
            // The step from the pixel to neighbour (dx, dy) in one direction's result: |dL| in
            // 16 bits, da^2 + db^2 in 32, for the pixels of the low and the high halves of each
            // 16-byte block (which packing the comparisons back to 16 bits puts in order).
            struct Step {
                V16 luminance;
                V32 chromaLow, chromaHigh;
            };
            V16 centre[2][3];
            for (int direction : {kRows, kColumns})
                for (int component = 0; component < 3; ++component)
                    centre[direction][component] = Load16(lab[direction][1][component] + j);
            const auto step = [&](int direction, int dx, int dy) {
                const auto at = [&](int component) { return Load16(lab[direction][1 + dy][component] + j + dx); };
                const V16 da = hn::Sub(centre[direction][1], at(1)), db = hn::Sub(centre[direction][2], at(2));
                return Step{hn::Abs(hn::Sub(centre[direction][0], at(0))), SumOfSquares(hn::InterleaveLower(d, da, db)),
                            SumOfSquares(hn::InterleaveUpper(d, da, db))};
            };
            const Step west = step(kRows, -1, 0), east = step(kRows, 1, 0);
            const Step north = step(kColumns, 0, -1), south = step(kColumns, 0, 1);
            const V16 luminanceTolerance =
                hn::Min(hn::Max(west.luminance, east.luminance), hn::Max(north.luminance, south.luminance));
            const V32 chromaToleranceLow =
                hn::Min(hn::Max(west.chromaLow, east.chromaLow), hn::Max(north.chromaLow, south.chromaLow));
            const V32 chromaToleranceHigh =
                hn::Min(hn::Max(west.chromaHigh, east.chromaHigh), hn::Max(north.chromaHigh, south.chromaHigh));
            // -1 for a neighbour outside the tolerances.
            const auto outside = [&](const Step& s) {
                const V16 chroma = hn::ReorderDemote2To(d, hn::VecFromMask(d32, hn::Gt(s.chromaLow, chromaToleranceLow)),
                                                        hn::VecFromMask(d32, hn::Gt(s.chromaHigh, chromaToleranceHigh)));
                return hn::Or(hn::VecFromMask(d, hn::Gt(s.luminance, luminanceTolerance)), chroma);
            };
            V16 outsideRows = hn::Add(outside(west), outside(east));
            V16 outsideColumns = hn::Add(outside(north), outside(south));
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    if (dx == 0 && dy == 0) continue;
                    if (dy != 0) outsideRows = hn::Add(outsideRows, outside(step(kRows, dx, dy)));
                    if (dx != 0) outsideColumns = hn::Add(outsideColumns, outside(step(kColumns, dx, dy)));
                }
            // Homogeneity along rows minus along columns (each is 8 less its outside count).
            hn::StoreU(hn::Sub(outsideRows, outsideColumns), d, balance + j);
        }
        int16_t* score = rows_.Score(row);
        for (ptrdiff_t j = 0; j < columns_; j += kLanes16)
            hn::StoreU(hn::Add(hn::Add(Load16(balance + j - 1), Load16(balance + j)), Load16(balance + j + 1)), d,
                       score + j);
    }

    void Choose(ptrdiff_t row, Sample* out, ColourOrder order) {
        const DL d;
        const hn::Rebind<Sample, DL> ds;
        const hn::Rebind<int16_t, DL> d16;
        const int16_t *scoreUp = rows_.Score(row - 1), *score = rows_.Score(row), *scoreDown = rows_.Score(row + 1);
        const Lane* colours[2][3];
        for (int direction : {kRows, kColumns}) {
            colours[direction][kRed] = rows_.RedBlue(direction, 0, row);
            colours[direction][kGreen] = rows_.Green(direction, row);
            colours[direction][kBlue] = rows_.RedBlue(direction, 1, row);
        }
        const VL one = hn::Set(d, Lane(1));
        for (ptrdiff_t j = 0; j < columns_; j += kLanes) {
            // Homogeneity along rows minus along columns over the 3 x 3 window.
            VL balance;
            if constexpr (sizeof(Lane) == 2) {
                balance = hn::Add(hn::Add(Load16(scoreUp + j), Load16(score + j)), Load16(scoreDown + j));
            } else {
                const auto scoreAt = [&](const int16_t* p) { return hn::PromoteTo(d, hn::LoadU(d16, p + j)); };
                balance = hn::Add(hn::Add(scoreAt(scoreUp), scoreAt(score)), scoreAt(scoreDown));
            }
            const ML rowsBetter = hn::Gt(balance, hn::Zero(d)), columnsBetter = hn::Lt(balance, hn::Zero(d));
            hn::Vec<decltype(ds)> channels[3];
            for (int channel = 0; channel < 3; ++channel) {
                const VL a = Load(colours[kRows][channel] + j), b = Load(colours[kColumns][channel] + j);
                const VL mean = hn::ShiftRight<1>(hn::Add(hn::Add(a, b), one));
                VL chosen = hn::IfThenElse(rowsBetter, a, hn::IfThenElse(columnsBetter, b, mean));
                if constexpr (kFractionBits<Sample> > 0)
                    chosen = hn::ShiftRight<kFractionBits<Sample>>(
                        hn::Add(chosen, hn::Set(d, Lane(1 << (kFractionBits<Sample> - 1)))));
                channels[channel] = hn::DemoteTo(ds, chosen);
            }
            Sample* pixel = out + size_t(x0_ + j) * order.channels;
            if (j + kLanes <= columns_) {
                StorePixels(ds, order, channels[kRed], channels[kGreen], channels[kBlue], pixel);
            } else {
                // The tile's last pixels: the whole vector goes to a scratch row, its start out.
                Sample scratch[kLanes * 4];
                StorePixels(ds, order, channels[kRed], channels[kGreen], channels[kBlue], scratch);
                std::memcpy(pixel, scratch, size_t(columns_ - j) * order.channels * sizeof(Sample));
            }
        }
    }

    const Mosaic<Sample>& mosaic_;
    AhdRows<Lane>& rows_;
    ptrdiff_t x0_, columns_;
};

template <class Sample>
void AhdKernel(const Mosaic<Sample>& mosaic, size_t rowBegin, size_t rowEnd, Sample* out, ColourOrder order) {
    // Directions need two samples along them; a line of pixels is interpolated bilinearly.
    if (mosaic.width < 2 || mosaic.height < 2) return BilinearKernel(mosaic, rowBegin, rowEnd, out, order);
    if (rowBegin >= rowEnd) return;
    AhdRows<AhdLane<Sample>> rows(std::min(kTileColumns, mosaic.width));
    const size_t rowSize = mosaic.width * order.channels;
    for (size_t x0 = 0; x0 < mosaic.width; x0 += kTileColumns) {
        AhdTile<Sample> tile(mosaic, rows, x0, std::min(kTileColumns, mosaic.width - x0));
        tile.Run(ptrdiff_t(rowBegin), ptrdiff_t(rowEnd), out, rowSize, order);
    }
}

#endif // HWY_TARGET != HWY_SCALAR

void BilinearKernel8(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
#if HWY_TARGET == HWY_SCALAR
    Scalar::DemosaicBilinear(mosaic, rowBegin, rowEnd, out, order);
#else
    BilinearKernel(mosaic, rowBegin, rowEnd, out, order);
#endif
}
void BilinearKernel16(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out,
                      ColourOrder order) {
#if HWY_TARGET == HWY_SCALAR
    Scalar::DemosaicBilinear(mosaic, rowBegin, rowEnd, out, order);
#else
    BilinearKernel(mosaic, rowBegin, rowEnd, out, order);
#endif
}
void AhdKernel8(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
#if HWY_TARGET == HWY_SCALAR
    Scalar::DemosaicAhd(mosaic, rowBegin, rowEnd, out, order);
#else
    AhdKernel(mosaic, rowBegin, rowEnd, out, order);
#endif
}
void AhdKernel16(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order) {
#if HWY_TARGET == HWY_SCALAR
    Scalar::DemosaicAhd(mosaic, rowBegin, rowEnd, out, order);
#else
    AhdKernel(mosaic, rowBegin, rowEnd, out, order);
#endif
}

const char* KernelTarget() { return hwy::TargetName(HWY_TARGET); }

} // namespace
} // namespace HWY_NAMESPACE
} // namespace Vireo::Primitives
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Vireo::Primitives {

HWY_EXPORT(BilinearKernel8);
HWY_EXPORT(BilinearKernel16);
HWY_EXPORT(AhdKernel8);
HWY_EXPORT(AhdKernel16);
HWY_EXPORT(KernelTarget);

namespace Fast {

void DemosaicBilinear(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
    HWY_DYNAMIC_DISPATCH(BilinearKernel8)(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicBilinear(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out,
                      ColourOrder order) {
    HWY_DYNAMIC_DISPATCH(BilinearKernel16)(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicAhd(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
    HWY_DYNAMIC_DISPATCH(AhdKernel8)(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicAhd(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order) {
    HWY_DYNAMIC_DISPATCH(AhdKernel16)(mosaic, rowBegin, rowEnd, out, order);
}

const char* DemosaicTargetName() noexcept { return HWY_DYNAMIC_DISPATCH(KernelTarget)(); }

} // namespace Fast
} // namespace Vireo::Primitives
#endif
