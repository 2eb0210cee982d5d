// Scaled bit selection for callers that say how many bits of each sample are significant (a
// 12-bit sensor's values in Mono16 words, for example), rather than taking the format's own.
#ifndef VIREO_SRC_FACTORY_BITSCALING_H
#define VIREO_SRC_FACTORY_BITSCALING_H

#include <cstddef>
#include <cstdint>

#include <Vireo/IImage.h>

namespace Vireo::ImageFactory {

// ImageFactory::SelectBitsAndScale with the samples taken as `bits` deep: each output byte is
// sample x 2^(scale - (bits - 8)), saturated at 255. `bits` at most 32; 0 takes the format's
// own bits per sample.
IImage* SelectBitsAndScaleAt(IImage* pImage, uint64_t pixelFormat, size_t bits, double scale);

} // namespace Vireo::ImageFactory

#endif
