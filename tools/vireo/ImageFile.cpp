#include "ImageFile.h"

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <vector>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include <GenICam.h>
#include <Vireo/PixelFormat.h>

#include "PixelFormatNames.h"
#include "ToolError.h"

namespace VireoTool {
namespace {

bool IsBayer(uint64_t pixelFormat) { return std::string(Vireo::GetPixelFormatName(pixelFormat)).rfind("Bayer", 0) == 0; }

bool HasAlpha(uint64_t pixelFormat) {
    const std::string name = Vireo::GetPixelFormatName(pixelFormat);
    return name.find("a8") != std::string::npos || name.find("a16") != std::string::npos;
}

// Significant bits of one sample; the table's answer, or the container's when it has none.
size_t SampleBits(uint64_t pixelFormat) {
    try {
        return Vireo::GetBitsPerChannel(pixelFormat);
    } catch (const std::exception&) {
        return Vireo::GetBitsPerPixel(pixelFormat);
    }
}

int OpenCvType(uint64_t storageFormat) {
    switch (storageFormat) {
    case Vireo::PfncFormat::Mono8: return CV_8UC1;
    case Vireo::PfncFormat::Mono16: return CV_16UC1;
    case Vireo::PfncFormat::BGR8: return CV_8UC3;
    case Vireo::PfncFormat::BGRa8: return CV_8UC4;
    case Vireo::PfncFormat::BGR16: return CV_16UC3;
    default: return -1;
    }
}

std::string FormatName(uint64_t pixelFormat) { return Vireo::GetPixelFormatName(pixelFormat); }

// OpenCV's codecs are entered by one thread at a time: with concurrent cv::imwrite calls,
// ThreadSanitizer sees one call read the file name of another inside the library, so they
// are not trusted with concurrency. Conversion and decompression still run in parallel.
std::mutex g_codecLock;

} // namespace

OwnedImage& OwnedImage::operator=(OwnedImage&& other) noexcept {
    if (this != &other) {
        OwnedImage old(std::move(*this));
        m_image = other.m_image;
        other.m_image = nullptr;
    }
    return *this;
}

OwnedImage::~OwnedImage() {
    if (m_image == nullptr) return;
    try {
        Vireo::ImageFactory::Destroy(m_image);
    } catch (...) {
        // A factory already closed has freed its images.
    }
}

OwnedImage ConvertImage(Vireo::IImage* image, uint64_t pixelFormat, Vireo::_EBayerAlgorithm algorithm) {
    if (image->GetPixelFormat() == pixelFormat) return OwnedImage(Vireo::ImageFactory::Copy(image));
    try {
        return OwnedImage(Vireo::ImageFactory::Convert(image, pixelFormat, algorithm));
    } catch (const GenICam::GenericException& error) {
        throw ToolError("cannot convert " + FormatName(image->GetPixelFormat()) + " to " + FormatName(pixelFormat) +
                        ": " + OneLine(error.GetDescription()));
    }
}

uint64_t PngStorageFormat(uint64_t pixelFormat) {
    const bool deep = SampleBits(pixelFormat) > 8;
    if (IsBayer(pixelFormat) || !IsColourFormat(pixelFormat)) return deep ? Vireo::PfncFormat::Mono16 : Vireo::PfncFormat::Mono8;
    if (deep) return Vireo::PfncFormat::BGR16;
    return HasAlpha(pixelFormat) ? Vireo::PfncFormat::BGRa8 : Vireo::PfncFormat::BGR8;
}

OwnedImage ToPngStorage(Vireo::IImage* image, Vireo::_EBayerAlgorithm algorithm) {
    const uint64_t format = image->GetPixelFormat();
    const uint64_t storage = PngStorageFormat(format);
    if (IsBayer(format)) {
        // A mosaic is kept as it is, its samples as grey; demosaicing is what --to and
        // --format are for.
        if (Vireo::GetBitsPerPixel(format) != Vireo::GetBitsPerPixel(storage))
            throw ToolError("a PNG file cannot hold packed " + FormatName(format) +
                            " samples; choose an unpacked or a colour format");
        return OwnedImage();
    }
    if (format == storage) return OwnedImage();
    return ConvertImage(image, storage, algorithm);
}

void WritePng(const std::string& path, Vireo::IImage* image, Vireo::_EBayerAlgorithm algorithm) {
    const OwnedImage converted = ToPngStorage(image, algorithm);
    Vireo::IImage* stored = converted ? converted.Get() : image;
    const uint64_t storage = PngStorageFormat(image->GetPixelFormat());
    const int rows = int(stored->GetHeight()), columns = int(stored->GetWidth());
    const size_t rowBytes = stored->GetWidth() * Vireo::GetBitsPerPixel(storage) / 8;
    const cv::Mat pixels(rows, columns, OpenCvType(storage), const_cast<uint8_t*>(stored->GetData()), rowBytes);
    bool written = false;
    try {
        std::lock_guard lock(g_codecLock);
        written = cv::imwrite(path, pixels);
    } catch (const cv::Exception& error) {
        throw ToolError("cannot write " + path + ": " + OneLine(error.what()));
    }
    if (!written) throw ToolError("cannot write " + path);
}

OwnedImage ReadPng(const std::string& path, std::optional<uint64_t> as) {
    if (!std::filesystem::exists(path)) throw ToolError("cannot read " + path + ": no such file");
    cv::Mat pixels;
    try {
        std::lock_guard lock(g_codecLock);
        pixels = cv::imread(path, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& error) {
        throw ToolError("cannot read " + path + ": " + OneLine(error.what()));
    }
    if (pixels.empty()) throw ToolError("cannot read " + path + ": not an image file OpenCV can decode");
    uint64_t format = 0;
    switch (pixels.type()) {
    case CV_8UC1: format = Vireo::PfncFormat::Mono8; break;
    case CV_16UC1: format = Vireo::PfncFormat::Mono16; break;
    case CV_8UC3: format = Vireo::PfncFormat::BGR8; break;
    case CV_16UC3: format = Vireo::PfncFormat::BGR16; break;
    case CV_8UC4: format = Vireo::PfncFormat::BGRa8; break;
    default: throw ToolError(path + ": samples of this kind (" + std::to_string(pixels.channels()) +
                             " channels, depth " + std::to_string(pixels.depth()) + ") are not supported");
    }
    if (as && *as != format) {
        if (Vireo::GetBitsPerPixel(*as) != Vireo::GetBitsPerPixel(format))
            throw UsageError(path + " holds " + FormatName(format) + " pixels (" +
                             std::to_string(Vireo::GetBitsPerPixel(format)) + " bits); --from " + FormatName(*as) +
                             " takes " + std::to_string(Vireo::GetBitsPerPixel(*as)));
        format = *as;
    }
    if (!pixels.isContinuous()) pixels = pixels.clone();
    const size_t bytes = pixels.total() * pixels.elemSize();
    return OwnedImage(Vireo::ImageFactory::Create(pixels.data, bytes, size_t(pixels.cols), size_t(pixels.rows), format));
}

std::string SidecarPath(const std::string& rawPath) {
    const std::string appended = rawPath + ".json";
    if (std::filesystem::exists(appended)) return appended;
    const std::string replaced = std::filesystem::path(rawPath).replace_extension(".json").string();
    if (replaced != rawPath && std::filesystem::exists(replaced)) return replaced;
    return appended;
}

RawLayout ReadSidecar(const std::string& sidecarPath) {
    std::ifstream file(sidecarPath);
    if (!file) throw ToolError("cannot read " + sidecarPath + " (give --from, --width and --height instead)");
    nlohmann::json description;
    try {
        file >> description;
    } catch (const nlohmann::json::exception& error) {
        throw ToolError(sidecarPath + " is not valid JSON: " + OneLine(error.what()));
    }
    const auto positive = [&](const char* key) {
        if (!description.is_object() || !description.contains(key) || !description[key].is_number_unsigned() ||
            description[key].get<uint64_t>() == 0)
            throw ToolError(sidecarPath + ": \"" + key + "\" must be a positive integer");
        return size_t(description[key].get<uint64_t>());
    };
    RawLayout layout;
    layout.width = positive("width");
    layout.height = positive("height");
    if (!description.contains("pixelFormat") || !description["pixelFormat"].is_string())
        throw ToolError(sidecarPath + ": \"pixelFormat\" must be the name of a pixel format");
    const std::string name = description["pixelFormat"].get<std::string>();
    const std::optional<uint64_t> code = PixelFormatCode(name);
    if (!code) throw ToolError(sidecarPath + ": unknown pixel format '" + name + "'");
    layout.pixelFormat = *code;
    return layout;
}

void WriteSidecar(const std::string& sidecarPath, const RawLayout& layout) {
    const nlohmann::json description = {{"width", layout.width},
                                        {"height", layout.height},
                                        {"pixelFormat", Vireo::GetPixelFormatName(layout.pixelFormat)}};
    std::ofstream file(sidecarPath, std::ios::trunc);
    file << description.dump(1) << '\n';
    file.close();
    if (!file) throw ToolError("cannot write " + sidecarPath);
}

OwnedImage ReadRaw(const std::string& path, const RawLayout& layout) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw ToolError("cannot read " + path + ": " + std::strerror(errno));
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const uint64_t expected = Vireo::ImageFactory::ExpectedLength(layout.width, layout.height, layout.pixelFormat);
    if (bytes.size() != expected)
        throw ToolError(path + " holds " + std::to_string(bytes.size()) + " bytes; a " + std::to_string(layout.width) +
                        "x" + std::to_string(layout.height) + " " + FormatName(layout.pixelFormat) + " image takes " +
                        std::to_string(expected));
    return OwnedImage(Vireo::ImageFactory::Create(bytes.data(), bytes.size(), layout.width, layout.height, layout.pixelFormat));
}

void WriteRaw(const std::string& path, Vireo::IImage* image) {
    const uint64_t bytes =
        Vireo::ImageFactory::ExpectedLength(image->GetWidth(), image->GetHeight(), image->GetPixelFormat());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(image->GetData()), std::streamsize(bytes));
    file.close();
    if (!file) throw ToolError("cannot write " + path);
    WriteSidecar(path + ".json", {image->GetWidth(), image->GetHeight(), image->GetPixelFormat()});
}

bool HasPngExtension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
    return extension == ".png";
}

} // namespace VireoTool
