// The bootstrap register map (0x0000-0x9FFF) and the bits of its registers. Bit masks are
// given as values of the 32-bit register.
#pragma once

#include <cstdint>

namespace GigE::Register {

constexpr std::uint32_t version = 0x0000;
constexpr std::uint32_t deviceMode = 0x0004;
constexpr std::uint32_t macAddressHigh = 0x0008;
constexpr std::uint32_t macAddressLow = 0x000C;
constexpr std::uint32_t networkInterfaceCapability = 0x0010;
constexpr std::uint32_t networkInterfaceConfiguration = 0x0014;
constexpr std::uint32_t currentIpAddress = 0x0024;
constexpr std::uint32_t currentSubnetMask = 0x0034;
constexpr std::uint32_t currentDefaultGateway = 0x0044;
constexpr std::uint32_t manufacturerName = 0x0048;
constexpr std::uint32_t modelName = 0x0068;
constexpr std::uint32_t deviceVersion = 0x0088;
constexpr std::uint32_t manufacturerInfo = 0x00A8;
constexpr std::uint32_t serialNumber = 0x00D8;
constexpr std::uint32_t userDefinedName = 0x00E8;
constexpr std::uint32_t firstUrl = 0x0200;
constexpr std::uint32_t secondUrl = 0x0400;
constexpr std::uint32_t networkInterfaceCount = 0x0600;
constexpr std::uint32_t persistentIpAddress = 0x064C;
constexpr std::uint32_t persistentSubnetMask = 0x065C;
constexpr std::uint32_t persistentDefaultGateway = 0x066C;
constexpr std::uint32_t linkSpeed = 0x0670;
constexpr std::uint32_t messageChannelCount = 0x0900;
constexpr std::uint32_t streamChannelCount = 0x0904;
constexpr std::uint32_t actionSignalCount = 0x0908;
constexpr std::uint32_t actionDeviceKey = 0x090C;
constexpr std::uint32_t activeLinkCount = 0x0910;
constexpr std::uint32_t gvspCapability = 0x092C;
constexpr std::uint32_t messageChannelCapability = 0x0930;
constexpr std::uint32_t gvcpCapability = 0x0934;
constexpr std::uint32_t heartbeatTimeout = 0x0938;
constexpr std::uint32_t timestampTickFrequencyHigh = 0x093C;
constexpr std::uint32_t timestampTickFrequencyLow = 0x0940;
constexpr std::uint32_t timestampControl = 0x0944;
constexpr std::uint32_t timestampValueHigh = 0x0948;
constexpr std::uint32_t timestampValueLow = 0x094C;
constexpr std::uint32_t discoveryAckDelay = 0x0950;
constexpr std::uint32_t gvcpConfiguration = 0x0954;
constexpr std::uint32_t pendingTimeout = 0x0958;
constexpr std::uint32_t controlSwitchoverKey = 0x095C;
constexpr std::uint32_t gvspConfiguration = 0x0960;
constexpr std::uint32_t physicalLinkConfigurationCapability = 0x0964;
constexpr std::uint32_t physicalLinkConfiguration = 0x0968;
constexpr std::uint32_t ieee1588Status = 0x096C;
constexpr std::uint32_t scheduledActionQueueSize = 0x0970;
constexpr std::uint32_t controlChannelPrivilege = 0x0A00;
constexpr std::uint32_t primaryApplicationPort = 0x0A04;
constexpr std::uint32_t primaryApplicationIpAddress = 0x0A14;
constexpr std::uint32_t messageChannelPort = 0x0B00;
constexpr std::uint32_t messageChannelDestinationAddress = 0x0B10;
constexpr std::uint32_t messageChannelTransmissionTimeout = 0x0B14;
constexpr std::uint32_t messageChannelRetryCount = 0x0B18;
constexpr std::uint32_t messageChannelSourcePort = 0x0B1C;
constexpr std::uint32_t manifestTable = 0x9000;
constexpr std::uint32_t deviceSpecificStart = 0xA000;

constexpr std::uint32_t stringSize = 32;            // manufacturer, model, device version
constexpr std::uint32_t manufacturerInfoSize = 48;
constexpr std::uint32_t shortStringSize = 16;       // serial number, user-defined name
constexpr std::uint32_t urlSize = 512;
constexpr std::uint32_t defaultHeartbeatTimeoutMs = 3000;

// Network interfaces 1-3 repeat interface 0's registers in one 0x80 block each. The
// offsets inside a block are less certain than interface 0's addresses.
constexpr std::uint32_t extraInterfaceBase = 0x0680;
constexpr std::uint32_t extraInterfaceStride = 0x80;
constexpr std::uint32_t extraInterface(std::uint32_t index) { // index 1 ... 3
    return extraInterfaceBase + extraInterfaceStride * (index - 1);
}
namespace InterfaceOffset {
constexpr std::uint32_t macAddressHigh = 0x00;
constexpr std::uint32_t macAddressLow = 0x04;
constexpr std::uint32_t capability = 0x08;
constexpr std::uint32_t configuration = 0x0C;
constexpr std::uint32_t currentIpAddress = 0x1C;
constexpr std::uint32_t currentSubnetMask = 0x2C;
constexpr std::uint32_t currentDefaultGateway = 0x3C;
constexpr std::uint32_t persistentIpAddress = 0x4C;
constexpr std::uint32_t persistentSubnetMask = 0x5C;
constexpr std::uint32_t persistentDefaultGateway = 0x6C;
constexpr std::uint32_t linkSpeed = 0x70;
} // namespace InterfaceOffset

// Stream channel n occupies streamChannelStride bytes from streamChannel(n).
constexpr std::uint32_t streamChannelBase = 0x0D00;
constexpr std::uint32_t streamChannelStride = 0x40;
constexpr std::uint32_t maxStreamChannelCount = 512;
constexpr std::uint32_t streamChannel(std::uint32_t channel) {
    return streamChannelBase + streamChannelStride * channel;
}
namespace StreamChannelOffset {
constexpr std::uint32_t port = 0x00;               // SCPn
constexpr std::uint32_t packetSize = 0x04;         // SCPSn
constexpr std::uint32_t packetDelay = 0x08;        // SCPDn
constexpr std::uint32_t destinationAddress = 0x18; // SCDAn
constexpr std::uint32_t sourcePort = 0x1C;         // SCSPn
constexpr std::uint32_t capability = 0x20;         // SCCn
constexpr std::uint32_t configuration = 0x24;      // SCCFGn
constexpr std::uint32_t zoneCount = 0x28;          // SCZn
constexpr std::uint32_t zoneDirections = 0x2C;     // SCZDn
} // namespace StreamChannelOffset

// Action signal i has a group key and a group mask.
constexpr std::uint32_t actionGroupKeyBase = 0x9800;
constexpr std::uint32_t actionGroupStride = 0x10;
constexpr std::uint32_t actionGroupKey(std::uint32_t signal) {
    return actionGroupKeyBase + actionGroupStride * signal;
}
constexpr std::uint32_t actionGroupMask(std::uint32_t signal) {
    return actionGroupKey(signal) + 4;
}

namespace DeviceMode {
constexpr std::uint32_t bigEndian = 0x80000000;
constexpr std::uint32_t deviceClassMask = 0x70000000;
constexpr unsigned deviceClassShift = 28;
constexpr std::uint32_t deviceClassTransmitter = 0;
constexpr std::uint32_t deviceClassReceiver = 1;
constexpr std::uint32_t deviceClassTransceiver = 2;
constexpr std::uint32_t deviceClassPeripheral = 3;
constexpr std::uint32_t currentLinkConfigurationMask = 0x0C000000;
constexpr unsigned currentLinkConfigurationShift = 26;
// Hosts differ on how many low bits hold the character set; the low byte is enough for
// the values in use.
constexpr std::uint32_t characterSetMask = 0x000000FF;
constexpr std::uint32_t characterSetUtf8 = 1;
constexpr std::uint32_t characterSetAscii = 2;
} // namespace DeviceMode

namespace IpConfiguration {
constexpr std::uint32_t persistentIp = 0x00000001;
constexpr std::uint32_t dhcp = 0x00000002;
constexpr std::uint32_t linkLocalAddress = 0x00000004;
constexpr std::uint32_t pauseReception = 0x80000000;
constexpr std::uint32_t pauseGeneration = 0x40000000;
} // namespace IpConfiguration

namespace GvcpCapability {
constexpr std::uint32_t userDefinedName = 0x80000000;
constexpr std::uint32_t serialNumber = 0x40000000;
constexpr std::uint32_t heartbeatDisable = 0x20000000;
constexpr std::uint32_t linkSpeed = 0x10000000;
constexpr std::uint32_t primaryApplicationPortAndIp = 0x08000000;
constexpr std::uint32_t manifestTable = 0x04000000;
constexpr std::uint32_t testData = 0x02000000;
constexpr std::uint32_t discoveryAckDelay = 0x01000000;
constexpr std::uint32_t discoveryAckDelayWritable = 0x00800000;
constexpr std::uint32_t extendedStatusCodes = 0x00400000;
constexpr std::uint32_t primaryApplicationSwitchover = 0x00200000;
constexpr std::uint32_t unconditionalAction = 0x00100000;
constexpr std::uint32_t ieee1588 = 0x00080000;
constexpr std::uint32_t extendedStatusCodes2 = 0x00040000;
constexpr std::uint32_t scheduledAction = 0x00020000;
constexpr std::uint32_t action = 0x00000040;
constexpr std::uint32_t pendingAck = 0x00000020;
constexpr std::uint32_t eventData = 0x00000010;
constexpr std::uint32_t event = 0x00000008;
constexpr std::uint32_t packetResend = 0x00000004;
constexpr std::uint32_t writeMemory = 0x00000002;
constexpr std::uint32_t concatenation = 0x00000001;
} // namespace GvcpCapability

// Only heartbeat-disable is certain here; the other positions still need confirming on a
// device that implements them.
namespace GvcpConfiguration {
constexpr std::uint32_t heartbeatDisable = 0x00000001;
constexpr std::uint32_t pendingAck = 0x00000002;
constexpr std::uint32_t extendedStatusCodes = 0x00000004;
constexpr std::uint32_t unconditionalAction = 0x00000008;
constexpr std::uint32_t extendedStatusCodes2 = 0x00040000;
constexpr std::uint32_t ieee1588 = 0x00080000;
} // namespace GvcpConfiguration

namespace ControlChannelPrivilege {
constexpr std::uint32_t exclusiveAccess = 0x00000001;
constexpr std::uint32_t controlAccess = 0x00000002;
constexpr std::uint32_t switchoverEnable = 0x00000004;
constexpr std::uint32_t switchoverKeyMask = 0xFFFF0000;
constexpr unsigned switchoverKeyShift = 16;
} // namespace ControlChannelPrivilege

namespace TimestampControl {
constexpr std::uint32_t reset = 0x00000001;
constexpr std::uint32_t latch = 0x00000002;
} // namespace TimestampControl

namespace MessageChannelCapability {
constexpr std::uint32_t sourcePortRegister = 0x80000000;
} // namespace MessageChannelCapability

// The port layout shared by SCPn and MCP.
namespace ChannelPort {
constexpr std::uint32_t hostPortMask = 0x0000FFFF;
constexpr std::uint32_t interfaceIndexMask = 0x000F0000;
constexpr unsigned interfaceIndexShift = 16;
constexpr std::uint32_t direction = 0x80000000; // SCPn only; 0 for a transmitter
} // namespace ChannelPort

namespace StreamChannelPacketSize {
constexpr std::uint32_t fireTestPacket = 0x80000000;
constexpr std::uint32_t doNotFragment = 0x40000000;
constexpr std::uint32_t bigEndianPixels = 0x20000000;
constexpr std::uint32_t packetSizeMask = 0x0000FFFF;
} // namespace StreamChannelPacketSize

// SCCn advertises and SCCFGn enables the same bit, where both exist.
namespace StreamChannelCapability {
constexpr std::uint32_t bigAndLittleEndian = 0x80000000;
constexpr std::uint32_t ipReassembly = 0x40000000;
constexpr std::uint32_t multiPart = 0x00000040;
constexpr std::uint32_t largeLeaderTrailer = 0x00000020;
constexpr std::uint32_t multiZone = 0x00000010;
constexpr std::uint32_t packetResendDestination = 0x00000008;
constexpr std::uint32_t allInTransmission = 0x00000004;
constexpr std::uint32_t unconditionalStreaming = 0x00000002;
constexpr std::uint32_t extendedChunkData = 0x00000001;
} // namespace StreamChannelCapability

namespace StreamChannelConfiguration {
constexpr std::uint32_t multiPart = StreamChannelCapability::multiPart;
constexpr std::uint32_t largeLeaderTrailer = StreamChannelCapability::largeLeaderTrailer;
constexpr std::uint32_t packetResendDestination = StreamChannelCapability::packetResendDestination;
constexpr std::uint32_t allInTransmission = StreamChannelCapability::allInTransmission;
constexpr std::uint32_t unconditionalStreaming = StreamChannelCapability::unconditionalStreaming;
constexpr std::uint32_t extendedChunkData = StreamChannelCapability::extendedChunkData;
} // namespace StreamChannelConfiguration

namespace GvspCapability {
constexpr std::uint32_t sourcePortRegisters = 0x80000000;
constexpr std::uint32_t legacyBlockId = 0x40000000;
} // namespace GvspCapability

namespace GvspConfiguration {
// 64-bit block ids and 32-bit packet ids on the stream; also selects the extended layouts
// of PACKETRESEND and EVENT.
constexpr std::uint32_t extendedIds = 0x40000000;
} // namespace GvspConfiguration

} // namespace GigE::Register
