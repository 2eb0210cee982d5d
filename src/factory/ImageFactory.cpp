// Creation, copy and destruction of the factory's images.
#include <Vireo/ImageFactory.h>

#include <cstring>
#include <memory>
#include <new>

#include <GenTL/GenTLExtensions.h>
#include <Vireo/CompressedImage.h>
#include <Vireo/CompressedImageExtendedChunk.h>
#include <Vireo/Image.h>
#include <Vireo/ImageExtendedChunk.h>
#include <Vireo/PixelFormat.h>

#include "../transport/Errors.h"
#include "FactoryChecks.h"
#include "FactoryState.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";

// A factory image over a block of `length` bytes; `owned` blocks are freed by Destroy.
IImage* NewImage(uint8_t* data, uint64_t length, size_t width, size_t height, uint64_t pixelFormat, bool owned) {
    auto* image = new Image(data, size_t(length), width, height, pixelFormat);
    image->SetShallow(!owned);
    return image;
}

// The checks that Create and Shallow share; returns the expected length.
uint64_t CheckCreation(const uint8_t* data, size_t dataSize, size_t width, size_t height, uint64_t pixelFormat,
                       const char* name) {
    CheckInit(name);
    CheckParam(data, name);
    CheckParam(dataSize, name);
    CheckParam(width, name);
    CheckParam(height, name);
    const uint64_t expected = CheckedLength(width, height, pixelFormat, name);
    CheckLen(dataSize, expected, name);
    return expected;
}

} // namespace

uint64_t ExpectedLength(size_t width, size_t height, uint64_t pixelFormat) {
    // Products that need more than 64 bits are refused by the callers first (CheckedLength).
    return (uint64_t(width) * uint64_t(height) * uint64_t(GetBitsPerPixel(pixelFormat))) >> 3;
}

IImage* Create(const uint8_t* pData, size_t dataSize, size_t width, size_t height, uint64_t pixelFormat) try {
    constexpr const char* name = "Create";
    const uint64_t expected = CheckCreation(pData, dataSize, width, height, pixelFormat, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(expected, true, name));
    std::memcpy(block.get(), pData, expected);
    IImage* image = NewImage(block.get(), dataSize, width, height, pixelFormat, true);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("Create");
}

IImage* CreateEmpty(size_t dataSize, size_t width, size_t height, uint64_t pixelFormat) try {
    constexpr const char* name = "CreateEmpty";
    CheckInit(name);
    CheckParam(dataSize, name);
    CheckParam(width, name);
    CheckParam(height, name);
    const uint64_t expected = CheckedLength(width, height, pixelFormat, name);
    CheckLen(dataSize, expected, name);
    std::unique_ptr<uint8_t[]> block(NewBlock(expected, true, name));
    IImage* image = NewImage(block.get(), expected, width, height, pixelFormat, true);
    block.release();
    return image;
} catch (const std::bad_alloc&) {
    OutOfMemory("CreateEmpty");
}

IImage* Shallow(const uint8_t* pData, size_t dataSize, size_t width, size_t height, uint64_t pixelFormat) try {
    CheckCreation(pData, dataSize, width, height, pixelFormat, "Shallow");
    return NewImage(const_cast<uint8_t*>(pData), dataSize, width, height, pixelFormat, false);
} catch (const std::bad_alloc&) {
    OutOfMemory("Shallow");
}

IImage* Copy(IImage* pImage) try {
    constexpr const char* name = "Copy";
    CheckInit(name);
    CheckParam(pImage, name);
    auto* image = dynamic_cast<Image*>(pImage);
    if (image == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is not a Vireo image", kUnit, name);
    switch (pImage->GetPayloadType()) {
    case GenTL::PAYLOAD_TYPE_IMAGE:
    case GenTL::PAYLOAD_TYPE_MULTI_PART:  // the image of its first part
        return new Image(image);
    case GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK:
        // The copy carries the chunk bytes; reading them needs a chunk node map, which belongs
        // to the device the original came from.
        if (auto* chunked = dynamic_cast<ImageExtendedChunk*>(pImage))
            return static_cast<IImage*>(new ImageExtendedChunk(chunked));
        return new Image(image);
    case GenTL::PAYLOAD_TYPE_CHUNK_DATA:
        VIREO_THROW_PLAIN(InvalidArgument, "Chunk data copy not implemented", kUnit, name);
    default:
        VIREO_THROW_PLAIN(InvalidArgument, "Unknown payload type", kUnit, name);
    }
} catch (const std::bad_alloc&) {
    OutOfMemory("Copy");
}

ICompressedImage* CopyCompressedImage(ICompressedImage* pImage) try {
    constexpr const char* name = "CopyCompressedImage";
    CheckInit(name);
    CheckParam(pImage, name);
    auto* image = dynamic_cast<CompressedImage*>(pImage);
    if (image == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is not a Vireo image", kUnit, name);
    switch (pImage->GetPayloadType()) {
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE:
        return new CompressedImage(image);
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK:
        if (auto* chunked = dynamic_cast<CompressedImageExtendedChunk*>(pImage))
            return static_cast<ICompressedImage*>(new CompressedImageExtendedChunk(chunked));
        return new CompressedImage(image);
    default:
        VIREO_THROW_PLAIN(InvalidArgument, "Unknown payload type", kUnit, name);
    }
} catch (const std::bad_alloc&) {
    OutOfMemory("CopyCompressedImage");
}

void Destroy(IImage* pImage) {
    constexpr const char* name = "Destroy";
    if (!HasImageFactoryInit())
        VIREO_THROW_PLAIN(Runtime, "Vireo SDK never initialized, open system (Vireo::OpenSystem) to initialize", kUnit,
                          name);
    if (pImage == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image is null", kUnit, name);
    auto* buffer = dynamic_cast<Buffer*>(pImage);
    if (buffer == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "Image not from factory", kUnit, name);
    if (buffer->GetBufferHandle() != nullptr)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Failure destroying image because image not from factory (probably due to image being from "
                          "device)",
                          kUnit, name);
    switch (pImage->GetPayloadType()) {
    case GenTL::PAYLOAD_TYPE_IMAGE:
    case GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK:
    case GenTL::PAYLOAD_TYPE_MULTI_PART:
        if (!buffer->IsShallow()) delete[] buffer->GetData();
        delete pImage;
        return;
    case GenTL::PAYLOAD_TYPE_CHUNK_DATA:
        VIREO_THROW_PLAIN(InvalidArgument, "Chunk data destroy not implemented", kUnit, name);
    default:
        VIREO_THROW_PLAIN(InvalidArgument, "Unknown payload type", kUnit, name);
    }
}

} // namespace Vireo::ImageFactory
