// Pixel-format conversion. Conversions without a direct routine pass through one hub format,
// BGRa8: a "from" stage expands the source into it, a "to" stage reduces it into the target.
// Direct routines keep the full depth of formats beyond 8 bits (ConversionShortcuts.cpp).
#include <Vireo/ImageFactory.h>

#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"
#include "ConversionStages.h"
#include "FactoryChecks.h"
#include "FactoryState.h"

namespace Vireo {

std::mutex g_ippMutex;
uint8_t g_ippInit = 0;

namespace ImageFactory {

using F = PfncFormat;

void ConversionFailure(const std::string& message) { VIREO_THROW_PLAIN(Runtime, message, "ImageFactory", "Convert"); }

bool IsMonoFormat(uint64_t format) {
    switch (F(format)) {
    case F::Mono8: case F::Mono10: case F::Mono12: case F::Mono16: case F::Mono24: case F::Mono10p:
    case F::Mono10Packed: case F::Mono12p: case F::Mono12Packed:
        return true;
    default:
        return false;
    }
}

bool IsBayerFormat(uint64_t format) { return std::string(GetPixelFormatName(format)).rfind("Bayer", 0) == 0; }

// The grid code numbers the patterns by their first two samples: 0 BGGR, 1 RGGB, 2 GBRG, 3 GRBG.
Primitives::BayerGrid GridOf(uint64_t bayerFormat) {
    const std::string name = GetPixelFormatName(bayerFormat);
    if (name.compare(5, 2, "BG") == 0) return Primitives::BayerGrid::BGGR;
    if (name.compare(5, 2, "RG") == 0) return Primitives::BayerGrid::RGGB;
    if (name.compare(5, 2, "GB") == 0) return Primitives::BayerGrid::GBRG;
    return Primitives::BayerGrid::GRBG;
}

namespace {

bool HoldsSeveralImages(uint64_t format) {
    const std::string name = GetPixelFormatName(format);
    return name.rfind("Dual", 0) == 0 || name.rfind("Quad", 0) == 0 || name.rfind("Polarized", 0) == 0;
}

// One conversion into `target` (ConvertLen bytes, new for Convert, the caller's for
// ConvertShallow).
void StandardProcess(IImage* source, uint8_t* target, uint64_t to, _EBayerAlgorithm algorithm) {
    std::lock_guard lock(g_ippMutex);
    // The kernels choose their instruction set on first use; nothing can fail here.
    g_ippInit = 1;
    const ConversionFrame frame{source->GetData(), target, source->GetWidth(), source->GetHeight(),
                                source->GetPixelFormat(), to, algorithm};
    const uint64_t from = frame.from;
    if (from == to) {
        std::memcpy(target, frame.source, size_t(ExpectedLength(frame.width, frame.height, to)));
        return;
    }
    if (IsBayerFormat(from) && algorithm != BayerAlgorithmBilinear && algorithm != BayerAlgorithmAHD)
        ConversionFailure("Conversion error, unknown algorithm");
    if (to == uint64_t(F::BGRa8)) {
        RunThroughHub(frame);
        return;
    }
    if (IsBayerFormat(from)) {
        const auto shortcut = g_shortcutBayerMap.find({from, to});
        if (shortcut != g_shortcutBayerMap.end()) {
            shortcut->second(frame.source, target, frame.width, frame.height, algorithm);
            return;
        }
    }
    const auto shortcut = g_shortcutMap.find({from, to});
    if (shortcut != g_shortcutMap.end()) {
        shortcut->second(frame.source, target, frame.width, frame.height);
        return;
    }
    // The source is refused before the target: the from stage comes first.
    if (!HasFromStage(from))
        ConversionFailure("Pixel format conversion from " + std::string(GetPixelFormatName(from)) + " not yet implemented");
    if (IsBayerFormat(to))
        ConversionFailure("To pixel format " + std::string(GetPixelFormatName(to)) + " not available, reverse bayer interpolation not supported");
    if (HoldsSeveralImages(to))
        ConversionFailure("To pixel format " + std::string(GetPixelFormatName(to)) + " not supported due to multiple-channel ambiguity");
    RunThroughHub(frame);
}

} // namespace

size_t ConvertLen(IImage* pImage, uint64_t pixelFormat) try {
    constexpr const char* name = "ConvertLen";
    CheckInit(name);
    CheckParam(pImage, name);
    CheckSourceSize(pImage, name);
    return size_t(CheckedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat, name));
} catch (const std::bad_alloc&) {
    OutOfMemory("ConvertLen");
}

IImage* Convert(IImage* pImage, uint64_t pixelFormat, _EBayerAlgorithm bayerAlgo) try {
    constexpr const char* name = "Convert";
    CheckInit(name);
    CheckParam(pImage, name);
    CheckSourceSize(pImage, name);
    const size_t length = size_t(CheckedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat, name));
    // Every stage writes every byte of its target, except those that leave bytes as they
    // were: the low byte of Mono16 samples made from 8-bit grey and the pixels of an
    // incomplete 4:1:1 group. Only those targets are cleared first.
    const std::string target = GetPixelFormatName(pixelFormat);
    const bool clear = pixelFormat == uint64_t(F::Mono16) || target.find("411") != std::string::npos;
    std::unique_ptr<uint8_t[]> block(NewBlock(length, clear, name));
    StandardProcess(pImage, block.get(), pixelFormat, bayerAlgo);
    auto* image = new Image(block.get(), length, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("Convert");
}

IImage* ConvertShallow(uint8_t* pDst, size_t dstLen, IImage* pImage, uint64_t pixelFormat,
                       _EBayerAlgorithm bayerAlgo) try {
    constexpr const char* name = "ConvertShallow";
    CheckInit(name);
    CheckParam(pDst, name);
    CheckParam(dstLen, name);
    CheckParam(pImage, name);
    CheckSourceSize(pImage, name);
    CheckLen(dstLen, CheckedLength(pImage->GetWidth(), pImage->GetHeight(), pixelFormat, name), name);
    StandardProcess(pImage, pDst, pixelFormat, bayerAlgo);
    auto* image = new Image(pDst, dstLen, pImage->GetWidth(), pImage->GetHeight(), pixelFormat);
    image->SetShallow(true);
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("ConvertShallow");
}

} // namespace ImageFactory
} // namespace Vireo
