// Direct routines: conversions of deep formats that keep their depth instead of passing
// through the 8-bit hub. They work on 16-bit samples aligned to the most significant bit
// (a Mono12 value v stands for v << 4), so every depth meets every other without a table
// per pair.
//
// The tables are built once, at load, and only read afterwards.
#include <algorithm>
#include <cstring>
#include <iterator>

#include <Vireo/PixelFormat.h>

#include "../primitives/ColourKernels.h"
#include "../primitives/PackedSamples.h"
#include "ConversionStages.h"
#include "FactoryState.h"
#include "SampleBlocks.h"

namespace Vireo::ImageFactory {
namespace {

using F = PfncFormat;
using Primitives::ChannelOrder;
using Primitives::ColourOrder;
using Primitives::Mosaic;
namespace Fast = Primitives::Fast;

constexpr F kDeepMono[] = {F::Mono10, F::Mono10p, F::Mono10Packed, F::Mono12, F::Mono12p, F::Mono12Packed, F::Mono16};
constexpr F kMonoTargetsOf8[] = {F::Mono8,  F::Mono10,  F::Mono10p,      F::Mono10Packed,
                                 F::Mono12, F::Mono12p, F::Mono12Packed, F::Mono16};
// Each grid's mosaics: 8 bits first, then the deep ones.
constexpr F kBayers[4][8] = {
    {F::BayerRG8, F::BayerRG10, F::BayerRG10p, F::BayerRG10Packed, F::BayerRG12, F::BayerRG12p, F::BayerRG12Packed,
     F::BayerRG16},
    {F::BayerGR8, F::BayerGR10, F::BayerGR10p, F::BayerGR10Packed, F::BayerGR12, F::BayerGR12p, F::BayerGR12Packed,
     F::BayerGR16},
    {F::BayerGB8, F::BayerGB10, F::BayerGB10p, F::BayerGB10Packed, F::BayerGB12, F::BayerGB12p, F::BayerGB12Packed,
     F::BayerGB16},
    {F::BayerBG8, F::BayerBG10, F::BayerBG10p, F::BayerBG10Packed, F::BayerBG12, F::BayerBG12p, F::BayerBG12Packed,
     F::BayerBG16},
};

// The samples of a whole one-channel image as 16-bit values aligned to the most significant
// bit, into `wide`.
void LoadWide(uint64_t format, const uint8_t* source, size_t width, size_t height, uint16_t* wide) {
    const SampleLayout layout = SampleLayoutOf(format, width, height);
    if (layout.storage == SampleLayout::Storage::Packed) {
        UnpackRange(layout, 16, source, 0, layout.samples, reinterpret_cast<uint8_t*>(wide));
        return;
    }
    uint32_t values[kSampleBlock];
    const unsigned shift = 16 - layout.bits;
    for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, layout.samples - first);
        LoadSamples(layout, source, first, count, values);
        for (size_t index = 0; index < count; ++index) wide[first + index] = uint16_t(values[index] << shift);
    }
}

// 16-bit most significant bit aligned values into a one-channel image of `format`, each
// truncated to the format's depth.
void StoreWide(uint64_t format, const uint16_t* wide, uint8_t* target, size_t width, size_t height) {
    const SampleLayout layout = SampleLayoutOf(format, width, height);
    uint32_t values[kSampleBlock];
    const unsigned shift = 16 - layout.bits;
    for (size_t first = 0; first < layout.samples; first += kSampleBlock) {
        const size_t count = std::min(kSampleBlock, layout.samples - first);
        for (size_t index = 0; index < count; ++index) values[index] = uint32_t(wide[first + index] >> shift);
        StoreSamples(layout, target, first, count, values);
    }
}

// 16-bit samples written to a caller's destination that may sit at an odd address: through
// scratch space there, straight otherwise.
class WordTarget {
public:
    WordTarget(uint8_t* target, size_t words, uint8_t* scratch)
        : m_target(target), m_bytes(2 * words),
          m_words(reinterpret_cast<uint16_t*>(IsAligned16(target) ? target : scratch)) {}
    uint16_t* Words() const { return m_words; }
    void Finish() const {
        if (reinterpret_cast<uint8_t*>(m_words) != m_target) std::memcpy(m_target, m_words, m_bytes);
    }

private:
    uint8_t* m_target;
    size_t m_bytes;
    uint16_t* m_words;
};

