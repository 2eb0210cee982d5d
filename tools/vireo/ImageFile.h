// Images in files: PNG through OpenCV's codecs, raw pixel data with a JSON sidecar, and the
// factory images they become.
#ifndef VIREO_TOOL_IMAGEFILE_H
#define VIREO_TOOL_IMAGEFILE_H

#include <cstdint>
#include <optional>
#include <string>

#include <Vireo/ImageFactory.h>

namespace VireoTool {

// A factory image, given back to the factory on destruction.
class OwnedImage {
public:
    OwnedImage() = default;
    explicit OwnedImage(Vireo::IImage* image) : m_image(image) {}
    OwnedImage(OwnedImage&& other) noexcept : m_image(other.m_image) { other.m_image = nullptr; }
    OwnedImage& operator=(OwnedImage&& other) noexcept;
    OwnedImage(const OwnedImage&) = delete;
    OwnedImage& operator=(const OwnedImage&) = delete;
    ~OwnedImage();

    Vireo::IImage* Get() const { return m_image; }
    Vireo::IImage* operator->() const { return m_image; }
    explicit operator bool() const { return m_image != nullptr; }

private:
    Vireo::IImage* m_image = nullptr;
};

// Geometry and pixel format of raw pixel data; the sidecar file holds it as
// {"width": 2448, "height": 2048, "pixelFormat": "BayerRG8"}.
struct RawLayout {
    size_t width = 0;
    size_t height = 0;
    uint64_t pixelFormat = 0;
};

// A copy of the image in pixelFormat: Convert, or a plain copy when it already is in it.
OwnedImage ConvertImage(Vireo::IImage* image, uint64_t pixelFormat, Vireo::_EBayerAlgorithm algorithm);

// The pixel format a PNG file stores an image of this format in: Mono8 or Mono16 for grey,
// BGR8, BGRa8 or BGR16 for colour; Bayer mosaics stay mosaics (grey of their sample width).
uint64_t PngStorageFormat(uint64_t pixelFormat);

// The image in its PNG storage format: empty when it already is (a Bayer mosaic included), a
// ToolError when no PNG file can hold it.
OwnedImage ToPngStorage(Vireo::IImage* image, Vireo::_EBayerAlgorithm algorithm);

// Writes the image as a PNG file, 16 bits per sample where its format is deeper than 8 bits.
void WritePng(const std::string& path, Vireo::IImage* image, Vireo::_EBayerAlgorithm algorithm);

// Reads a PNG file: 8- or 16-bit grey becomes Mono8 or Mono16, colour BGR8 or BGR16, colour
// with alpha BGRa8. `as` reinterprets the samples as another format of the same bits per
// pixel (a Bayer mosaic saved as grey, for instance).
OwnedImage ReadPng(const std::string& path, std::optional<uint64_t> as);

// The sidecar of a raw file: "<path>.json", or the path with its extension replaced by
// ".json" when only that one exists.
std::string SidecarPath(const std::string& rawPath);
RawLayout ReadSidecar(const std::string& sidecarPath);
void WriteSidecar(const std::string& sidecarPath, const RawLayout& layout);

OwnedImage ReadRaw(const std::string& path, const RawLayout& layout);
// Writes the pixel data to path and its layout to "<path>.json".
void WriteRaw(const std::string& path, Vireo::IImage* image);

bool HasPngExtension(const std::string& path);

} // namespace VireoTool

#endif
