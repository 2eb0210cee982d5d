// Copyable records of a camera found by discovery and of a host interface.
#ifndef VIREO_DEVICEINFO_H
#define VIREO_DEVICEINFO_H

#include <cstdint>
#include <memory>

#include <GenICam.h>
#include <Vireo/Config.h>

namespace Vireo {

class VIREO_API DeviceInfo {
public:
    DeviceInfo();
    DeviceInfo(const DeviceInfo& other);
    DeviceInfo& operator=(const DeviceInfo& other);
    ~DeviceInfo();

    GenICam::gcstring ModelName() const;
    GenICam::gcstring VendorName() const;
    GenICam::gcstring SerialNumber() const;
    GenICam::gcstring UserDefinedName() const;
    GenICam::gcstring DeviceVersion() const;
    uint32_t IpAddress() const;
    GenICam::gcstring IpAddressStr() const;    // dotted decimal
    uint32_t SubnetMask() const;
    GenICam::gcstring SubnetMaskStr() const;
    uint64_t MacAddress() const;
    GenICam::gcstring MacAddressStr() const;   // colon-separated hexadecimal
    uint32_t DefaultGateway() const;
    GenICam::gcstring DefaultGatewayStr() const;
    bool IsDHCPConfigurationEnabled() const;
    bool IsPersistentIpConfigurationEnabled() const;
    bool IsLLAConfigurationEnabled() const;
    uint64_t DeviceGroupVersionMajor() const;
    uint64_t DeviceGroupVersionMinor() const;
    bool DeviceGroupEnable() const;
    GenICam::gcstring DeviceGroupSerial() const;
    GenICam::gcstring DeviceGroupName() const;
    uint64_t DeviceGroupMemberCount() const;
    // The producer's ID of the interface the camera was found on: cameras that share it share
    // a network (an action command sent through one reaches the others).
    GenICam::gcstring InterfaceId() const;

    // Filled by discovery.
    struct Record;
    Record& Fields();
    const Record& Fields() const;

private:
    std::unique_ptr<Record> m_record;
};

class VIREO_API InterfaceInfo {
public:
    InterfaceInfo();
    InterfaceInfo(uint64_t macAddress, uint32_t ipAddress, uint32_t subnetMask);

    uint64_t MacAddress() const { return m_macAddress; }
    GenICam::gcstring MacAddressStr() const;
    uint32_t IpAddress() const { return m_ipAddress; }
    GenICam::gcstring IpAddressStr() const;
    uint32_t SubnetMask() const { return m_subnetMask; }
    GenICam::gcstring SubnetMaskStr() const;

private:
    uint64_t m_macAddress = 0;
    uint32_t m_ipAddress = 0;
    uint32_t m_subnetMask = 0;
};

// "192.168.10.11" from a host-order IPv4 address; "00:30:53:1A:2B:3C" from a 48-bit MAC.
VIREO_API GenICam::gcstring AddressText(uint32_t ipAddress);
VIREO_API GenICam::gcstring MacAddressText(uint64_t macAddress);

} // namespace Vireo

#endif