// Bayer at 10 to 16 bits into RGB16 or BGR16 at full depth. Containers keep their values as
// they are (a Bayer12 frame gives RGB16 values up to 4095); packed samples are unpacked to
// the top of 16 bits.
void BayerToColour16(uint64_t from, bool blueFirst, const uint8_t* source, uint8_t* target, size_t width,
                     size_t height, _EBayerAlgorithm algorithm) {
    const size_t pixels = width * height;
    ScratchLease lease;
    const SampleLayout layout = SampleLayoutOf(from, width, height);
    const uint16_t* mosaic = reinterpret_cast<const uint16_t*>(source);
    if (layout.storage == SampleLayout::Storage::Packed || !IsAligned16(source)) {
        uint16_t* wide = reinterpret_cast<uint16_t*>(lease.C(2 * pixels));
        if (layout.storage == SampleLayout::Storage::Packed) UnpackRange(layout, 16, source, 0, pixels, reinterpret_cast<uint8_t*>(wide));
        else std::memcpy(wide, source, 2 * pixels);
        mosaic = wide;
    }
    const WordTarget out(target, 3 * pixels, lease.A(6 * pixels));
    Demosaic(Mosaic<uint16_t>{mosaic, width, height, GridOf(from)}, algorithm, 0, height, out.Words(),
             ColourOrder{3, blueFirst});
    out.Finish();
}

// Bayer into a mono format: demosaiced at the source's depth, then weighted to grey like the
// hub's to stage (blue 0.299, green 0.587, red 0.114), then to the target's depth.
void BayerToMono(uint64_t from, uint64_t to, const uint8_t* source, uint8_t* target, size_t width, size_t height,
                 _EBayerAlgorithm algorithm) {
    const size_t pixels = width * height;
    ScratchLease lease;
    const Primitives::BayerGrid grid = GridOf(from);
    constexpr ColourOrder kBlueFirst{3, true};
    const ChannelOrder weights{{0, 1, 2}};
    if (SampleLayoutOf(from, width, height).bits == 8) {
        uint8_t* colour = lease.A(3 * pixels);
        Demosaic(Mosaic<uint8_t>{source, width, height, grid}, algorithm, 0, height, colour, kBlueFirst);
        uint8_t* grey = to == uint64_t(F::Mono8) ? target : lease.B(pixels);
        Fast::ColourToGrey(colour, 3, weights, grey, pixels);
        if (grey == target) return;
        // The 8-bit grey at the top of the deeper sample.
        uint16_t* wide = reinterpret_cast<uint16_t*>(lease.C(2 * pixels));
        for (size_t index = 0; index < pixels; ++index) wide[index] = uint16_t(grey[index] << 8);
        StoreWide(to, wide, target, width, height);
        return;
    }
    uint16_t* mosaic = reinterpret_cast<uint16_t*>(lease.C(2 * pixels));
    LoadWide(from, source, width, height, mosaic);
    uint16_t* colour = reinterpret_cast<uint16_t*>(lease.A(6 * pixels));
    Demosaic(Mosaic<uint16_t>{mosaic, width, height, grid}, algorithm, 0, height, colour, kBlueFirst);
    uint16_t* grey = reinterpret_cast<uint16_t*>(lease.B(2 * pixels));
    Fast::ColourToGrey(colour, 3, weights, grey, pixels);
    StoreWide(to, grey, target, width, height);
}

// RGB16 or BGR16 to a deep mono format: grey at 16 bits with the hub's weighting of the
// stored order (blue 0.299, red 0.114).
void Colour16ToMono(bool redFirst, uint64_t to, const uint8_t* source, uint8_t* target, size_t width, size_t height) {
    const size_t pixels = width * height;
    ScratchLease lease;
    const uint16_t* colour = reinterpret_cast<const uint16_t*>(source);
    if (!IsAligned16(source)) {
        uint8_t* copy = lease.C(6 * pixels);
        std::memcpy(copy, source, 6 * pixels);
        colour = reinterpret_cast<const uint16_t*>(copy);
    }
    uint16_t* grey = reinterpret_cast<uint16_t*>(lease.B(2 * pixels));
    Fast::ColourToGrey(colour, 3, redFirst ? ChannelOrder{{2, 1, 0}} : ChannelOrder{{0, 1, 2}}, grey, pixels);
    StoreWide(to, grey, target, width, height);
}

// A deep mono format to RGB16 or BGR16: the value widened to 16 bits in every channel.
void MonoToColour16(uint64_t from, const uint8_t* source, uint8_t* target, size_t width, size_t height) {
    const size_t pixels = width * height;
    ScratchLease lease;
    uint16_t* wide = reinterpret_cast<uint16_t*>(lease.B(2 * pixels));
    LoadWide(from, source, width, height, wide);
    const WordTarget out(target, 3 * pixels, lease.A(6 * pixels));
    Fast::GreyToColour(wide, out.Words(), 3, 0, pixels);
    out.Finish();
}

