// One descriptor class per pixel format that the factory can process, each forwarding to the
// processing routines of its sample layout.
#include <stdexcept>
#include <string>

#include <GenICam.h>
#include <Vireo/IImage.h>
#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include "../factory/BitScaling.h"
#include "../factory/NoImplementation.h"

namespace Vireo {

IImplementation::~IImplementation() = default;

namespace {

// The descriptor of a format processes images of that format only.
IImage* LutForFormat(IImage* pImage, uint8_t* pLUT, size_t lutSize, uint64_t format) {
    if (pImage != nullptr && pImage->GetPixelFormat() != format) ProcessSoftwareLUT_NoImpl(pImage, pLUT, lutSize, format);
    return ImageFactory::ProcessSoftwareLUT(pImage, pLUT, lutSize);
}

// The output is Mono8 for single-channel formats; scaling several channels into one 8-bit
// format is the factory call's job, where the caller names the format.
IImage* ScaleForFormat(IImage* pImage, size_t bits, double scale, uint64_t format) {
    size_t channels = 0;
    try {
        channels = GetNumChannels(format);
    } catch (const GenICam::GenericException&) {
    }
    if (channels != 1 || (pImage != nullptr && pImage->GetPixelFormat() != format))
        SelectBitsAndScale_NoImpl(pImage, bits, scale, format);
    return ImageFactory::SelectBitsAndScaleAt(pImage, uint64_t(PfncFormat::Mono8), bits, scale);
}

// Every format forwards to the factory's routines for its sample layout, which report the
// formats they cannot process.
#define VIREO_DESCRIPTOR_Descriptor(name)                                                    \
    class PF##name final : public IImplementation {                                         \
    public:                                                                                  \
        IImage* SelectBitsAndScale(IImage* pImage, size_t bits, double scale) override {     \
            return ScaleForFormat(pImage, bits, scale, name);                                \
        }                                                                                    \
        IImage* ProcessSoftwareLUT(IImage* pImage, uint8_t* pLUT, size_t lutSize) override { \
            return LutForFormat(pImage, pLUT, lutSize, name);                                \
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
