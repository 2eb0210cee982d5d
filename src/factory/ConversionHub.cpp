// The BGRa8 hub: a from stage expands the source into B, G, R, 0 pixels, a to stage reduces
// those into the target.
//
// The hub is not built for the whole frame at once but for strips of rows of about 256 KiB,
// which stay in the processor's cache between the two stages: the frame's pixels then cross
// main memory once on the way in and once on the way out, as for a direct routine. Each
// strip starts at a pixel index that is a multiple of 4, so that no packed group and no
// shared chroma of a subsampled layout straddles two strips.
//
// Where the from stage can write the target's own layout (RGB8 and BGR8 targets), the to
// stage can read the source's (RGB8 or BGR8 to Mono8), or both are grey (mono to mono), the
// hub is skipped: the kernels give the same bytes either way.
#include <algorithm>
#include <cstring>
#include <numeric>

#include <Vireo/PixelFormat.h>

#include "../primitives/ColourKernels.h"
#include "../primitives/PackedSamples.h"
#include "../primitives/YCbCrKernels.h"
#include "ConversionStages.h"
#include "FactoryChecks.h"
#include "FactoryState.h"
#include "SampleBlocks.h"

namespace Vireo::ImageFactory {
namespace {

using F = PfncFormat;
using Primitives::ChannelOrder;
using Primitives::ColourOrder;
namespace Fast = Primitives::Fast;

constexpr size_t kStripBytes = 256 * 1024;
constexpr ColourOrder kHubOrder{4, true};

// Rows of one strip: a hub of about kStripBytes, and width x rows a multiple of 4.
size_t StripRows(size_t width) {
    const size_t step = 4 / std::gcd(width, size_t(4));
    const size_t rows = std::max<size_t>(8, kStripBytes / (4 * width));
    return (rows + step - 1) / step * step;
}

// Bytes of the first `pixels` pixels of a format; exact at multiples of 4 pixels.
size_t BytesBefore(uint64_t format, size_t pixels) { return size_t(ExpectedLength(pixels, 1, format)); }

// --- the format families of the stages ------------------------------------------------------

// Three-channel formats whose samples the stages take through 8 bits; red first or blue first.
enum class Rgb { None, RedFirst, BlueFirst };

Rgb RgbOrderOf(uint64_t format) {
    switch (F(format)) {
    case F::RGB8: case F::RGB12: case F::RGB12p: case F::RGB16: return Rgb::RedFirst;
    case F::BGR8: case F::BGR12: case F::BGR12p: case F::BGR16: return Rgb::BlueFirst;
    default: return Rgb::None;
    }
}

// The three-channel targets beyond 8 bits, and the hub order their channels take. RGB24 and
// BGR24 share one order on purpose.
Rgb TargetOrderOf(uint64_t format) {
    if (format == uint64_t(F::RGB24) || format == uint64_t(F::BGR24)) return Rgb::RedFirst;
    return RgbOrderOf(format);
}

// Which source channel lands on each output channel, from one channel order to another.
ChannelOrder Reorder(bool fromRedFirst, bool toRedFirst) {
    return fromRedFirst == toRedFirst ? ChannelOrder{{0, 1, 2}} : ChannelOrder{{2, 1, 0}};
}

enum class Subsampling { None, Full, Pairs, Quads };

struct YCbCrLayout {
    Subsampling kind = Subsampling::None;
    Primitives::Layout444 full{};
    Primitives::Layout422 pairs{};
    Primitives::Layout411 quads{};
};

YCbCrLayout YCbCrLayoutOf(uint64_t format) {
    YCbCrLayout layout;
    switch (F(format)) {
    case F::YCbCr8: layout.kind = Subsampling::Full, layout.full = {0, 1, 2}; break;  // Y Cb Cr
    case F::YCbCr8_CbYCr:
    case F::YUV8_UYV: layout.kind = Subsampling::Full, layout.full = {1, 0, 2}; break;  // Cb Y Cr
    case F::YCbCr422_8:
    case F::YUV422_8: layout.kind = Subsampling::Pairs, layout.pairs = {0, 1, 2, 3}; break;  // Y Cb Y Cr
    case F::YCbCr422_8_CbYCrY:
    case F::YUV422_8_UYVY: layout.kind = Subsampling::Pairs, layout.pairs = {1, 0, 3, 2}; break;  // Cb Y Cr Y
    case F::YCbCr411_8: layout.kind = Subsampling::Quads, layout.quads = {{0, 1, 3, 4}, 2, 5}; break;  // Y Y Cb Y Y Cr
    case F::YCbCr411_8_CbYYCrYY:
    case F::YUV411_8_UYYVYY: layout.kind = Subsampling::Quads, layout.quads = {{1, 2, 4, 5}, 0, 3}; break;
    default: break;
    }
    return layout;
}

// --- sample reduction -------------------------------------------------------------------------

// Samples [first, first + count) of a layout as 8-bit values: bytes as they are, 10- and
// 12-bit containers their top 8 bits, 16-bit samples over the full range (65535 becomes
// 255), packed samples through the unpacker, 24-bit samples their top byte. Returns where
// they are: in the source itself for bytes, otherwise in `scratch`.
const uint8_t* ReduceTo8(const SampleLayout& layout, const uint8_t* source, size_t first, size_t count,
                         uint8_t* scratch) {
    switch (layout.storage) {
    case SampleLayout::Storage::Byte:
        return source + first;
    case SampleLayout::Storage::Word:
        if (IsAligned16(source)) {
            const uint16_t* words = reinterpret_cast<const uint16_t*>(source) + first;
            if (layout.bits == 16) Fast::Scale16To8(words, scratch, count);
            else Fast::Shift16To8(words, scratch, layout.bits - 8, count);
            return scratch;
        }
        break;  // a caller's buffer at an odd address: the general path below
    case SampleLayout::Storage::Packed:
        UnpackRange(layout, 8, source, first, count, scratch);
        return scratch;
    case SampleLayout::Storage::Triple:
    case SampleLayout::Storage::None:
        break;
    }
    uint32_t values[kSampleBlock];
    for (size_t done = 0; done < count; done += kSampleBlock) {
        const size_t block = std::min(kSampleBlock, count - done);
        LoadSamples(layout, source, first + done, block, values);
        for (size_t index = 0; index < block; ++index) {
            const uint32_t value = values[index];
            scratch[done + index] = layout.bits == 16 ? uint8_t((value + 128) / 257) : uint8_t(value >> (layout.bits - 8));
        }
    }
    return scratch;
}

// 8-bit values into samples [first, first + count) of a layout, at the top of each sample:
// v << 2 for 10 bits, v << 4 for 12, v << 16 for 24. A 16-bit sample takes v in its high
// byte only; its low byte keeps what the destination held.
void WidenFrom8(const SampleLayout& layout, const uint8_t* values, uint8_t* target, size_t first, size_t count) {
    switch (layout.storage) {
    case SampleLayout::Storage::Byte:
        std::memcpy(target + first, values, count);
        return;
    case SampleLayout::Storage::Packed:
        PackRange(layout, 8, values, target, first, count);
        return;
    case SampleLayout::Storage::Word:
        if (layout.bits == 16) {
            for (size_t index = 0; index < count; ++index) target[2 * (first + index) + 1] = values[index];
            return;
        }
        for (size_t index = 0; index < count; ++index) {
            const unsigned wide = unsigned(values[index]) << (layout.bits - 8);
            target[2 * (first + index)] = uint8_t(wide);
            target[2 * (first + index) + 1] = uint8_t(wide >> 8);
        }
        return;
    case SampleLayout::Storage::Triple:
        for (size_t index = 0; index < count; ++index) {
            uint8_t* triple = target + 3 * (first + index);
            triple[0] = triple[1] = 0;
            triple[2] = values[index];
        }
        return;
    case SampleLayout::Storage::None:
        return;
    }
}

// --- the stages over one strip ----------------------------------------------------------------

struct HubJob {
    const ConversionFrame& frame;
    SampleLayout fromLayout;
    SampleLayout toLayout;
    const uint8_t* mosaic = nullptr;  // a Bayer source at 8 bits
    uint8_t* scratch = nullptr;        // 3 bytes a pixel of a strip
};

// Rows [rowBegin, rowEnd) of the source into `out`, in the order given (hub: B, G, R, 0).
bool FromStrip(const HubJob& job, size_t rowBegin, size_t rowEnd, uint8_t* out, ColourOrder order) {
    const ConversionFrame& frame = job.frame;
    const size_t first = rowBegin * frame.width, count = (rowEnd - rowBegin) * frame.width;
    if (IsBayerFormat(frame.from)) {
        Demosaic({job.mosaic, frame.width, frame.height, GridOf(frame.from)}, frame.algorithm, rowBegin, rowEnd, out,
                 order);
        return true;
    }
    if (IsMonoFormat(frame.from)) {
        const uint8_t* grey = ReduceTo8(job.fromLayout, frame.source, first, count, job.scratch);
        Fast::GreyToColour(grey, out, order.channels, 0, count);
        return true;
    }
    if (const Rgb rgb = RgbOrderOf(frame.from); rgb != Rgb::None) {
        const uint8_t* samples = ReduceTo8(job.fromLayout, frame.source, 3 * first, 3 * count, job.scratch);
        Fast::SwapChannels(samples, 3, out, order.channels, Reorder(rgb == Rgb::RedFirst, !order.blueFirst), 0,
                           count);
        return true;
    }
    const YCbCrLayout ycbcr = YCbCrLayoutOf(frame.from);
    const uint8_t* bytes = frame.source + BytesBefore(frame.from, first);
    switch (ycbcr.kind) {
    case Subsampling::Full: Fast::YCbCrToColour(bytes, ycbcr.full, out, order.channels, count); return true;
    case Subsampling::Pairs: Fast::YCbCrToColour(bytes, ycbcr.pairs, out, order.channels, count); return true;
    case Subsampling::Quads:
        Fast::YCbCrToColour(bytes, ycbcr.quads, out, order.channels, count);
        // The pixels of a last incomplete group have no chroma in the stream: black.
        std::memset(out + (count - count % 4) * order.channels, 0, count % 4 * order.channels);
        return true;
    case Subsampling::None: break;
    }
    return false;
}

// Hub rows [rowBegin, rowEnd) into the target.
bool ToStrip(const HubJob& job, const uint8_t* hub, size_t rowBegin, size_t rowEnd) {
    const ConversionFrame& frame = job.frame;
    const size_t first = rowBegin * frame.width, count = (rowEnd - rowBegin) * frame.width;
    if (IsMonoFormat(frame.to)) {
        uint8_t* grey = frame.to == uint64_t(F::Mono8) ? frame.target + first : job.scratch;
        Fast::ColourToGrey(hub, 4, ChannelOrder{{0, 1, 2}}, grey, count);
        if (grey != frame.target + first) WidenFrom8(job.toLayout, grey, frame.target, first, count);
        return true;
    }
    if (const Rgb rgb = TargetOrderOf(frame.to); rgb != Rgb::None) {
        const ChannelOrder order = Reorder(false, rgb == Rgb::RedFirst);
        if (frame.to == uint64_t(F::RGB8) || frame.to == uint64_t(F::BGR8)) {
            Fast::SwapChannels(hub, 4, frame.target + 3 * first, 3, order, 0, count);
            return true;
        }
        Fast::SwapChannels(hub, 4, job.scratch, 3, order, 0, count);
        if (frame.to == uint64_t(F::RGB16) || frame.to == uint64_t(F::BGR16)) {
            if (IsAligned16(frame.target)) {
                Fast::Scale8To16(job.scratch, reinterpret_cast<uint16_t*>(frame.target) + 3 * first, 3 * count);
            } else {
                for (size_t index = 0; index < 3 * count; ++index) {
                    uint8_t* word = frame.target + 2 * (3 * first + index);
                    word[0] = word[1] = job.scratch[index];  // v * 257
                }
            }
            return true;
        }
        // RGB12/BGR12 take the 8-bit value at the top of 12 bits (v << 4), as the packed 12p
        // targets and Mono12 do; RGB24/BGR24 at the top of 24 bits.
        WidenFrom8(job.toLayout, job.scratch, frame.target, 3 * first, 3 * count);
        return true;
    }
    const YCbCrLayout ycbcr = YCbCrLayoutOf(frame.to);
    uint8_t* bytes = frame.target + BytesBefore(frame.to, first);
    switch (ycbcr.kind) {
    case Subsampling::Full: Fast::ColourToYCbCr(hub, 4, ycbcr.full, bytes, count); return true;
    case Subsampling::Pairs: Fast::ColourToYCbCr(hub, 4, ycbcr.pairs, bytes, count); return true;
    case Subsampling::Quads: Fast::ColourToYCbCr(hub, 4, ycbcr.quads, bytes, count); return true;
    case Subsampling::None: break;
    }
    return false;
}

// The from stage can write this order straight into a target (YCbCr decodes blue first only).
bool FromStageWrites(uint64_t format, ColourOrder order) {
    return order.blueFirst || YCbCrLayoutOf(format).kind == Subsampling::None;
}

} // namespace

bool HasFromStage(uint64_t format) {
    if (IsBayerFormat(format)) {
        // A mosaic is demosaiced from its samples, one a pixel.
        const SampleLayout layout = SampleLayoutOf(format, 1, 1);
        return layout.storage != SampleLayout::Storage::None && layout.channels == 1;
    }
    return IsMonoFormat(format) || RgbOrderOf(format) != Rgb::None || YCbCrLayoutOf(format).kind != Subsampling::None;
}

bool HasToStage(uint64_t format) {
    return IsMonoFormat(format) || TargetOrderOf(format) != Rgb::None || YCbCrLayoutOf(format).kind != Subsampling::None;
}

void RunThroughHub(const ConversionFrame& frame) {
    const uint64_t from = frame.from, to = frame.to;
    if (!HasFromStage(from)) ConversionFailure("Pixel format conversion from " + std::string(GetPixelFormatName(from)) + " not yet implemented");
    const size_t width = frame.width, height = frame.height, pixels = width * height;
    ScratchLease lease;
    HubJob job{frame, SampleLayoutOf(from, width, height), SampleLayoutOf(to, width, height)};
    if (IsBayerFormat(from)) {
        // The demosaicing reads neighbouring rows, so deeper mosaics are reduced whole.
        job.mosaic = job.fromLayout.storage == SampleLayout::Storage::Byte
                         ? frame.source
                         : ReduceTo8(job.fromLayout, frame.source, 0, pixels, lease.C(pixels));
    }
    const bool intoColour8 = to == uint64_t(F::RGB8) || to == uint64_t(F::BGR8);
    const ColourOrder direct{uint8_t(to == uint64_t(F::BGRa8) ? 4 : 3), to != uint64_t(F::RGB8)};
    const size_t rows = StripRows(width);
    job.scratch = lease.B(3 * width * rows);
    if (to == uint64_t(F::BGRa8) || (intoColour8 && FromStageWrites(from, direct))) {
        // Demosaicing needs no scratch and reads across rows: one call. The others reduce
        // their samples through the strip's scratch space.
        const size_t step = IsBayerFormat(from) ? height : rows;
        for (size_t rowBegin = 0; rowBegin < height; rowBegin += step)
            FromStrip(job, rowBegin, std::min(height, rowBegin + step), frame.target + rowBegin * width * direct.channels,
                      direct);
        return;
    }
    if (to == uint64_t(F::Mono8) && (from == uint64_t(F::RGB8) || from == uint64_t(F::BGR8))) {
        // The grey weights go to the hub's stored order, blue first.
        Fast::ColourToGrey(frame.source, 3, Reorder(from == uint64_t(F::RGB8), false), frame.target, pixels);
        return;
    }
    if (IsMonoFormat(from) && IsMonoFormat(to)) {
        // Grey replicated into the hub comes back out of it unchanged: skip it.
        for (size_t rowBegin = 0; rowBegin < height; rowBegin += rows) {
            const size_t first = rowBegin * width, count = (std::min(height, rowBegin + rows) - rowBegin) * width;
            uint8_t* direct = to == uint64_t(F::Mono8) ? frame.target + first : job.scratch;
            const uint8_t* grey = ReduceTo8(job.fromLayout, frame.source, first, count, direct);
            if (grey != frame.target + first) WidenFrom8(job.toLayout, grey, frame.target, first, count);
        }
        return;
    }
    if (!HasToStage(to)) ConversionFailure("Pixel format conversion to " + std::string(GetPixelFormatName(to)) + " not yet implemented");
    uint8_t* hub = lease.A(4 * width * rows);
    for (size_t rowBegin = 0; rowBegin < height; rowBegin += rows) {
        const size_t rowEnd = std::min(height, rowBegin + rows);
        FromStrip(job, rowBegin, rowEnd, hub, kHubOrder);
        ToStrip(job, hub, rowBegin, rowEnd);
    }
}

} // namespace Vireo::ImageFactory
