#include <GigE/Discovery.h>

#include <GigE/BootstrapRegisters.h>

namespace GigE {

namespace {

constexpr auto discoveryCode = static_cast<std::uint16_t>(CommandCode::Discovery);
constexpr auto forceIpCode = static_cast<std::uint16_t>(CommandCode::ForceIp);

void writeMac(ByteWriter& out, const MacAddress& mac) { out.bytes(mac); }

MacAddress readMac(Bytes bytes, std::size_t offset) {
    MacAddress mac;
    for (std::size_t index = 0; index < mac.size(); ++index) mac[index] = bytes[offset + index];
    return mac;
}

} // namespace

std::vector<std::uint8_t> DiscoveryCommand::encode(std::uint16_t requestId) const {
    const std::uint8_t flags = CommandFlag::acknowledge |
                               (allowBroadcastAcknowledge ? CommandFlag::allowBroadcastAcknowledge : 0);
    return encodeCommand(flags, discoveryCode, requestId);
}

Parsed<DiscoveryCommand> DiscoveryCommand::parse(const ReceivedCommand& command) {
    return DiscoveryCommand{(command.header.flags & CommandFlag::allowBroadcastAcknowledge) != 0};
}

std::vector<std::uint8_t> DiscoveryAcknowledge::encodePayload() const {
    std::vector<std::uint8_t> payload;
    payload.reserve(discoveryAcknowledgePayloadSize);
    ByteWriter out(payload);
    out.uint16(versionMajor);                 // 0x00
    out.uint16(versionMinor);
    out.uint32(deviceMode);                   // 0x04
    out.zeros(2);                             // 0x08
    writeMac(out, macAddress);                // 0x0A
    out.uint32(supportedIpConfiguration);     // 0x10
    out.uint32(currentIpConfiguration);       // 0x14
    out.zeros(12);                            // 0x18
    out.uint32(ipAddress);                    // 0x24
    out.zeros(12);                            // 0x28
    out.uint32(subnetMask);                   // 0x34
    out.zeros(12);                            // 0x38
    out.uint32(defaultGateway);               // 0x44
    out.text(manufacturerName, Register::stringSize);          // 0x48
    out.text(modelName, Register::stringSize);                 // 0x68
    out.text(deviceVersion, Register::stringSize);             // 0x88
    out.text(manufacturerInfo, Register::manufacturerInfoSize); // 0xA8
    out.text(serialNumber, Register::shortStringSize);         // 0xD8
    out.text(userDefinedName, Register::shortStringSize);      // 0xE8
    return payload;
}

std::vector<std::uint8_t> DiscoveryAcknowledge::encode(std::uint16_t acknowledgeId) const {
    return encodeAcknowledge(Status::Success, acknowledgeCodeFor(discoveryCode), acknowledgeId, encodePayload());
}

Parsed<DiscoveryAcknowledge> DiscoveryAcknowledge::parsePayload(Bytes payload) {
    // Longer payloads are read as far as the known fields go.
    if (payload.size() < discoveryAcknowledgePayloadSize)
        return Parsed<DiscoveryAcknowledge>::failure(Status::InvalidParameter);
    DiscoveryAcknowledge result;
    result.versionMajor = readUint16(payload, Register::version);
    result.versionMinor = readUint16(payload, Register::version + 2);
    result.deviceMode = readUint32(payload, Register::deviceMode);
    result.macAddress = readMac(payload, Register::macAddressHigh + 2);
    result.supportedIpConfiguration = readUint32(payload, Register::networkInterfaceCapability);
    result.currentIpConfiguration = readUint32(payload, Register::networkInterfaceConfiguration);
    result.ipAddress = readUint32(payload, Register::currentIpAddress);
    result.subnetMask = readUint32(payload, Register::currentSubnetMask);
    result.defaultGateway = readUint32(payload, Register::currentDefaultGateway);
    result.manufacturerName = readText(payload, Register::manufacturerName, Register::stringSize);
    result.modelName = readText(payload, Register::modelName, Register::stringSize);
    result.deviceVersion = readText(payload, Register::deviceVersion, Register::stringSize);
    result.manufacturerInfo = readText(payload, Register::manufacturerInfo, Register::manufacturerInfoSize);
    result.serialNumber = readText(payload, Register::serialNumber, Register::shortStringSize);
    result.userDefinedName = readText(payload, Register::userDefinedName, Register::shortStringSize);
    return result;
}

Parsed<DiscoveryAcknowledge> DiscoveryAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (isError(acknowledge.header.status))
        return Parsed<DiscoveryAcknowledge>::failure(acknowledge.header.status);
    if (acknowledge.header.acknowledge != acknowledgeCodeFor(discoveryCode))
        return Parsed<DiscoveryAcknowledge>::failure(Status::InvalidParameter);
    return parsePayload(acknowledge.payload);
}

std::vector<std::uint8_t> ForceIpCommand::encode(std::uint16_t requestId, std::uint8_t flags) const {
    std::vector<std::uint8_t> payload;
    payload.reserve(forceIpPayloadSize);
    ByteWriter out(payload);
    out.zeros(2);               // 0x00
    writeMac(out, macAddress);  // 0x02
    out.zeros(12);              // 0x08
    out.uint32(ipAddress);      // 0x14
    out.zeros(12);              // 0x18
    out.uint32(subnetMask);     // 0x24
    out.zeros(12);              // 0x28
    out.uint32(defaultGateway); // 0x34
    return encodeCommand(flags, forceIpCode, requestId, payload);
}

Parsed<ForceIpCommand> ForceIpCommand::parse(const ReceivedCommand& command) {
    const Bytes payload = command.payload;
    if (payload.size() != forceIpPayloadSize) return Parsed<ForceIpCommand>::failure(Status::InvalidParameter);
    return ForceIpCommand{readMac(payload, 0x02), readUint32(payload, 0x14), readUint32(payload, 0x24),
                          readUint32(payload, 0x34)};
}

} // namespace GigE
