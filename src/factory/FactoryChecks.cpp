#include "FactoryChecks.h"

#include <new>
#include <string>

#include <Vireo/ImageFactory.h>

#include "../transport/Errors.h"
#include "FactoryState.h"

namespace Vireo::ImageFactory {
namespace {

constexpr const char* kUnit = "ImageFactory";

[[noreturn]] void NullData(const char* name) {
    VIREO_THROW_PLAIN(InvalidArgument, std::string("Data is null (") + name, kUnit, name);
}

} // namespace

void CheckInit(const char* name) {
    if (!HasImageFactoryInit())
        VIREO_THROW_PLAIN(Runtime, std::string("Vireo SDK never initialized, open system (Vireo::OpenSystem) to initialize (") + name,
                          kUnit, name);
}

void CheckParam(const uint8_t* data, const char* name) {
    if (data == nullptr) NullData(name);
}
void CheckParam(uint8_t* data, const char* name) {
    if (data == nullptr) NullData(name);
}
void CheckParam(IImage* image, const char* name) {
    if (image == nullptr) NullData(name);
}
void CheckParam(ICompressedImage* image, const char* name) {
    if (image == nullptr) NullData(name);
}

void CheckParam(size_t value, const char* name) {
    if (value == 0) VIREO_THROW_PLAIN(InvalidArgument, std::string("Param is 0 (") + name, kUnit, name);
}

void CheckLen(uint64_t given, uint64_t expected, const char* name) {
    if (given != expected)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Buffer length " + std::to_string(given) + " does not match expected " + std::to_string(expected) +
                              " (" + name,
                          kUnit, name);
}

namespace {

// No address space of a 64-bit processor reaches 2^57 bytes, so an image of more pixels than
// this cannot exist; 16 bytes a pixel and 255 bits a pixel stay within 64 bits below it.
constexpr uint64_t kMaxPixels = uint64_t(1) << 56;

} // namespace

uint64_t CheckedLength(size_t width, size_t height, uint64_t pixelFormat, const char* name) {
    uint64_t pixels = 0;
    if (__builtin_mul_overflow(uint64_t(width), uint64_t(height), &pixels) || pixels > kMaxPixels)
        VIREO_THROW_PLAIN(OutOfRange,
                          "Image of " + std::to_string(width) + " x " + std::to_string(height) +
                              " pixels is larger than memory can hold (" + name,
                          kUnit, name);
    return ExpectedLength(width, height, pixelFormat);
}

uint64_t CheckSourceSize(IImage* image, const char* name) {
    const size_t width = image->GetWidth(), height = image->GetHeight();
    if (width == 0 || height == 0)
        VIREO_THROW_PLAIN(InvalidArgument,
                          "Image has no pixels (width " + std::to_string(width) + ", height " + std::to_string(height) +
                              ") (" + name,
                          kUnit, name);
    return CheckedLength(width, height, image->GetPixelFormat(), name);
}

uint8_t* NewBlock(uint64_t length, bool zeroed, const char* name) {
    try {
        return zeroed ? new uint8_t[size_t(length)]() : new uint8_t[size_t(length)];
    } catch (const std::bad_alloc&) {
        VIREO_THROW_PLAIN(BadAlloc, "Cannot allocate " + std::to_string(length) + " bytes for the image (" + name, kUnit,
                          name);
    }
}

void OutOfMemory(const char* name) {
    VIREO_THROW_PLAIN(BadAlloc, std::string("Not enough memory (") + name, kUnit, name);
}

} // namespace Vireo::ImageFactory
