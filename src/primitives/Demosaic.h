// Demosaicing kernels: a Bayer mosaic (one sample a pixel) into three colour channels.
//
// Two algorithms: bilinear colour-filter-array interpolation (each missing colour is the
// rounded mean of the nearest samples of that colour: two or four of them) and adaptive
// homogeneity-directed demosaicing (Hirakawa and Parks: green interpolated along rows and
// along columns, red and blue from colour differences, and per pixel the direction whose
// neighbourhood is most homogeneous in CIELab). AHD computes in integers throughout, with
// a fixed-point CIELab (see DemosaicShared.h); an image one sample wide or high has no
// second direction and is interpolated bilinearly.
//
// Each exists as a scalar reference and as a vector fast path chosen at run time; both
// write identical bytes. Samples outside the image are read as their mirror image across
// the border (reflection without repeating the edge sample), so border pixels are as
// well interpolated as inner ones; a mosaic of any size from 1 x 1 up is accepted.
//
// 16-bit samples may take any value: a 12-bit camera's samples (0-4095, not shifted to the
// top) are demosaiced as they are, and nothing overflows at 65535.
//
// A call fills the output rows [rowBegin, rowEnd) only, reading whatever mosaic rows it
// needs (up to 5 rows away for AHD), so that a frame can be processed in strips that stay in
// cache, or by several threads; the result does not depend on the strips. `out` points at
// the first pixel of row rowBegin; rows are packed (width * channels samples each). AHD
// allocates its work rows for the duration of a call.
#ifndef VIREO_SRC_PRIMITIVES_DEMOSAIC_H
#define VIREO_SRC_PRIMITIVES_DEMOSAIC_H

#include <cstddef>
#include <cstdint>

namespace Vireo::Primitives {

// The colours of the first two samples of the first row.
enum class BayerGrid : uint8_t { BGGR = 0, RGGB = 1, GBRG = 2, GRBG = 3 };

// The output pixel: three channels, or four with the fourth always 0; red first or blue first.
struct ColourOrder {
    uint8_t channels; // 3 or 4
    bool blueFirst;   // B, G, R[, 0] when true; R, G, B[, 0] when false
};

template <class Sample>
struct Mosaic {
    const Sample* samples; // width * height, rows packed
    size_t width;
    size_t height;
    BayerGrid grid;
};

namespace Scalar {
void DemosaicBilinear(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order);
void DemosaicBilinear(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order);
void DemosaicAhd(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order);
void DemosaicAhd(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order);
} // namespace Scalar

namespace Fast {
void DemosaicBilinear(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order);
void DemosaicBilinear(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order);
void DemosaicAhd(const Mosaic<uint8_t>& mosaic, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order);
void DemosaicAhd(const Mosaic<uint16_t>& mosaic, size_t rowBegin, size_t rowEnd, uint16_t* out, ColourOrder order);
// The instruction set the fast path runs with in this process ("AVX2", "SSE4", ...).
const char* DemosaicTargetName() noexcept;
} // namespace Fast

} // namespace Vireo::Primitives

#endif
