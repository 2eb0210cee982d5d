#include <Vireo/TLBase.h>

#include "Producer.h"

namespace Vireo {

TLBase::~TLBase() { m_handle = nullptr; }

GenTL::GC_ERROR TLBase::ReadPort(uint64_t address, void* buffer, size_t* size) {
    return Producer().GCReadPort(m_handle, address, buffer, size);
}

GenTL::GC_ERROR TLBase::WritePort(uint64_t address, const void* buffer, size_t* size) {
    return Producer().GCWritePort(m_handle, address, buffer, size);
}

GenTL::GC_ERROR TLBase::GetPortURL(char* url, size_t* size) { return Producer().GCGetPortURL(m_handle, url, size); }

GenTL::GC_ERROR TLBase::GetPortInfo(int32_t infoCmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().GCGetPortInfo(m_handle, infoCmd, type, buffer, size);
}

GenTL::GC_ERROR TLBase::RegisterEvent(int32_t eventType, void** eventHandle) {
    return Producer().GCRegisterEvent(m_handle, eventType, eventHandle);
}

GenTL::GC_ERROR TLBase::UnregisterEvent(int32_t eventType) { return Producer().GCUnregisterEvent(m_handle, eventType); }

GenTL::GC_ERROR TLBase::GetNumPortURLs(uint32_t* count) { return Producer().GCGetNumPortURLs(m_handle, count); }

GenTL::GC_ERROR TLBase::GetPortURLInfo(uint32_t index, int32_t infoCmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().GCGetPortURLInfo(m_handle, index, infoCmd, type, buffer, size);
}

GenTL::GC_ERROR TLBase::ReadPortStacked(GenTL::S_PORT_REGISTER_STACK_ENTRY* entries, size_t* count) {
    return Producer().GCReadPortStacked(m_handle, entries, count);
}

GenTL::GC_ERROR TLBase::WritePortStacked(GenTL::S_PORT_REGISTER_STACK_ENTRY* entries, size_t* count) {
    return Producer().GCWritePortStacked(m_handle, entries, count);
}

} // namespace Vireo
