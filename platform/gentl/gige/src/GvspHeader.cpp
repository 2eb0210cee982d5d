#include <GigE/GvspHeader.h>

#include <stdexcept>

namespace GigE {

namespace {

constexpr std::uint8_t extendedIdBit = 0x80;
constexpr std::uint8_t formatMask = 0x0F;

bool knownFormat(std::uint8_t code) {
    return code >= static_cast<std::uint8_t>(PacketFormat::Leader) &&
           code <= static_cast<std::uint8_t>(PacketFormat::GenDC);
}

} // namespace

void GvspHeader::encodeInto(std::vector<std::uint8_t>& out) const {
    if (blockId == 0) throw std::invalid_argument("GVSP block id 0 is never valid");
    ByteWriter writer(out);
    writer.uint16(static_cast<std::uint16_t>(status));
    const auto formatCode = static_cast<std::uint8_t>(format);
    if (extendedId) {
        writer.uint16(flags);
        writer.uint8(static_cast<std::uint8_t>(extendedIdBit | formatCode));
        writer.zeros(3);
        writer.uint64(blockId);
        writer.uint32(packetId);
    } else {
        if (blockId > 0xFFFF || packetId > maxStandardPacketId)
            throw std::invalid_argument("block or packet id too large for a standard-ID GVSP header");
        writer.uint16(static_cast<std::uint16_t>(blockId));
        writer.uint8(formatCode);
        writer.uint24(packetId);
    }
}

Parsed<GvspPacket> parseGvspPacket(Bytes datagram) {
    if (datagram.size() < gvspStandardHeaderSize) return Parsed<GvspPacket>::failure(Status::InvalidHeader);
    GvspPacket packet;
    GvspHeader& header = packet.header;
    header.status = static_cast<Status>(readUint16(datagram, 0));
    header.extendedId = (datagram[4] & extendedIdBit) != 0;
    // Only the low nibble holds the format: the three bits above it are reserved.
    const std::uint8_t formatCode = datagram[4] & formatMask;
    if (!knownFormat(formatCode)) return Parsed<GvspPacket>::failure(Status::InvalidHeader);
    header.format = static_cast<PacketFormat>(formatCode);
    if (header.extendedId) {
        if (datagram.size() < gvspExtendedHeaderSize) return Parsed<GvspPacket>::failure(Status::InvalidHeader);
        header.flags = readUint16(datagram, 2);
        header.blockId = readUint64(datagram, 8);
        header.packetId = readUint32(datagram, 16);
    } else {
        header.blockId = readUint16(datagram, 2);
        header.packetId = readUint24(datagram, 5);
    }
    if (header.blockId == 0) return Parsed<GvspPacket>::failure(Status::InvalidHeader);
    packet.content = datagram.subspan(header.size());
    return packet;
}

std::vector<std::uint8_t> encodeGvspPacket(const GvspHeader& header, Bytes content) {
    std::vector<std::uint8_t> datagram;
    datagram.reserve(header.size() + content.size());
    header.encodeInto(datagram);
    datagram.insert(datagram.end(), content.begin(), content.end());
    return datagram;
}

void MultiPartPayloadHeader::encodeInto(std::vector<std::uint8_t>& out) const {
    if (offset >> 48 != 0) throw std::invalid_argument("multi-part offset wider than 48 bits");
    ByteWriter writer(out);
    writer.uint8(partId);
    writer.uint8(zoneInfo);
    writer.uint48(offset);
}

Parsed<MultiPartPayloadHeader> MultiPartPayloadHeader::parse(Bytes content) {
    if (content.size() < multiPartPayloadHeaderSize)
        return Parsed<MultiPartPayloadHeader>::failure(Status::InvalidHeader);
    return MultiPartPayloadHeader{content[0], content[1], readUint48(content, 2)};
}

} // namespace GigE
