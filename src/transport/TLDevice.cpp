#include <Vireo/TLDevice.h>

#include "Producer.h"

namespace Vireo {

TLDevice::~TLDevice() = default;

GenTL::GC_ERROR TLDevice::Close() { return Producer().DevClose(m_handle); }

GenTL::GC_ERROR TLDevice::GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().DevGetInfo(m_handle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLDevice::GetPort(void** portHandle) { return Producer().DevGetPort(m_handle, portHandle); }

GenTL::GC_ERROR TLDevice::GetNumDataStreams(uint32_t* count) { return Producer().DevGetNumDataStreams(m_handle, count); }

GenTL::GC_ERROR TLDevice::GetDataStreamID(uint32_t index, char* id, size_t* size) {
    return Producer().DevGetDataStreamID(m_handle, index, id, size);
}

GenTL::GC_ERROR TLDevice::OpenDataStream(const char* id, void** dataStreamHandle) {
    return Producer().DevOpenDataStream(m_handle, id, dataStreamHandle);
}

GenTL::GC_ERROR TLDevice::SendActionCommand(uint32_t deviceKey, uint32_t groupKey, uint32_t groupMask,
                                            uint64_t timeoutMs) {
    return Producer().DevSendActionCommand(m_handle, deviceKey, groupKey, groupMask, timeoutMs);
}

} // namespace Vireo
