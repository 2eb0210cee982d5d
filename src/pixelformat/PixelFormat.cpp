#include <Vireo/PixelFormat.h>

#include <string>

#include <GenICam.h>

#include "PixelFormatTable.h"

namespace Vireo {
namespace {

// The queries fail with the query's name and the format's name; the source unit is the
// table of custom PFNC formats.
[[noreturn]] void ThrowNotImplemented(const char* query, uint64_t pixelFormat) {
    throw GenICam::InvalidArgumentException(std::string(query) + " not implemented for " + GetPixelFormatName(pixelFormat),
                                            "PFNCCustom", __LINE__);
}

size_t TableValue(uint64_t pixelFormat, uint8_t PixelFormatInfo::*field, const char* query) {
    const PixelFormatInfo* format = FindPixelFormat(pixelFormat);
    if (format == nullptr || format->*field == 0) ThrowNotImplemented(query, pixelFormat);
    return format->*field;
}

} // namespace

const char* GetPixelFormatName(PfncFormat format) { return GetPixelFormatName(static_cast<uint64_t>(format)); }

const char* GetPixelFormatName(uint64_t pixelFormat) {
    const PixelFormatInfo* format = FindPixelFormat(pixelFormat);
    return format != nullptr ? format->name : "UnknownPixelFormat";
}

size_t GetBitsPerPixel(uint64_t pixelFormat) { return (pixelFormat >> 16) & 0xFF; }

size_t GetNumChannels(uint64_t pixelFormat) {
    return TableValue(pixelFormat, &PixelFormatInfo::channels, "GetNumChannels");
}

size_t GetBitsPerChannel(uint64_t pixelFormat) {
    return TableValue(pixelFormat, &PixelFormatInfo::bitsPerChannel, "GetBitsPerChannel");
}

size_t GetBytesPerStep(uint64_t pixelFormat) {
    return TableValue(pixelFormat, &PixelFormatInfo::bytesPerStep, "GetBytesPerStep");
}

size_t GetPixelsPerStep(uint64_t pixelFormat) {
    return TableValue(pixelFormat, &PixelFormatInfo::pixelsPerStep, "GetPixelsPerStep");
}

} // namespace Vireo
