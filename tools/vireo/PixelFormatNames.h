// Pixel formats by name, as users type them.
#ifndef VIREO_TOOL_PIXELFORMATNAMES_H
#define VIREO_TOOL_PIXELFORMATNAMES_H

#include <cstdint>
#include <optional>
#include <string>

namespace VireoTool {

// The code of a pixel format the SDK knows ("BayerRG8", "Mono12p", ...); names compare
// without regard to case. Empty for an unknown name.
std::optional<uint64_t> PixelFormatCode(const std::string& name);

// The code for a name given on the command line; a UsageError for an unknown name.
uint64_t RequirePixelFormat(const std::string& name);

// True for formats whose pixels carry colour: Bayer mosaics, RGB, BGR, YCbCr and the like.
bool IsColourFormat(uint64_t pixelFormat);

} // namespace VireoTool

#endif
