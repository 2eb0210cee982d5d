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

} // namespace Vireo::ImageFactory

#endif
