// The argument checks that every factory operation shares, each naming the operation.
#ifndef VIREO_SRC_FACTORY_FACTORYCHECKS_H
#define VIREO_SRC_FACTORY_FACTORYCHECKS_H

#include <cstddef>
#include <cstdint>

#include <Vireo/ICompressedImage.h>
#include <Vireo/IImage.h>

namespace Vireo::ImageFactory {

// The factory is open.
void CheckInit(const char* name);
// The pointer is not null.
void CheckParam(const uint8_t* data, const char* name);
void CheckParam(uint8_t* data, const char* name);
void CheckParam(IImage* image, const char* name);
void CheckParam(ICompressedImage* image, const char* name);
// The size is not 0.
void CheckParam(size_t value, const char* name);
// The length is exactly the expected one.
void CheckLen(uint64_t given, uint64_t expected, const char* name);

// ExpectedLength of a geometry that memory can hold: an OutOfRangeException for more pixels
// than any address space has bytes. Below that bound every size the factory derives from a
// geometry (bits of a whole image, intermediates of up to 16 bytes a pixel, strips of rows)
// fits in 64 bits, so no computation can wrap around to a small allocation.
uint64_t CheckedLength(size_t width, size_t height, uint64_t pixelFormat, const char* name);
// A source image to be processed has pixels (an InvalidArgumentException for a width or a
// height of 0) and a geometry memory can hold; returns its expected length.
uint64_t CheckSourceSize(IImage* image, const char* name);

// A new block of `length` bytes, zeroed when asked; a BadAllocException that names the size
// when memory runs out.
uint8_t* NewBlock(uint64_t length, bool zeroed, const char* name);
// The failure every factory operation reports for an allocation that failed anywhere inside
// it: a BadAllocException, never a std::bad_alloc.
[[noreturn]] void OutOfMemory(const char* name);

} // namespace Vireo::ImageFactory

#endif
