#include <Vireo/DeviceInfo.h>

#include <cstdio>

#include "DeviceInfoRecord.h"

namespace Vireo {

DeviceInfo::DeviceInfo() : m_record(std::make_unique<Record>()) {}
DeviceInfo::DeviceInfo(const DeviceInfo& other) : m_record(std::make_unique<Record>(*other.m_record)) {}
DeviceInfo& DeviceInfo::operator=(const DeviceInfo& other) {
    if (this != &other) *m_record = *other.m_record;
    return *this;
}
DeviceInfo::~DeviceInfo() = default;

DeviceInfo::Record& DeviceInfo::Fields() { return *m_record; }
const DeviceInfo::Record& DeviceInfo::Fields() const { return *m_record; }

GenICam::gcstring DeviceInfo::ModelName() const { return m_record->modelName; }
GenICam::gcstring DeviceInfo::VendorName() const { return m_record->vendorName; }
GenICam::gcstring DeviceInfo::SerialNumber() const { return m_record->serialNumber; }
GenICam::gcstring DeviceInfo::UserDefinedName() const { return m_record->userDefinedName; }
GenICam::gcstring DeviceInfo::DeviceVersion() const { return m_record->deviceVersion; }
uint32_t DeviceInfo::IpAddress() const { return m_record->ipAddress; }
GenICam::gcstring DeviceInfo::IpAddressStr() const { return AddressText(m_record->ipAddress); }
uint32_t DeviceInfo::SubnetMask() const { return m_record->subnetMask; }
GenICam::gcstring DeviceInfo::SubnetMaskStr() const { return AddressText(m_record->subnetMask); }
uint64_t DeviceInfo::MacAddress() const { return m_record->macAddress; }
GenICam::gcstring DeviceInfo::MacAddressStr() const { return MacAddressText(m_record->macAddress); }
uint32_t DeviceInfo::DefaultGateway() const { return m_record->defaultGateway; }
GenICam::gcstring DeviceInfo::DefaultGatewayStr() const { return AddressText(m_record->defaultGateway); }
bool DeviceInfo::IsDHCPConfigurationEnabled() const { return m_record->dhcp; }
bool DeviceInfo::IsPersistentIpConfigurationEnabled() const { return m_record->persistentIp; }
bool DeviceInfo::IsLLAConfigurationEnabled() const { return m_record->lla; }
uint64_t DeviceInfo::DeviceGroupVersionMajor() const { return m_record->groupVersionMajor; }
uint64_t DeviceInfo::DeviceGroupVersionMinor() const { return m_record->groupVersionMinor; }
bool DeviceInfo::DeviceGroupEnable() const { return m_record->groupEnable; }
GenICam::gcstring DeviceInfo::DeviceGroupSerial() const { return m_record->groupSerial; }
GenICam::gcstring DeviceInfo::DeviceGroupName() const { return m_record->groupName; }
uint64_t DeviceInfo::DeviceGroupMemberCount() const { return m_record->groupMemberCount; }
GenICam::gcstring DeviceInfo::InterfaceId() const { return m_record->interfaceId.c_str(); }

InterfaceInfo::InterfaceInfo() = default;
InterfaceInfo::InterfaceInfo(uint64_t macAddress, uint32_t ipAddress, uint32_t subnetMask)
    : m_macAddress(macAddress), m_ipAddress(ipAddress), m_subnetMask(subnetMask) {}
GenICam::gcstring InterfaceInfo::MacAddressStr() const { return MacAddressText(m_macAddress); }
GenICam::gcstring InterfaceInfo::IpAddressStr() const { return AddressText(m_ipAddress); }
GenICam::gcstring InterfaceInfo::SubnetMaskStr() const { return AddressText(m_subnetMask); }

GenICam::gcstring AddressText(uint32_t ipAddress) {
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", ipAddress >> 24, (ipAddress >> 16) & 0xFF, (ipAddress >> 8) & 0xFF,
                  ipAddress & 0xFF);
    return text;
}

GenICam::gcstring MacAddressText(uint64_t macAddress) {
    char text[18];
    std::snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", unsigned(macAddress >> 40) & 0xFF,
                  unsigned(macAddress >> 32) & 0xFF, unsigned(macAddress >> 24) & 0xFF,
                  unsigned(macAddress >> 16) & 0xFF, unsigned(macAddress >> 8) & 0xFF, unsigned(macAddress) & 0xFF);
    return text;
}

} // namespace Vireo
