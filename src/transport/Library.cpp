#include <Vireo/Library.h>

#include <sys/sysinfo.h>

#include <cstdint>

#include <new>

#include <Vireo/System.h>

#include "Errors.h"
#include "Producer.h"

namespace Vireo {

ISystem* OpenSystem() {
    GenTL::GC_ERROR result = Producer().GCInitLib();
    if (result == GenTL::GC_ERR_RESOURCE_IN_USE)
        ThrowProducerErrorAs(ExceptionKind::Runtime, "GenTL::GC_ERR_RESOURCE_IN_USE",
                             "Library already initialized (must initialize only once)", "Vireo", "OpenSystem",
                             "GCInitLib", VIREO_SOURCE_FILE, __LINE__);
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to initialize library", "Vireo", "OpenSystem", "GCInitLib");

    TLSystem* tlSystem = new (std::nothrow) TLSystem();
    if (tlSystem == nullptr) {
        Producer().GCCloseLib();
        VIREO_THROW_PLAIN(BadAlloc, "Library failed to allocate resources", "Vireo", "OpenSystem");
    }
    result = tlSystem->Open();
    if (result != GenTL::GC_ERR_SUCCESS) {
        // The producer stays initialised on purpose: a later OpenSystem then reports it.
        delete tlSystem;
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to open system", "Vireo", "OpenSystem", "TLOpen");
    }
    try {
        return new System(tlSystem);
    } catch (...) {
        // Nothing of a system that could not be built stays open.
        tlSystem->Close();
        delete tlSystem;
        Producer().GCCloseLib();
        try {
            throw;
        } catch (const std::bad_alloc&) {
            VIREO_THROW_PLAIN(BadAlloc, "Library failed to allocate resources", "Vireo", "OpenSystem");
        }
    }
}

void CloseSystem(ISystem* system) {
    if (system == nullptr || dynamic_cast<System*>(system) == nullptr)
        VIREO_THROW_PLAIN(InvalidArgument, "System is null", "Vireo", "CloseSystem");
    delete system;
    const GenTL::GC_ERROR result = Producer().GCCloseLib();
    if (result != GenTL::GC_ERR_SUCCESS)
        VIREO_THROW_PRODUCER_ERROR(result, "Unable to close library", "Vireo", "CloseSystem", "GCCloseLib");
}

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
