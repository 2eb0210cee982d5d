#include <Vireo/TLEvent.h>

#include "Producer.h"

namespace Vireo {

TLEvent::~TLEvent() = default;

GenTL::GC_ERROR TLEvent::GetData(void* buffer, size_t* size, uint64_t timeoutMs) {
    return Producer().EventGetData(m_handle, buffer, size, timeoutMs);
}

GenTL::GC_ERROR TLEvent::GetDataInfo(const void* buffer, size_t size, int32_t cmd, int32_t* type, void* out,
                                     size_t* outSize) {
    return Producer().EventGetDataInfo(m_handle, buffer, size, cmd, type, out, outSize);
}

GenTL::GC_ERROR TLEvent::GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().EventGetInfo(m_handle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLEvent::Flush() { return Producer().EventFlush(m_handle); }

GenTL::GC_ERROR TLEvent::Kill() { return Producer().EventKill(m_handle); }

} // namespace Vireo
