// Lookup in the table of pixel formats.
#ifndef VIREO_SRC_PIXELFORMAT_PIXELFORMATTABLE_H
#define VIREO_SRC_PIXELFORMAT_PIXELFORMATTABLE_H

#include <cstdint>
#include <span>

namespace Vireo {

struct PixelFormatInfo {
    uint64_t code;
    const char* name;
    uint8_t channels;        // 0: not defined for this format
    uint8_t bitsPerChannel;  // 0: not defined (components of different depths)
    uint8_t bytesPerStep;
    uint8_t pixelsPerStep;
    bool hasDescriptor;
};

// The row of a code, or null for a code that is not known. O(log n).
const PixelFormatInfo* FindPixelFormat(uint64_t code) noexcept;

// Every known format, sorted by code.
std::span<const PixelFormatInfo> AllPixelFormats() noexcept;

} // namespace Vireo

#endif
