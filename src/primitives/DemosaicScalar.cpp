// The scalar reference of the demosaicing kernels: written to be read against the algorithms,
// one pixel at a time, every neighbour fetched through the mirror. The fast path must write
// exactly the same bytes.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "DemosaicShared.h"

namespace Vireo::Primitives {

namespace Scalar {
namespace {

using namespace DemosaicDetail;

template <class Sample>
void Bilinear(const Mosaic<Sample>& mosaic, size_t rowBegin, size_t rowEnd, Sample* out, ColourOrder order) {
    for (size_t y = rowBegin; y < rowEnd; ++y)
        for (size_t x = 0; x < mosaic.width; ++x) {
            int32_t rgb[3];
            BilinearPixel(mosaic, ptrdiff_t(x), ptrdiff_t(y), rgb);
            StorePixel(out, order, rgb[kRed], rgb[kGreen], rgb[kBlue]);
            out += order.channels;
        }
}

// One quantity over the image rows [first, end), read at any position through the mirror:
// every stage of the algorithm is symmetric under the reflections of the borders, so its
// value at a mirrored position is its value at the position inside.
class Plane {
public:
    Plane(size_t width, size_t height, size_t first, size_t end)
        : width_(width), height_(height), first_(first), values_(width * (end - first)) {}
    int32_t& operator()(size_t x, size_t y) { return values_[(y - first_) * width_ + x]; }
    int32_t At(ptrdiff_t x, ptrdiff_t y) const {
        return values_[(Mirror(y, height_) - first_) * width_ + Mirror(x, width_)];
    }

private:
    size_t width_, height_, first_;
    std::vector<int32_t> values_;
};

// Image rows within `reach` of the output rows; the mirror images of the rows beyond the
// borders fall inside them.
struct RowRange {
    size_t first, end;
};
RowRange Around(size_t rowBegin, size_t rowEnd, size_t height, size_t reach) {
    return {rowBegin > reach ? rowBegin - reach : 0, std::min(height, rowEnd + reach)};
}

constexpr int kRows = 0, kColumns = 1; // the two interpolation directions

template <class Sample>
void Ahd(const Mosaic<Sample>& mosaic, size_t rowBegin, size_t rowEnd, Sample* out, ColourOrder order) {
    const size_t width = mosaic.width, height = mosaic.height;
    // Directions need two samples along them; a line of pixels is interpolated bilinearly.
    if (width < 2 || height < 2) return Bilinear(mosaic, rowBegin, rowEnd, out, order);
    if (rowBegin >= rowEnd) return;
    constexpr int32_t max = kMaxSample<Sample> << kFractionBits<Sample>;
    const auto sample = [&](ptrdiff_t x, ptrdiff_t y) {
        return int32_t(MosaicAt(mosaic, x, y)) << kFractionBits<Sample>;
    };
    const auto colour = [&](ptrdiff_t x, ptrdiff_t y) { return SiteColour(mosaic.grid, x, y); };
    const auto planes = [&](size_t reach) {
        const RowRange rows = Around(rowBegin, rowEnd, height, reach);
        return Plane(width, height, rows.first, rows.end);
    };

    // Green along rows and along columns, at the rows that the colours below need.
    const RowRange greenRows = Around(rowBegin, rowEnd, height, 3);
    Plane green[2] = {planes(3), planes(3)};
    for (size_t y = greenRows.first; y < greenRows.end; ++y)
        for (size_t x = 0; x < width; ++x) {
            const ptrdiff_t px = ptrdiff_t(x), py = ptrdiff_t(y);
            if (colour(px, py) == kGreen) {
                green[kRows](x, y) = green[kColumns](x, y) = sample(px, py);
                continue;
            }
            green[kRows](x, y) = DirectionalGreen(sample(px - 2, py), sample(px - 1, py), sample(px, py),
                                                  sample(px + 1, py), sample(px + 2, py));
            green[kColumns](x, y) = DirectionalGreen(sample(px, py - 2), sample(px, py - 1), sample(px, py),
                                                     sample(px, py + 1), sample(px, py + 2));
        }

    // Red and blue for each direction: the missing colour minus that direction's green varies
    // slowly, so it is averaged from the nearest sites that have the colour (2 in the row or
    // column at a green site, the 4 diagonals at a red or blue one) and added to the green.
    // Then CIELab of each direction's result.
    const RowRange colourRows = Around(rowBegin, rowEnd, height, 2);
    Plane rgb[2][3] = {{planes(2), planes(2), planes(2)}, {planes(2), planes(2), planes(2)}};
    Plane lab[2][3] = {{planes(2), planes(2), planes(2)}, {planes(2), planes(2), planes(2)}};
    for (size_t y = colourRows.first; y < colourRows.end; ++y)
        for (size_t x = 0; x < width; ++x)
            for (int direction : {kRows, kColumns}) {
                const ptrdiff_t px = ptrdiff_t(x), py = ptrdiff_t(y);
                const Plane& g = green[direction];
                const auto difference = [&](ptrdiff_t qx, ptrdiff_t qy) { return sample(qx, qy) - g.At(qx, qy); };
                const int32_t ownGreen = g.At(px, py);
                const int own = colour(px, py);
                int32_t c[3];
                c[kGreen] = ownGreen;
                if (own == kGreen) {
                    const int32_t alongRow = (difference(px - 1, py) + difference(px + 1, py) + 1) >> 1;
                    const int32_t alongColumn = (difference(px, py - 1) + difference(px, py + 1) + 1) >> 1;
                    c[colour(px + 1, py)] = ClampSample(ownGreen + alongRow, max);
                    c[colour(px, py + 1)] = ClampSample(ownGreen + alongColumn, max);
                } else {
                    const int32_t diagonal = (difference(px - 1, py - 1) + difference(px + 1, py - 1) +
                                              difference(px - 1, py + 1) + difference(px + 1, py + 1) + 2) >> 2;
                    c[own] = sample(px, py);
                    c[kRed + kBlue - own] = ClampSample(ownGreen + diagonal, max);
                }
                const Lab value = ToLab<Sample>(c[kRed], c[kGreen], c[kBlue]);
                for (int channel = 0; channel < 3; ++channel) rgb[direction][channel](x, y) = c[channel];
                lab[direction][0](x, y) = value.l;
                lab[direction][1](x, y) = value.a;
                lab[direction][2](x, y) = value.b;
            }

    // Homogeneity of each direction: how many of the 8 neighbours have a colour within the
    // pixel's tolerances. The tolerances adapt to the image: the smaller of the largest
    // luminance (and chrominance) step that each direction's result takes along its own
    // direction, where that direction is smooth by construction.
    const RowRange homogeneityRows = Around(rowBegin, rowEnd, height, 1);
    Plane homogeneity[2] = {planes(1), planes(1)};
    const auto luminanceStep = [&](int direction, ptrdiff_t x, ptrdiff_t y, ptrdiff_t qx, ptrdiff_t qy) {
        return std::abs(lab[direction][0].At(x, y) - lab[direction][0].At(qx, qy));
    };
    const auto chromaStep = [&](int direction, ptrdiff_t x, ptrdiff_t y, ptrdiff_t qx, ptrdiff_t qy) {
        const int32_t da = lab[direction][1].At(x, y) - lab[direction][1].At(qx, qy);
        const int32_t db = lab[direction][2].At(x, y) - lab[direction][2].At(qx, qy);
        return da * da + db * db; // squared: compared with squared tolerances only
    };
    for (size_t y = homogeneityRows.first; y < homogeneityRows.end; ++y)
        for (size_t x = 0; x < width; ++x) {
            const ptrdiff_t px = ptrdiff_t(x), py = ptrdiff_t(y);
            const int32_t luminanceTolerance =
                std::min(std::max(luminanceStep(kRows, px, py, px - 1, py), luminanceStep(kRows, px, py, px + 1, py)),
                         std::max(luminanceStep(kColumns, px, py, px, py - 1),
                                  luminanceStep(kColumns, px, py, px, py + 1)));
            const int32_t chromaTolerance =
                std::min(std::max(chromaStep(kRows, px, py, px - 1, py), chromaStep(kRows, px, py, px + 1, py)),
                         std::max(chromaStep(kColumns, px, py, px, py - 1), chromaStep(kColumns, px, py, px, py + 1)));
            for (int direction : {kRows, kColumns}) {
                int32_t count = 0;
                for (ptrdiff_t dy = -1; dy <= 1; ++dy)
                    for (ptrdiff_t dx = -1; dx <= 1; ++dx) {
                        if (dx == 0 && dy == 0) continue;
                        count += luminanceStep(direction, px, py, px + dx, py + dy) <= luminanceTolerance &&
                                 chromaStep(direction, px, py, px + dx, py + dy) <= chromaTolerance;
                    }
                homogeneity[direction](x, y) = count;
            }
        }

    // Each pixel takes the direction that is more homogeneous over its 3 x 3 window, or the
    // rounded mean of both when they tie.
    for (size_t y = rowBegin; y < rowEnd; ++y)
        for (size_t x = 0; x < width; ++x) {
            const ptrdiff_t px = ptrdiff_t(x), py = ptrdiff_t(y);
            int32_t score[2] = {0, 0};
            for (int direction : {kRows, kColumns})
                for (ptrdiff_t dy = -1; dy <= 1; ++dy)
                    for (ptrdiff_t dx = -1; dx <= 1; ++dx) score[direction] += homogeneity[direction].At(px + dx, py + dy);
            int32_t c[3];
            for (int channel = 0; channel < 3; ++channel) {
                const int32_t alongRows = rgb[kRows][channel].At(px, py), alongColumns = rgb[kColumns][channel].At(px, py);
                c[channel] = score[kRows] > score[kColumns]   ? alongRows
                             : score[kColumns] > score[kRows] ? alongColumns
                                                              : (alongRows + alongColumns + 1) >> 1;
            }
            StorePixel(out, order, ToSample<Sample>(c[kRed]), ToSample<Sample>(c[kGreen]), ToSample<Sample>(c[kBlue]));
            out += order.channels;
        }
}

} // namespace

void DemosaicBilinear(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
    Bilinear(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicBilinear(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out,
                      ColourOrder order) {
    Bilinear(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicAhd(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
    Ahd(mosaic, rowBegin, rowEnd, out, order);
}
void DemosaicAhd(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order) {
    Ahd(mosaic, rowBegin, rowEnd, out, order);
}

} // namespace Scalar
} // namespace Vireo::Primitives
