#include "Convert.h"

#include <optional>

#include <Vireo/PixelFormat.h>

#include "ImageFile.h"
#include "PixelFormatNames.h"
#include "ToolError.h"

namespace VireoTool {
namespace {

// The factory without a system: converting files needs no camera and no producer.
class FactorySession {
public:
    FactorySession() : m_opened(!Vireo::HasImageFactoryInit()) {
        if (m_opened) Vireo::OpenImageFactory();
    }
    FactorySession(const FactorySession&) = delete;
    FactorySession& operator=(const FactorySession&) = delete;
    ~FactorySession() {
        if (m_opened) Vireo::CloseImageFactory();
    }

private:
    bool m_opened;
};

} // namespace

int ConvertFile(const ConvertOptions& options, std::ostream& out) {
    const uint64_t target = RequirePixelFormat(options.to);
    const std::optional<uint64_t> from =
        options.from.empty() ? std::nullopt : std::optional<uint64_t>(RequirePixelFormat(options.from));
    const bool pngInput = HasPngExtension(options.input);
    if (pngInput && (options.width != 0 || options.height != 0))
        throw UsageError("--width and --height are for raw input; a PNG file has its own size");

    RawLayout layout;
    if (!pngInput) {
        if (from || options.width != 0 || options.height != 0) {
            if (!from || options.width == 0 || options.height == 0)
                throw UsageError("raw input without a sidecar needs all of --from, --width and --height");
            layout = {options.width, options.height, *from};
        } else {
            layout = ReadSidecar(SidecarPath(options.input));
        }
    }

    FactorySession factory;
    OwnedImage source = pngInput ? ReadPng(options.input, from) : ReadRaw(options.input, layout);
    OwnedImage converted = ConvertImage(source.Get(), target, options.algorithm);
    if (HasPngExtension(options.output)) {
        WritePng(options.output, converted.Get(), options.algorithm);
        out << options.output << ": " << converted->GetWidth() << 'x' << converted->GetHeight() << ' '
            << Vireo::GetPixelFormatName(target) << " as PNG\n";
    } else {
        WriteRaw(options.output, converted.Get());
        out << options.output << ": " << converted->GetWidth() << 'x' << converted->GetHeight() << ' '
            << Vireo::GetPixelFormatName(target) << " raw, layout in " << options.output << ".json\n";
    }
    return kExitSuccess;
}

} // namespace VireoTool
