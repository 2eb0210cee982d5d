// One descriptor class per pixel format that the factory can process, each forwarding to the
// processing routines of its sample layout.
#include <stdexcept>
#include <string>

#include <Vireo/PixelFormat.h>

#include "../factory/NoImplementation.h"

namespace Vireo {

IImplementation::~IImplementation() = default;

namespace {

// Until the layout routines exist every format forwards to the entry that reports them
// unavailable.
#define VIREO_DESCRIPTOR_Descriptor(name)                                                    \
    class PF##name final : public IImplementation {                                         \
    public:                                                                                  \
        IImage* SelectBitsAndScale(IImage* pImage, size_t bits, double scale) override {     \
            return SelectBitsAndScale_NoImpl(pImage, bits, scale, name);                     \
        }                                                                                    \
        IImage* ProcessSoftwareLUT(IImage* pImage, uint8_t* pLUT, size_t lutSize) override { \
            return ProcessSoftwareLUT_NoImpl(pImage, pLUT, lutSize, name);                   \
        }                                                                                    \
    };
#define VIREO_DESCRIPTOR_NoDescriptor(name)
#define VIREO_PIXEL_FORMAT(name, channels, bitsPerChannel, bytesPerStep, pixelsPerStep, descriptor) \
    VIREO_DESCRIPTOR_##descriptor(name)
#include "PixelFormatTable.inc"
#undef VIREO_PIXEL_FORMAT
#undef VIREO_DESCRIPTOR_NoDescriptor
#undef VIREO_DESCRIPTOR_Descriptor

} // namespace

IImplementation* GetPixelFormat(PfncFormat format) { return GetPixelFormat(static_cast<uint64_t>(format)); }

IImplementation* GetPixelFormat(uint64_t pixelFormat) {
    // One decision over the code; the compiler turns the cases into a search tree.
    switch (pixelFormat) {
#define VIREO_DESCRIPTOR_Descriptor(name) \
    case name: return new PF##name;
#define VIREO_DESCRIPTOR_NoDescriptor(name)
#define VIREO_PIXEL_FORMAT(name, channels, bitsPerChannel, bytesPerStep, pixelsPerStep, descriptor) \
    VIREO_DESCRIPTOR_##descriptor(name)
#include "PixelFormatTable.inc"
#undef VIREO_PIXEL_FORMAT
#undef VIREO_DESCRIPTOR_NoDescriptor
#undef VIREO_DESCRIPTOR_Descriptor
    default: break;
    }
    throw std::logic_error("pixel format " + std::to_string(pixelFormat) + ", " + GetPixelFormatName(pixelFormat) +
                           " not implemented");
}

void DestroyPixelFormat(IImplementation* pImplementation) { delete pImplementation; }

} // namespace Vireo
