#include "FactoryChecks.h"

#include <string>

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

} // namespace Vireo::ImageFactory
