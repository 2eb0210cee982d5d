#include <Vireo/TLInterface.h>

#include "Producer.h"

namespace Vireo {

TLInterface::~TLInterface() = default;

GenTL::GC_ERROR TLInterface::Close() { return Producer().IFClose(m_handle); }

GenTL::GC_ERROR TLInterface::UpdateDeviceList(bool* changed, uint64_t timeoutMs) {
    return UpdateWithChangedFlag(changed, [&](GenTL::bool8_t* flag) {
        return Producer().IFUpdateDeviceList(m_handle, flag, timeoutMs);
    });
}

GenTL::GC_ERROR TLInterface::GetInfo(int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().IFGetInfo(m_handle, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLInterface::GetNumDevices(uint32_t* count) { return Producer().IFGetNumDevices(m_handle, count); }

GenTL::GC_ERROR TLInterface::GetDeviceID(uint32_t index, char* id, size_t* size) {
    return Producer().IFGetDeviceID(m_handle, index, id, size);
}

GenTL::GC_ERROR TLInterface::GetDeviceInfo(const char* id, int32_t cmd, int32_t* type, void* buffer, size_t* size) {
    return Producer().IFGetDeviceInfo(m_handle, id, cmd, type, buffer, size);
}

GenTL::GC_ERROR TLInterface::OpenDevice(const char* id, int32_t accessFlags, void** deviceHandle) {
    return Producer().IFOpenDevice(m_handle, id, accessFlags, deviceHandle);
}

GenTL::GC_ERROR TLInterface::ForceIp(uint64_t mac, uint32_t ip, uint32_t subnet, uint32_t gateway) {
    return Producer().IFForceIp(m_handle, mac, ip, subnet, gateway);
}

GenTL::GC_ERROR TLInterface::AddUnicastDiscoveryDevice(uint32_t ip) {
    return Producer().IFAddUnicastDiscoveryDevice(m_handle, ip);
}

GenTL::GC_ERROR TLInterface::RemoveUnicastDiscoveryDevice(uint32_t ip) {
    return Producer().IFRemoveUnicastDiscoveryDevice(m_handle, ip);
}

GenTL::GC_ERROR TLInterface::GetUnicastDiscoveryDevices(uint32_t* ips, uint32_t* count) {
    return Producer().IFGetUnicastDiscoveryDevices(m_handle, ips, count);
}

} // namespace Vireo
