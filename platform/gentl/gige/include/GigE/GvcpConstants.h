// GVCP message codes, flag bits, limits and event ids.
#pragma once

#include <cstddef>
#include <cstdint>

namespace GigE {

constexpr std::uint16_t gvcpPort = 3956;

constexpr std::uint8_t commandKey = 0x42;
constexpr std::size_t gvcpHeaderSize = 8;
// A control datagram stays within 576 bytes at IP level so that it is never fragmented:
// 20 bytes of IP and 8 of UDP leave 548, of which the header takes 8.
constexpr std::size_t gvcpMaxPayloadSize = 540;
constexpr std::size_t gvcpMaxDatagramSize = gvcpHeaderSize + gvcpMaxPayloadSize;

enum class CommandCode : std::uint16_t {
    Discovery = 0x0002,
    ForceIp = 0x0004,
    PacketResend = 0x0040,
    ReadRegister = 0x0080,
    WriteRegister = 0x0082,
    ReadMemory = 0x0084,
    WriteMemory = 0x0086,
    Event = 0x00C0,
    EventData = 0x00C2,
    Action = 0x0100,
};

enum class AcknowledgeCode : std::uint16_t {
    Discovery = 0x0003,
    ForceIp = 0x0005,
    PacketResend = 0x0041, // never sent: resend requests are answered with stream packets
    ReadRegister = 0x0081,
    WriteRegister = 0x0083,
    ReadMemory = 0x0085,
    WriteMemory = 0x0087,
    Pending = 0x0089,
    Event = 0x00C1,
    EventData = 0x00C3,
    Action = 0x0101,
};

// Every acknowledge code is its command's code plus one, unknown commands included.
constexpr std::uint16_t acknowledgeCodeFor(std::uint16_t commandCode) {
    return static_cast<std::uint16_t>(commandCode + 1);
}
constexpr AcknowledgeCode acknowledgeCodeFor(CommandCode command) {
    return static_cast<AcknowledgeCode>(acknowledgeCodeFor(static_cast<std::uint16_t>(command)));
}

// Command flag byte. 0x10 and 0x80 mean different things for different commands.
namespace CommandFlag {
constexpr std::uint8_t acknowledge = 0x01;
constexpr std::uint8_t allowBroadcastAcknowledge = 0x10; // DISCOVERY
constexpr std::uint8_t extendedId = 0x10;                // PACKETRESEND, EVENT, EVENTDATA
constexpr std::uint8_t scheduledAction = 0x80;           // ACTION
constexpr std::uint8_t reserved = 0x0E | 0x60;
} // namespace CommandFlag

// Most addresses, values or 32-bit words one READREG or WRITEREG can carry.
constexpr std::size_t maxReadRegisterCount = gvcpMaxPayloadSize / 4;  // 135
constexpr std::size_t maxWriteRegisterCount = gvcpMaxPayloadSize / 8; // 67
// READMEM and WRITEMEM: the 4-byte address leaves 536 bytes of data.
constexpr std::size_t maxMemoryDataSize = gvcpMaxPayloadSize - 4;     // 536

enum class EventId : std::uint16_t {
    Trigger = 0x0000,
    StartOfExposure = 0x0001,
    EndOfExposure = 0x0002,
    StartOfTransfer = 0x0003,
    EndOfTransfer = 0x0004,
    PrimaryApplicationSwitch = 0x0005,
    LinkSpeedChange = 0x0006,
    ActionLate = 0x0007,
};
constexpr std::uint16_t firstErrorEventId = 0x8001;
constexpr std::uint16_t lastErrorEventId = 0x8FFF;
constexpr std::uint16_t firstDeviceSpecificEventId = 0x9000;

} // namespace GigE
