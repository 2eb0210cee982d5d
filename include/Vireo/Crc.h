// CRC-32 (IEEE 802.3, as zlib): reflected polynomial 0x04C11DB7, initial value and final
// XOR 0xFFFFFFFF. "123456789" gives 0xCBF43926.
#ifndef VIREO_CRC_H
#define VIREO_CRC_H

#include <cstddef>
#include <cstdint>

#include <Vireo/Config.h>

namespace Vireo {

// Throws GenICam::InvalidArgumentException for null data or zero length.
VIREO_API uint32_t CalculateCRC32(const uint8_t* pData, size_t nBytes);

} // namespace Vireo

#endif
