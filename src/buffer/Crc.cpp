#include <Vireo/Crc.h>

#include <libdeflate.h>

#include "../transport/Errors.h"

namespace Vireo {

uint32_t CalculateCRC32(const uint8_t* pData, size_t nBytes) {
    if (pData == nullptr) VIREO_THROW_PLAIN(InvalidArgument, "pData is nullptr.", "Buffer", "CalculateCRC32");
    if (nBytes == 0) VIREO_THROW_PLAIN(InvalidArgument, "nBytes must be > 0.", "Buffer", "CalculateCRC32");
    // libdeflate folds with carry-less multiplication where the processor has it, chosen at
    // run time: several times the speed of a byte-table loop on whole frames. Its CRC is the
    // standard one (it applies the initial value and final XOR itself when started from 0).
    return libdeflate_crc32(0, pData, nBytes);
}

} // namespace Vireo
