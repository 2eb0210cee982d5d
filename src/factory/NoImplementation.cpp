#include "NoImplementation.h"

#include <cstring>
#include <string>

#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"

namespace Vireo {
namespace {

bool IsKnown(uint64_t pixelFormat) { return std::strcmp(GetPixelFormatName(pixelFormat), "UnknownPixelFormat") != 0; }

} // namespace

IImage* ProcessSoftwareLUT_NoImpl(IImage*, uint8_t*, size_t, uint64_t pixelFormat) {
    const std::string message =
        IsKnown(pixelFormat)
            ? std::string("Process software LUT attempted but unavailable on pixel format ") + GetPixelFormatName(pixelFormat)
            : std::string("Process software LUT not available");
    VIREO_THROW_PLAIN(LogicalError, message, "ImageFactory", "ProcessSoftwareLUT");
}

IImage* SelectBitsAndScale_NoImpl(IImage*, size_t, double, uint64_t pixelFormat) {
    const std::string message =
        IsKnown(pixelFormat)
            ? std::string("Select bits and scale attempted but unavailable on pixel format ") + GetPixelFormatName(pixelFormat)
            : std::string("Select bits and scale not available");
    VIREO_THROW_PLAIN(LogicalError, message, "ImageFactory", "SelectBitsAndScale");
}

} // namespace Vireo
