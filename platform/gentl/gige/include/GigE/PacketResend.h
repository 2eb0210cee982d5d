// PACKETRESEND: a host asks a device to send stream packets again. Never acknowledged.
#pragma once

#include <cstdint>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

constexpr std::size_t packetResendStandardSize = 12;
constexpr std::size_t packetResendExtendedSize = 20;
// A last packet id of all ones is believed to mean "to the end of the block"; receivers
// should not depend on devices understanding it.
constexpr std::uint32_t resendToEndStandard = 0x00FFFFFF;
constexpr std::uint32_t resendToEndExtended = 0xFFFFFFFF;

struct PacketResendCommand {
    bool extendedId = false; // 64-bit block id, 32-bit packet ids (flag 0x10)
    std::uint16_t streamChannel = 0;
    std::uint64_t blockId = 0;       // 16 bits in the standard form
    std::uint32_t firstPacketId = 0; // 24 bits in the standard form
    std::uint32_t lastPacketId = 0;  // inclusive

    // The standard form cannot carry block ids above 16 bits or packet ids above 24 bits:
    // std::invalid_argument.
    std::vector<std::uint8_t> encode(std::uint16_t requestId) const;
    // INVALID_PARAMETER for a payload length that does not match the extended-ID flag,
    // a block id of 0 or a first packet after the last.
    static Parsed<PacketResendCommand> parse(const ReceivedCommand& command);
    bool operator==(const PacketResendCommand&) const = default;
};

} // namespace GigE
