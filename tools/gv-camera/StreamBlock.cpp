#include "StreamBlock.h"

#include <stdexcept>

#include <GenTL/GenTLExtensions.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>
#include <GigE/PacketSizing.h>
#include <GigE/PayloadType.h>

namespace GvCamera {

std::uint16_t GvspPayloadType(const VirtualGenTL::FrameInfo& frame) {
    const auto image = std::uint16_t(GigE::PayloadType::Image);
    switch (frame.payloadType) {
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE: return compressedImagePayloadType;
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK: return compressedImageExtendedChunkPayloadType;
    case GenTL::PAYLOAD_TYPE_CHUNK_DATA: return std::uint16_t(GigE::PayloadType::ChunkData);
    case GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK: return image | GigE::payloadTypeExtendedChunkFlag;
    default: return image;
    }
}

namespace {

// Changes whenever the set or order of chunks does, so a receiver may cache where they are.
std::uint32_t ChunkLayoutId(const VirtualGenTL::FrameInfo& frame) {
    std::uint32_t id = 0x811C9DC5;
    for (const VirtualGenTL::ChunkPlacement& chunk : frame.chunks) id = (id ^ chunk.id) * 0x01000193;
    return id;
}

} // namespace

StreamBlock::StreamBlock(std::uint64_t blockId, const std::vector<VirtualGenTL::FrameInfo>& frames,
                         std::vector<std::uint8_t> data, std::uint32_t packetSize, bool extendedId, bool multiPart)
    : m_id(blockId), m_extendedId(extendedId), m_multiPart(multiPart),
      m_payloadType(multiPart ? std::uint16_t(GigE::PayloadType::MultiPart) : GvspPayloadType(frames.at(0))),
      m_data(std::move(data)) {
    m_dataPerPacket = GigE::StreamPacketLayout{extendedId, multiPart}.dataPerPacket(packetSize);
    if (m_dataPerPacket == 0)
        throw std::invalid_argument("packet size " + std::to_string(packetSize) + " leaves no room for data");
    // A payload packet carries data of one part only, so each part starts a packet.
    std::size_t offset = 0;
    std::uint32_t packet = 1;
    for (const VirtualGenTL::FrameInfo& frame : frames) {
        Part part{offset, frame.sizeFilled, packet, std::uint32_t((frame.sizeFilled + m_dataPerPacket - 1) / m_dataPerPacket)};
        offset += part.length;
        packet += part.packets;
        m_parts.push_back(part);
        if (!multiPart) break;
    }
    m_payloadPackets = packet - 1;

    const VirtualGenTL::FrameInfo& first = frames.front();
    const GigE::LeaderPrefix prefix{0, m_payloadType, first.timestampNs};
    if (multiPart) {
        GigE::MultiPartLeader leader{prefix, {}};
        std::uint32_t lines = 0;
        for (std::size_t index = 0; index < m_parts.size(); ++index) {
            const VirtualGenTL::FrameInfo& frame = frames[index];
            GigE::PartDescriptor descriptor;
            descriptor.partLength = m_parts[index].length;
            descriptor.pixelFormat = std::uint32_t(frame.pixelFormat);
            descriptor.sizeX = std::uint32_t(frame.width);
            descriptor.sizeY = std::uint32_t(frame.height);
            descriptor.offsetX = std::uint32_t(frame.offsetX);
            descriptor.offsetY = std::uint32_t(frame.offsetY);
            leader.parts.push_back(descriptor);
            lines += std::uint32_t(frame.height);
        }
        m_leader = GigE::encodeLeader(leader);
        m_trailer = GigE::encodeTrailer(GigE::ImageTrailer{m_payloadType, lines, std::nullopt});
        return;
    }
    if (m_payloadType == std::uint16_t(GigE::PayloadType::ChunkData)) {
        m_leader = GigE::encodeLeader(GigE::ChunkDataLeader{prefix});
        m_trailer = GigE::encodeTrailer(
            GigE::ChunkDataTrailer{m_payloadType, std::uint32_t(m_data.size()), ChunkLayoutId(first)});
        return;
    }
    GigE::ImageLeader leader;
    leader.prefix = prefix;
    leader.pixelFormat = std::uint32_t(first.pixelFormat);
    leader.sizeX = std::uint32_t(first.width);
    leader.sizeY = std::uint32_t(first.height);
    leader.offsetX = std::uint32_t(first.offsetX);
    leader.offsetY = std::uint32_t(first.offsetY);
    m_leader = GigE::encodeLeader(leader);
    GigE::ImageTrailer trailer{m_payloadType, std::uint32_t(first.height), std::nullopt};
    if (first.containsChunks) trailer.chunkLayoutId = ChunkLayoutId(first);
    m_trailer = GigE::encodeTrailer(trailer);
}

const StreamBlock::Part& StreamBlock::PartOf(std::uint32_t packetId, std::uint32_t& index) const {
    index = 0;
    while (index + 1 < m_parts.size() && packetId >= m_parts[index + 1].firstPacket) ++index;
    return m_parts[index];
}

void StreamBlock::Header(std::uint32_t packetId, GigE::Status status, std::uint16_t flags,
                         std::vector<std::uint8_t>& out) const {
    GigE::GvspHeader header;
    header.status = status;
    header.extendedId = m_extendedId;
    header.flags = m_extendedId ? flags : 0;
    header.format = packetId == 0                  ? GigE::PacketFormat::Leader
                    : packetId == TrailerPacketId() ? GigE::PacketFormat::Trailer
                    : m_multiPart                  ? GigE::PacketFormat::MultiPart
                                                   : GigE::PacketFormat::Payload;
    header.blockId = m_id;
    header.packetId = packetId;
    const std::size_t start = out.size();
    header.encodeInto(out);
    // Receivers may size a multi-part block before its leader's descriptors: the extended
    // header's low byte, reserved otherwise, gives the number of parts.
    if (m_multiPart && m_extendedId && packetId == 0) out[start + 7] = std::uint8_t(m_parts.size());
    if (m_multiPart && IsPayload(packetId)) {
        std::uint32_t index = 0;
        const Part& part = PartOf(packetId, index);
        // The offset counts from the start of the block, its parts lying back to back in leader
        // order, as receivers that place the data by offset alone expect.
        GigE::MultiPartPayloadHeader{std::uint8_t(index), 0,
                                     part.offset + std::uint64_t(packetId - part.firstPacket) * m_dataPerPacket}
            .encodeInto(out);
    }
}

std::span<const std::uint8_t> StreamBlock::Content(std::uint32_t packetId) const {
    if (packetId == 0) return m_leader;
    if (packetId == TrailerPacketId()) return m_trailer;
    if (!IsPayload(packetId)) return {};
    std::uint32_t index = 0;
    const Part& part = PartOf(packetId, index);
    const std::size_t offset = std::size_t(packetId - part.firstPacket) * m_dataPerPacket;
    return std::span<const std::uint8_t>(m_data).subspan(part.offset + offset,
                                                         std::min<std::size_t>(m_dataPerPacket, part.length - offset));
}

} // namespace GvCamera
