#include <Vireo/TLSystem.h>

#include "Producer.h"

namespace Vireo {

TLSystem::~TLSystem() = default;

GenTL::GC_ERROR TLSystem::Open() { return Producer().TLOpen(&m_handle); }

GenTL::GC_ERROR TLSystem::Close() { return Producer().TLClose(m_handle); }

GenTL::GC_ERROR TLSystem::GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().TLGetInfo(m_handle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLSystem::GetNumInterfaces(uint32_t* count) { return Producer().TLGetNumInterfaces(m_handle, count); }

GenTL::GC_ERROR TLSystem::GetInterfaceID(uint32_t index, char* id, size_t* size) {
    return Producer().TLGetInterfaceID(m_handle, index, id, size);
}

GenTL::GC_ERROR TLSystem::GetInterfaceInfo(const char* id, int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().TLGetInterfaceInfo(m_handle, id, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLSystem::OpenInterface(const char* id, void** interfaceHandle) {
    return Producer().TLOpenInterface(m_handle, id, interfaceHandle);
}

GenTL::GC_ERROR TLSystem::UpdateInterfaceList(bool* changed, uint64_t timeoutMs) {
    return UpdateWithChangedFlag(changed, [&](GenTL::bool8_t* flag) {
        return Producer().TLUpdateInterfaceList(m_handle, flag, timeoutMs);
    });
}

} // namespace Vireo
