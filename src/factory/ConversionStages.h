// The parts of a pixel-format conversion: the BGRa8 hub with its from and to stages, and the
// direct routines that keep the full depth of deep formats. Conversion.cpp picks among them.
#ifndef VIREO_SRC_FACTORY_CONVERSIONSTAGES_H
#define VIREO_SRC_FACTORY_CONVERSIONSTAGES_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include <Vireo/ImageFactory.h>

#include "../primitives/Demosaic.h"

namespace Vireo::ImageFactory {

// One conversion: the whole source, the whole (zeroed or caller's) target.
struct ConversionFrame {
    const uint8_t* source;
    uint8_t* target;
    size_t width;
    size_t height;
    uint64_t from;
    uint64_t to;
    _EBayerAlgorithm algorithm;
};

[[noreturn]] void ConversionFailure(const std::string& message);

// 16-bit samples can be read in place only at an even address; a caller's buffer may not be.
inline bool IsAligned16(const void* pointer) { return reinterpret_cast<uintptr_t>(pointer) % alignof(uint16_t) == 0; }

bool IsMonoFormat(uint64_t format);
bool IsBayerFormat(uint64_t format);
Primitives::BayerGrid GridOf(uint64_t bayerFormat);

bool HasFromStage(uint64_t format);
bool HasToStage(uint64_t format);

// The source through the BGRa8 hub into the target (or, for a BGRa8 target, the from stage
// alone). Fails with the stated messages where a stage is missing.
void RunThroughHub(const ConversionFrame& frame);

// Direct routines, keyed by (source format, target format).
using ShortcutBayerRoutine = std::function<void(const uint8_t*, uint8_t*, size_t, size_t, _EBayerAlgorithm)>;
using ShortcutRoutine = std::function<void(const uint8_t*, uint8_t*, size_t, size_t)>;
using FormatPair = std::pair<uint64_t, uint64_t>;
extern const std::map<FormatPair, ShortcutBayerRoutine> g_shortcutBayerMap;
extern const std::map<FormatPair, ShortcutRoutine> g_shortcutMap;

// The demosaicing kernel of an algorithm, 8 and 16 bits (the caller has checked the value).
void Demosaic(const Primitives::Mosaic<uint8_t>& mosaic, _EBayerAlgorithm algorithm, size_t rowBegin, size_t rowEnd,
              uint8_t* out, Primitives::ColourOrder order);
void Demosaic(const Primitives::Mosaic<uint16_t>& mosaic, _EBayerAlgorithm algorithm, size_t rowBegin, size_t rowEnd,
              uint16_t* out, Primitives::ColourOrder order);

} // namespace Vireo::ImageFactory

#endif
