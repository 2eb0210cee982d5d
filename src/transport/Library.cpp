#include <Vireo/Library.h>

#include <sys/sysinfo.h>

#include <cstdint>

#include "Errors.h"

namespace Vireo {

GenICam::gcstring GetVersion() { return "1.0.0.10"; }

size_t CalculateMaximumNumberOfBuffers(size_t packetSize) {
    if (packetSize == 0) VIREO_THROW_BARE(Runtime, "Cannot calculate maximum number of buffers with a packet size of 0");

    struct sysinfo machine {};
    sysinfo(&machine);
    // totalram is taken as bytes: the mem_unit multiplier is ignored, which is 1 on every
    // 64-bit Linux machine this SDK targets. 80 % of RAM is the budget; multiply first.
    const uint64_t budget = (static_cast<uint64_t>(machine.totalram) * 4) / 5;
    if (budget < packetSize)
        VIREO_THROW_BARE(BadAlloc,
                         "Insufficient memory found while calculating maximum number of buffers (maximum number of "
                         "buffers is 0)");
    return budget / packetSize;
}

} // namespace Vireo
