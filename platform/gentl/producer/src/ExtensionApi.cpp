// The producer's functions beyond the standard GenTL C API: forcing an IP address, unicast
// discovery, action commands, leader waits and resend setup. They live apart so that a build of
// the producer without them (a stand-in for other vendors' producers) leaves out this file only.
#include <algorithm>

#include "Modules.h"
#include "OpenModules.h"
#include "ProducerState.h"

using namespace VirtualGenTL;

namespace GenTL {

GC_ERROR IFForceIp(IF_HANDLE hIface, uint64_t iMacAddress, uint32_t iIpAddress, uint32_t iSubnetMask,
                   uint32_t iDefaultGateway) {
    return Guard("IFForceIp", [&] { OpenInterface(hIface)->ForceIp(iMacAddress, iIpAddress, iSubnetMask, iDefaultGateway); });
}

GC_ERROR IFAddUnicastDiscoveryDevice(IF_HANDLE hIface, uint32_t iIpAddress) {
    return Guard("IFAddUnicastDiscoveryDevice", [&] { OpenInterface(hIface)->AddUnicastDevice(iIpAddress); });
}

GC_ERROR IFRemoveUnicastDiscoveryDevice(IF_HANDLE hIface, uint32_t iIpAddress) {
    return Guard("IFRemoveUnicastDiscoveryDevice", [&] { OpenInterface(hIface)->RemoveUnicastDevice(iIpAddress); });
}

GC_ERROR IFGetUnicastDiscoveryDevices(IF_HANDLE hIface, uint32_t* piIpAddresses, uint32_t* piCount) {
    return Guard("IFGetUnicastDiscoveryDevices", [&] {
        const std::vector<uint32_t> addresses = OpenInterface(hIface)->UnicastDevices();
        Required(piCount, "the count");
        if (piIpAddresses != nullptr) {
            if (*piCount < addresses.size()) {
                *piCount = uint32_t(addresses.size());
                Fail(GC_ERR_BUFFER_TOO_SMALL, "room for " + std::to_string(addresses.size()) + " addresses is needed");
            }
            std::copy(addresses.begin(), addresses.end(), piIpAddresses);
        }
        *piCount = uint32_t(addresses.size());
    });
}

GC_ERROR DevSendActionCommand(DEV_HANDLE hDevice, uint32_t iDeviceKey, uint32_t iGroupKey, uint32_t iGroupMask,
                              uint64_t /*iTimeout*/) {
    return Guard("DevSendActionCommand", [&] { OpenDevice(hDevice)->SendActionCommand(iDeviceKey, iGroupKey, iGroupMask); });
}

GC_ERROR DSWaitForNextLeader(DS_HANDLE hDataStream, uint64_t iTimeout) {
    return Guard("DSWaitForNextLeader", [&] { OpenStream(hDataStream)->WaitForNextLeader(iTimeout); });
}

GC_ERROR DSResetWaitForNextLeader(DS_HANDLE hDataStream) {
    return Guard("DSResetWaitForNextLeader", [&] { OpenStream(hDataStream)->ResetWaitForNextLeader(); });
}

GC_ERROR DSSetupResendRetryParams(DS_HANDLE hDataStream, uint64_t iResendWindowFrameCount, double dFrameRate,
                                  const char* /*sSerialNumber*/, const char* /*sFirmwareVersion*/, int32_t /*iWidth*/,
                                  int32_t /*iHeight*/) {
    return Guard("DSSetupResendRetryParams", [&] { OpenStream(hDataStream)->SetupResend(iResendWindowFrameCount, dFrameRate); });
}

} // namespace GenTL
