// The factory's compressed images: wrapping QOI streams, decompressing them into plain
// images, compressing plain images, and giving them back.
#include <Vireo/ImageFactory.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <GenTL/GenTLExtensions.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/Image.h>
#include <Vireo/PixelFormat.h>
#include <Vireo/QoiCodec.h>

#include "../transport/Errors.h"
#include "FactoryChecks.h"
#include "FactoryState.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";
constexpr const char* kDecoder = "QOIDecompressImage";

// Each compressed format beside the plain one it holds.
struct QoiPair {
    PfncFormat compressed;
    PfncFormat plain;
};
constexpr QoiPair kQoiFormats[] = {
    {PfncFormat::QOI_Mono8, PfncFormat::Mono8},
    {PfncFormat::QOI_BayerGR8, PfncFormat::BayerGR8},
    {PfncFormat::QOI_BayerRG8, PfncFormat::BayerRG8},
    {PfncFormat::QOI_BayerGB8, PfncFormat::BayerGB8},
    {PfncFormat::QOI_BayerBG8, PfncFormat::BayerBG8},
    {PfncFormat::QOI_RGB8, PfncFormat::RGB8},
    {PfncFormat::QOI_BGR8, PfncFormat::BGR8},
    {PfncFormat::QOI_YCbCr8, PfncFormat::YCbCr8},
    {PfncFormat::QOI_YCbCr8_CbYCr, PfncFormat::YCbCr8_CbYCr},
};

const QoiPair* ByCompressed(uint64_t format) {
    for (const QoiPair& pair : kQoiFormats)
        if (uint64_t(pair.compressed) == format) return &pair;
    return nullptr;
}

const QoiPair* ByPlain(uint64_t format) {
    for (const QoiPair& pair : kQoiFormats)
        if (uint64_t(pair.plain) == format) return &pair;
    return nullptr;
}

[[noreturn]] void DecodeError(const std::string& message) { VIREO_THROW_PLAIN(Runtime, message, kUnit, kDecoder); }

// A decoded image that keeps its compressed source's frame id and timestamps.
class DecodedImage : public Image {
public:
    DecodedImage(uint8_t* data, size_t length, size_t width, size_t height, uint64_t pixelFormat,
                 ICompressedImage* source)
        : Buffer(data, length, GenTL::PAYLOAD_TYPE_IMAGE), Image(data, length, width, height, pixelFormat) {
        *m_frameId = source->GetFrameId();
        *m_timestampNs = source->GetTimestampNs();
        *m_leaderReceivedTimestamp = source->GetLeaderReceivedTimestamp();
    }
};

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};

} // namespace

ICompressedImage* CreateCompressedImage(const uint8_t* pData, size_t dataSize, uint64_t pixelFormat) try {
    constexpr const char* name = "CreateCompressedImage";
    CheckInit(name);
    CheckParam(pData, name);
    CheckParam(dataSize, name);
    if (ByCompressed(pixelFormat) == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument,
                          std::string("Param is not a compressed pixel format (") + GetPixelFormatName(pixelFormat) + ")",
                          kUnit, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(dataSize, false, name));
    std::memcpy(block.get(), pData, dataSize);
    auto* image = new CompressedImage(block.get(), dataSize, pixelFormat);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("CreateCompressedImage");
}

