// GVSP packet headers: the 8-byte standard-ID form and the 20-byte extended-ID form, and
// the 8-byte header that starts each multi-part payload packet.
#pragma once

#include <cstdint>
#include <vector>

#include <GigE/ByteOrder.h>
#include <GigE/Parsed.h>
#include <GigE/Status.h>

namespace GigE {

constexpr std::size_t gvspStandardHeaderSize = 8;
constexpr std::size_t gvspExtendedHeaderSize = 20;
constexpr std::size_t multiPartPayloadHeaderSize = 8;
constexpr std::uint32_t maxStandardPacketId = 0x00FFFFFF;

enum class PacketFormat : std::uint8_t {
    Leader = 1,
    Trailer = 2,
    Payload = 3,
    AllIn = 4,     // leader, payload and trailer in one packet
    H264 = 5,      // layout not handled here
    MultiZone = 6, // layout not handled here
    MultiPart = 7,
    GenDC = 8,     // layout not handled here
};

// Flag field of the extended-ID header. The bit positions still need confirming on devices.
namespace GvspFlag {
constexpr std::uint16_t packetResend = 0x0001;
constexpr std::uint16_t previousBlockDropped = 0x0002;
constexpr std::uint16_t resendRangeError = 0x0004;
constexpr std::uint16_t deviceSpecificMask = 0xFF00;
} // namespace GvspFlag

struct GvspHeader {
    Status status = Status::Success; // PACKET_RESEND for a resent packet, an error for a missing one
    bool extendedId = false;
    std::uint16_t flags = 0;        // extended-ID form only
    PacketFormat format = PacketFormat::Payload;
    std::uint64_t blockId = 0;      // never 0; 16 bits in the standard form
    std::uint32_t packetId = 0;     // 0 leader, 1...N payload, N+1 trailer; 24 bits in the standard form

    std::size_t size() const { return extendedId ? gvspExtendedHeaderSize : gvspStandardHeaderSize; }
    // Appends the header. Ids too wide for the standard form, or a block id of 0:
    // std::invalid_argument.
    void encodeInto(std::vector<std::uint8_t>& out) const;
    bool operator==(const GvspHeader&) const = default;
};

struct GvspPacket {
    GvspHeader header;
    Bytes content; // what follows the header
};

// INVALID_HEADER for a datagram shorter than its header, a block id of 0 or an unknown
// packet format. The form is chosen by the EI bit, which is read before anything else.
Parsed<GvspPacket> parseGvspPacket(Bytes datagram);

// A whole datagram: the header followed by the content.
std::vector<std::uint8_t> encodeGvspPacket(const GvspHeader& header, Bytes content);

// Starts each multi-part payload packet. Whether the offset counts from the start of the
// part or of the whole block is not settled; this layer only carries the number.
struct MultiPartPayloadHeader {
    std::uint8_t partId = 0; // index into the leader's part descriptors
    std::uint8_t zoneInfo = 0;
    std::uint64_t offset = 0; // 48 bits

    void encodeInto(std::vector<std::uint8_t>& out) const;
    static Parsed<MultiPartPayloadHeader> parse(Bytes content);
    bool operator==(const MultiPartPayloadHeader&) const = default;
};

} // namespace GigE