// Between deep mono formats: through the 16-bit value (Mono12p to Mono12: unpack to the top
// of 16 bits, then >> 4; Mono10 to Mono12p: << 6, then pack from 16 bits).
void MonoToMono(uint64_t from, uint64_t to, const uint8_t* source, uint8_t* target, size_t width, size_t height) {
    ScratchLease lease;
    uint16_t* wide = reinterpret_cast<uint16_t*>(lease.B(2 * width * height));
    LoadWide(from, source, width, height, wide);
    StoreWide(to, wide, target, width, height);
}

std::map<FormatPair, ShortcutBayerRoutine> BuildBayerShortcuts() {
    std::map<FormatPair, ShortcutBayerRoutine> table;
    for (const auto& grid : kBayers) {
        for (size_t depth = 1; depth < std::size(grid); ++depth) {
            const uint64_t from = uint64_t(grid[depth]);
            for (const bool blueFirst : {false, true})
                table[{from, uint64_t(blueFirst ? F::BGR16 : F::RGB16)}] =
                    [from, blueFirst](const uint8_t* source, uint8_t* target, size_t width, size_t height,
                                      _EBayerAlgorithm algorithm) {
                        BayerToColour16(from, blueFirst, source, target, width, height, algorithm);
                    };
            for (const F to : kDeepMono)
                table[{from, uint64_t(to)}] = [from, to](const uint8_t* source, uint8_t* target, size_t width,
                                                         size_t height, _EBayerAlgorithm algorithm) {
                    BayerToMono(from, uint64_t(to), source, target, width, height, algorithm);
                };
        }
        const uint64_t from8 = uint64_t(grid[0]);
        for (const F to : kMonoTargetsOf8)
            table[{from8, uint64_t(to)}] = [from8, to](const uint8_t* source, uint8_t* target, size_t width,
                                                       size_t height, _EBayerAlgorithm algorithm) {
                BayerToMono(from8, uint64_t(to), source, target, width, height, algorithm);
            };
    }
    return table;
}

std::map<FormatPair, ShortcutRoutine> BuildShortcuts() {
    std::map<FormatPair, ShortcutRoutine> table;
    for (const F mono : kDeepMono) {
        for (const F colour : {F::RGB16, F::BGR16}) {
            const bool redFirst = colour == F::RGB16;
            table[{uint64_t(colour), uint64_t(mono)}] = [redFirst, mono](const uint8_t* source, uint8_t* target,
                                                                       size_t width, size_t height) {
                Colour16ToMono(redFirst, uint64_t(mono), source, target, width, height);
            };
            table[{uint64_t(mono), uint64_t(colour)}] = [mono](const uint8_t* source, uint8_t* target, size_t width,
                                                               size_t height) {
                MonoToColour16(uint64_t(mono), source, target, width, height);
            };
        }
        for (const F other : kDeepMono)
            if (other != mono)
                table[{uint64_t(mono), uint64_t(other)}] = [mono, other](const uint8_t* source, uint8_t* target,
                                                                         size_t width, size_t height) {
                    MonoToMono(uint64_t(mono), uint64_t(other), source, target, width, height);
                };
    }
    return table;
}

} // namespace

void Demosaic(const Mosaic<uint8_t>& mosaic, _EBayerAlgorithm algorithm, size_t rowBegin, size_t rowEnd, uint8_t* out,
              ColourOrder order) {
    if (algorithm == BayerAlgorithmAHD) Fast::DemosaicAhd(mosaic, rowBegin, rowEnd, out, order);
    else Fast::DemosaicBilinear(mosaic, rowBegin, rowEnd, out, order);
}

void Demosaic(const Mosaic<uint16_t>& mosaic, _EBayerAlgorithm algorithm, size_t rowBegin, size_t rowEnd,
              uint16_t* out, ColourOrder order) {
    if (algorithm == BayerAlgorithmAHD) Fast::DemosaicAhd(mosaic, rowBegin, rowEnd, out, order);
    else Fast::DemosaicBilinear(mosaic, rowBegin, rowEnd, out, order);
}

const std::map<FormatPair, ShortcutBayerRoutine> g_shortcutBayerMap = BuildBayerShortcuts();
const std::map<FormatPair, ShortcutRoutine> g_shortcutMap = BuildShortcuts();

} // namespace Vireo::ImageFactory
