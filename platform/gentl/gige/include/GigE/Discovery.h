// DISCOVERY and FORCEIP: finding devices and giving one an address by its MAC.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

using MacAddress = std::array<std::uint8_t, 6>;
// IPv4 addresses as 32-bit values whose most significant byte is the first octet.
using Ipv4Address = std::uint32_t;

constexpr std::size_t discoveryAcknowledgePayloadSize = 248;
constexpr std::size_t forceIpPayloadSize = 56;

// DISCOVERY_CMD has no payload; its flags say whether the answer may be broadcast.
struct DiscoveryCommand {
    bool allowBroadcastAcknowledge = false;

    std::vector<std::uint8_t> encode(std::uint16_t requestId) const;
    // Any payload is ignored: discovery must reach every device, and there is nothing in it
    // a device could misread.
    static Parsed<DiscoveryCommand> parse(const ReceivedCommand& command);
    bool operator==(const DiscoveryCommand&) const = default;
};

// The device description a DISCOVERY_ACK carries: a copy of bootstrap registers
// 0x0000-0x00F7, so the offsets are the register addresses.
struct DiscoveryAcknowledge {
    std::uint16_t versionMajor = 0;
    std::uint16_t versionMinor = 0;
    std::uint32_t deviceMode = 0;
    MacAddress macAddress{};
    std::uint32_t supportedIpConfiguration = 0;
    std::uint32_t currentIpConfiguration = 0;
    Ipv4Address ipAddress = 0;
    Ipv4Address subnetMask = 0;
    Ipv4Address defaultGateway = 0;
    // Longer texts are cut to their fields (32, 32, 32, 48, 16 and 16 bytes).
    std::string manufacturerName;
    std::string modelName;
    std::string deviceVersion;
    std::string manufacturerInfo;
    std::string serialNumber;
    std::string userDefinedName;

    // The 248-byte payload alone, as the device's bootstrap registers hold it.
    std::vector<std::uint8_t> encodePayload() const;
    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId) const;
    static Parsed<DiscoveryAcknowledge> parsePayload(Bytes payload);
    static Parsed<DiscoveryAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const DiscoveryAcknowledge&) const = default;
};

struct ForceIpCommand {
    MacAddress macAddress{};
    Ipv4Address ipAddress = 0; // 0.0.0.0 asks the device to restart its address sequence
    Ipv4Address subnetMask = 0;
    Ipv4Address defaultGateway = 0;

    std::vector<std::uint8_t> encode(std::uint16_t requestId,
                                     std::uint8_t flags = CommandFlag::acknowledge) const;
    // INVALID_PARAMETER unless the payload is exactly 56 bytes.
    static Parsed<ForceIpCommand> parse(const ReceivedCommand& command);
    bool operator==(const ForceIpCommand&) const = default;
};

} // namespace GigE
