// Finding GigE Vision devices from one local interface, and giving one a new address by its
// MAC: what the interface module's device list and its ForceIP command rest on.
#ifndef VIRTUALGENTL_GIGE_DISCOVERY_H
#define VIRTUALGENTL_GIGE_DISCOVERY_H

#include <chrono>
#include <span>
#include <vector>

#include <GigE/Discovery.h>

namespace VirtualGenTL::GigEVision {

struct DiscoveredDevice {
    GigE::DiscoveryAcknowledge description;
    // Where the acknowledge came from: the device's own address, which may differ from the
    // one it reports while it changes its configuration.
    GigE::Ipv4Address sourceAddress = 0;
};

// Asks from localAddress: by broadcast (255.255.255.255, or the subnet's broadcast address
// when the limited broadcast cannot be sent) unless broadcast is false, and at each unicast
// address (devices the broadcast does not reach, behind a router). Collects acknowledges for
// the whole timeout; one entry per MAC address, in the order they answered. GC_ERR_IO when
// nothing could be sent at all.
std::vector<DiscoveredDevice> DiscoverDevices(GigE::Ipv4Address localAddress, GigE::Ipv4Address subnetMask,
                                              std::chrono::milliseconds timeout,
                                              std::span<const GigE::Ipv4Address> unicastAddresses = {},
                                              bool broadcast = true);

// Broadcasts FORCEIP for the device with this MAC and waits for its acknowledge:
// GC_ERR_TIMEOUT without one (no such device, or one that does not acknowledge), an error
// status as the control channel maps it.
void ForceIp(GigE::Ipv4Address localAddress, const GigE::MacAddress& macAddress, GigE::Ipv4Address ipAddress,
             GigE::Ipv4Address subnetMask, GigE::Ipv4Address defaultGateway, std::chrono::milliseconds timeout);

} // namespace VirtualGenTL::GigEVision

#endif