IImage* DecompressImage(ICompressedImage* pCompressedImage) try {
    constexpr const char* name = "DecompressImage";
    CheckInit(name);
    CheckParam(pCompressedImage, name);
    const QoiPair* formats = ByCompressed(pCompressedImage->GetPixelFormat());
    if (formats == nullptr) DecodeError("Buffer provided is not of type QOI");
    if (pCompressedImage->IsIncomplete()) DecodeError("Buffer provided is incomplete");
    const size_t size = pCompressedImage->GetSizeFilled();
    if (size < 4) DecodeError("QOI decode error -- buffer size too small!");
    const uint8_t* stream = pCompressedImage->GetData();
    if (std::memcmp(stream, "qoif", 4) != 0) DecodeError("QOI decode error -- no QOI magic!");
    qoi_desc description{};
    std::unique_ptr<uint8_t, FreeBlock> pixels(
        static_cast<uint8_t*>(qoi_decode(stream, int(size), &description, 0)));
    if (!pixels) DecodeError("QOI decode error!");
    const uint64_t plain = uint64_t(formats->plain);
    if (description.channels != GetNumChannels(plain))
        DecodeError(std::string("QOI decode error -- unsupported source pixel format! (UncompressedPixelFormat ") +
                    GetPixelFormatName(plain) + ")");
    const size_t length = size_t(description.width) * description.height * description.channels;
    try {
        std::unique_ptr<uint8_t[]> block(new uint8_t[length]());
        std::memcpy(block.get(), pixels.get(), length);
        auto* image = new DecodedImage(block.get(), length, description.width, description.height, plain, pCompressedImage);
        block.release();
        return image;
    } catch (const std::bad_alloc&) {
        DecodeError("QOI decode error -- create image failed!");
    }
} catch (const std::bad_alloc&) {
    OutOfMemory("DecompressImage");
}

ICompressedImage* CompressImage(IImage* pImage) try {
    constexpr const char* name = "CompressImage";
    CheckInit(name);
    CheckParam(pImage, name);
    const uint64_t expected = CheckSourceSize(pImage, name);
    const uint64_t format = pImage->GetPixelFormat();
    const QoiPair* formats = ByPlain(format);
    if (formats == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument,
                          std::string("Compression not available for pixel format ") + GetPixelFormatName(format), kUnit,
                          name);
    const size_t width = pImage->GetWidth(), height = pImage->GetHeight();
    // The stream's header holds 32-bit sizes.
    if (width > UINT32_MAX || height > UINT32_MAX) VIREO_THROW_PLAIN(Runtime, "QOI encode error!", kUnit, name);
    const qoi_desc description{uint32_t(width), uint32_t(height), uint8_t(GetNumChannels(format)), 0};
    if (pImage->GetSizeFilled() < expected)
        VIREO_THROW_PLAIN(InvalidArgument, "Image holds fewer bytes than its geometry needs", kUnit, name);
    int length = 0;
    std::unique_ptr<uint8_t, FreeBlock> stream(static_cast<uint8_t*>(qoi_encode(pImage->GetData(), &description, &length)));
    if (!stream) VIREO_THROW_PLAIN(Runtime, "QOI encode error!", kUnit, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(uint64_t(length), false, name));
    std::memcpy(block.get(), stream.get(), size_t(length));
    auto* image = new CompressedImage(block.get(), size_t(length), uint64_t(formats->compressed));
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("CompressImage");
}

void DestroyCompressedImage(ICompressedImage* pCompressedImage) {
    constexpr const char* name = "DestroyCompressedImage";
    if (!HasImageFactoryInit())
        VIREO_THROW_PLAIN(Runtime, "Vireo SDK never initialized, open system (Vireo::OpenSystem) to initialize", kUnit,
                          name);
    if (pCompressedImage == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Compressed image is null", kUnit, name);
    auto* buffer = dynamic_cast<Buffer*>(pCompressedImage);
    if (buffer == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Compressed image not from factory", kUnit, name);
    if (buffer->GetBufferHandle() != nullptr)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Failure destroying compressed image because compressed image not from factory (probably "
                          "due to compressed image being from device)",
                          kUnit, name);
    switch (pCompressedImage->GetPayloadType()) {
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE:
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK:
        if (!buffer->IsShallow()) delete[] buffer->GetData();
        delete pCompressedImage;
        return;
    default:
        VIREO_THROW_PLAIN(InvalidArgument, "Unknown payload type", kUnit, name);
    }
}

} // namespace Vireo::ImageFactory
