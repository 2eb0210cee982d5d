// The routines that formats without a LUT or bit-scaling implementation reach: they fail.
#ifndef VIREO_SRC_FACTORY_NOIMPLEMENTATION_H
#define VIREO_SRC_FACTORY_NOIMPLEMENTATION_H

#include <cstddef>
#include <cstdint>

namespace Vireo {

class IImage;

[[noreturn]] IImage* ProcessSoftwareLUT_NoImpl(IImage* pImage, uint8_t* pLUT, size_t lutSize, uint64_t pixelFormat);
[[noreturn]] IImage* SelectBitsAndScale_NoImpl(IImage* pImage, size_t bits, double scale, uint64_t pixelFormat);

} // namespace Vireo

#endif
