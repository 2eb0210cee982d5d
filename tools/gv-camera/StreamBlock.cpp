#include "StreamBlock.h"

#include <stdexcept>

#include <GenTL/GenTLExtensions.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>
#include <GigE/PacketSizing.h>
#include <GigE/PayloadType.h>

namespace GvCamera {

std::uint16_t GvspPayloadType(const VirtualGenTL::FrameInfo& frame) {
    switch (frame.payloadType) {
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE: return compressedImagePayloadType;
    case GenTL::PAYLOAD_TYPE_COMPRESSED_IMAGE_EXTENDED_CHUNK: return compressedImageExtendedChunkPayloadType;
    case GenTL::PAYLOAD_TYPE_CHUNK_DATA: return std::uint16_t(GigE::PayloadType::ChunkData);
    case GenTL::PAYLOAD_TYPE_IMAGE_EXTENDED_CHUNK: return 0x4001;
    default: return std::uint16_t(GigE::PayloadType::Image);
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

StreamBlock::StreamBlock(std::uint64_t blockId, const VirtualGenTL::FrameInfo& frame, std::vector<std::uint8_t> data,
                         std::uint32_t packetSize, bool extendedId)
    : m_id(blockId), m_extendedId(extendedId), m_payloadType(GvspPayloadType(frame)), m_data(std::move(data)) {
    const GigE::StreamPacketLayout layout{extendedId, false};
    m_dataPerPacket = layout.dataPerPacket(packetSize);
    if (m_dataPerPacket == 0) throw std::invalid_argument("packet size " + std::to_string(packetSize) + " leaves no room for data");
    m_payloadPackets = std::uint32_t((m_data.size() + m_dataPerPacket - 1) / m_dataPerPacket);

    const GigE::LeaderPrefix prefix{0, m_payloadType, frame.timestampNs};
    const bool chunks = frame.containsChunks;
    if (m_payloadType == std::uint16_t(GigE::PayloadType::ChunkData)) {
        m_leader = GigE::encodeLeader(GigE::ChunkDataLeader{prefix});
        m_trailer = GigE::encodeTrailer(
            GigE::ChunkDataTrailer{m_payloadType, std::uint32_t(m_data.size()), ChunkLayoutId(frame)});
        return;
    }
    GigE::ImageLeader leader;
    leader.prefix = prefix;
    leader.pixelFormat = std::uint32_t(frame.pixelFormat);
    leader.sizeX = std::uint32_t(frame.width);
    leader.sizeY = std::uint32_t(frame.height);
    leader.offsetX = std::uint32_t(frame.offsetX);
    leader.offsetY = std::uint32_t(frame.offsetY);
    m_leader = GigE::encodeLeader(leader);
    GigE::ImageTrailer trailer{m_payloadType, std::uint32_t(frame.height), std::nullopt};
    if (chunks) trailer.chunkLayoutId = ChunkLayoutId(frame);
    m_trailer = GigE::encodeTrailer(trailer);
}

void StreamBlock::Header(std::uint32_t packetId, GigE::Status status, std::uint16_t flags,
                         std::vector<std::uint8_t>& out) const {
    GigE::GvspHeader header;
    header.status = status;
    header.extendedId = m_extendedId;
    header.flags = m_extendedId ? flags : 0;
    header.format = packetId == 0 ? GigE::PacketFormat::Leader
                                  : (packetId == TrailerPacketId() ? GigE::PacketFormat::Trailer : GigE::PacketFormat::Payload);
    header.blockId = m_id;
    header.packetId = packetId;
    header.encodeInto(out);
}

std::span<const std::uint8_t> StreamBlock::Content(std::uint32_t packetId) const {
    if (packetId == 0) return m_leader;
    if (packetId == TrailerPacketId()) return m_trailer;
    if (!IsPayload(packetId)) return {};
    const std::size_t offset = GigE::payloadOffset(packetId, m_dataPerPacket);
    return std::span<const std::uint8_t>(m_data).subspan(offset, std::min<std::size_t>(m_dataPerPacket, m_data.size() - offset));
}

} // namespace GvCamera
