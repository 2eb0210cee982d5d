// The fields of a DeviceInfo, as discovery fills them.
#ifndef VIREO_SRC_TRANSPORT_DEVICEINFORECORD_H
#define VIREO_SRC_TRANSPORT_DEVICEINFORECORD_H

#include <cstdint>
#include <string>

#include <Vireo/DeviceInfo.h>

namespace Vireo {

struct DeviceInfo::Record {
    std::string modelName, vendorName, serialNumber, userDefinedName, deviceVersion;
    uint32_t ipAddress = 0, subnetMask = 0, defaultGateway = 0;
    uint64_t macAddress = 0;
    bool dhcp = false, persistentIp = false, lla = false;
    uint64_t groupVersionMajor = 0, groupVersionMinor = 0, groupMemberCount = 0;
    bool groupEnable = false;
    std::string groupSerial, groupName;
    // How to reach the camera again: its producer ID and the interface it was found on.
    std::string deviceId;
    std::string interfaceId;
    uint64_t interfaceMac = 0;
    uint32_t interfaceIp = 0;
};

} // namespace Vireo

#endif
