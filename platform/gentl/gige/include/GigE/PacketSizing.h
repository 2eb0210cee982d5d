// How a block is cut into stream packets. The packet size a host writes to SCPSn is the
// IP datagram size: 20 bytes of IPv4 header and 8 of UDP come before the GVSP header.
#pragma once

#include <cstdint>

namespace GigE {

constexpr std::uint32_t ipHeaderSize = 20;
constexpr std::uint32_t udpHeaderSize = 8;
constexpr std::uint32_t minimumPacketSize = 576; // fits any IPv4 path

struct StreamPacketLayout {
    bool extendedId = false;
    bool multiPart = false; // each payload packet starts with an 8-byte part header

    // IP, UDP and GVSP headers (and the part header) of one payload packet.
    std::uint32_t overhead() const;
    // Block bytes per payload packet for a packet size; 0 when the size leaves no room.
    std::uint32_t dataPerPacket(std::uint32_t packetSize) const;
};

struct BlockPacketCount {
    std::uint64_t payloadPackets = 0;
    std::uint64_t totalPackets = 0;  // leader + payload packets + trailer
    std::uint64_t trailerPacketId = 0;
    // Bytes in the last payload packet (a full packet when the payload divides evenly).
    std::uint32_t lastPacketData = 0;
};

// Packet count of a block of payloadBytes: 1 leader, ceil(payloadBytes / S) payload
// packets, 1 trailer. All zeros when the packet size leaves no room for data.
BlockPacketCount countBlockPackets(std::uint64_t payloadBytes, std::uint32_t packetSize,
                                   const StreamPacketLayout& layout = {});

// Where the data of payload packet packetId (1...N) starts in the block.
constexpr std::uint64_t payloadOffset(std::uint64_t packetId, std::uint32_t dataPerPacket) {
    return (packetId - 1) * dataPerPacket;
}

// The UDP payload a receiver needs room for.
constexpr std::uint32_t udpPayloadSize(std::uint32_t packetSize) {
    return packetSize > ipHeaderSize + udpHeaderSize ? packetSize - ipHeaderSize - udpHeaderSize : 0;
}

} // namespace GigE
