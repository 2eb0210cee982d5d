#include "PixelFormatNames.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include <Vireo/PixelFormat.h>

#include "ToolError.h"

namespace VireoTool {
namespace {

struct NamedFormat {
    const char* name;
    uint64_t code;
};

constexpr NamedFormat kFormats[] = {
#include "PixelFormatNames.inc"
};

bool SameIgnoringCase(const std::string& left, const char* right) {
    size_t index = 0;
    for (; index < left.size() && right[index] != '\0'; ++index)
        if (std::tolower(static_cast<unsigned char>(left[index])) != std::tolower(static_cast<unsigned char>(right[index])))
            return false;
    return index == left.size() && right[index] == '\0';
}

} // namespace

std::optional<uint64_t> PixelFormatCode(const std::string& name) {
    const auto found = std::find_if(std::begin(kFormats), std::end(kFormats),
                                    [&](const NamedFormat& format) { return SameIgnoringCase(name, format.name); });
    if (found == std::end(kFormats)) return std::nullopt;
    return found->code;
}

uint64_t RequirePixelFormat(const std::string& name) {
    const std::optional<uint64_t> code = PixelFormatCode(name);
    if (!code) throw UsageError("unknown pixel format '" + name + "'");
    return *code;
}

bool IsColourFormat(uint64_t pixelFormat) {
    // By family name: channel counts do not tell, since 3D coordinates have several channels
    // and no colour.
    const std::string name = Vireo::GetPixelFormatName(pixelFormat);
    for (const char* family : {"Bayer", "RGB", "BGR", "YCbCr", "YUV"})
        if (name.find(family) != std::string::npos) return true;
    return false;
}

} // namespace VireoTool
