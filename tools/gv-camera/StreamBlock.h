// One block of a camera's stream on its way to a host: a frame (or, in a multi-part block,
// several frames as its parts), its GVSP leader and trailer, and how they are cut into
// packets. Kept for a while after it was sent, so that packets can be sent again when a host
// asks for them.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <GigE/GvspHeader.h>

#include "camera/VirtualCamera.h"

namespace GvCamera {

// Compressed frames have no payload type of their own in GigE Vision: they travel as
// device-specific types with an image leader whose pixel format is the compressed one
// (e.g. QOI Mono8), and whose size is the decoded image's.
constexpr std::uint16_t compressedImagePayloadType = 0x8001;
constexpr std::uint16_t compressedImageExtendedChunkPayloadType = 0xC001;

// The GVSP payload type for a frame the camera produced.
std::uint16_t GvspPayloadType(const VirtualGenTL::FrameInfo& frame);

class StreamBlock {
public:
    // data holds the frames back to back; a multi-part block makes each frame a part, any
    // other block has exactly one frame. blockId as it goes on the wire (16 bits unless
    // extendedId). std::invalid_argument when the packet size leaves no room for data.
    StreamBlock(std::uint64_t blockId, const std::vector<VirtualGenTL::FrameInfo>& frames,
                std::vector<std::uint8_t> data, std::uint32_t packetSize, bool extendedId, bool multiPart);

    std::uint64_t Id() const { return m_id; }
    bool ExtendedId() const { return m_extendedId; }
    std::uint16_t PayloadType() const { return m_payloadType; }
    std::uint32_t PacketCount() const { return m_payloadPackets + 2; }
    std::uint32_t TrailerPacketId() const { return m_payloadPackets + 1; }
    std::size_t DataBytes() const { return m_data.size(); }

    // The GVSP header of a packet (and a multi-part payload packet's part header), appended
    // to out; and the bytes that follow them.
    void Header(std::uint32_t packetId, GigE::Status status, std::uint16_t flags, std::vector<std::uint8_t>& out) const;
    std::span<const std::uint8_t> Content(std::uint32_t packetId) const;
    bool IsPayload(std::uint32_t packetId) const { return packetId >= 1 && packetId <= m_payloadPackets; }
    // The frame memory, for another block to reuse once nothing sends from this one any more.
    std::vector<std::uint8_t> TakeData() { return std::move(m_data); }

private:
    struct Part {
        std::size_t offset = 0;  // in m_data
        std::size_t length = 0;
        std::uint32_t firstPacket = 1;
        std::uint32_t packets = 0;
    };
    const Part& PartOf(std::uint32_t packetId, std::uint32_t& index) const;

    std::uint64_t m_id;
    bool m_extendedId;
    bool m_multiPart;
    std::uint16_t m_payloadType;
    std::vector<std::uint8_t> m_data;
    std::vector<std::uint8_t> m_leader;
    std::vector<std::uint8_t> m_trailer;
    std::vector<Part> m_parts;
    std::uint32_t m_dataPerPacket = 0;
    std::uint32_t m_payloadPackets = 0;
};

} // namespace GvCamera
