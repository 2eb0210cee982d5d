#include <GigE/GvspLeader.h>

#include <stdexcept>

namespace GigE {

namespace {

void writePrefix(ByteWriter& out, const LeaderPrefix& prefix) {
    out.uint8(prefix.fieldInfo);
    out.uint8(0);
    out.uint16(prefix.payloadType);
    out.uint64(prefix.timestamp);
}

LeaderPrefix readPrefix(Bytes bytes) {
    return {bytes[0], readUint16(bytes, 2), readUint64(bytes, 4)};
}

void writePart(ByteWriter& out, const PartDescriptor& part) {
    if (part.partLength >> 48 != 0) throw std::invalid_argument("part length wider than 48 bits");
    out.uint16(part.dataType);
    out.uint48(part.partLength);
    out.uint32(part.pixelFormat);
    out.uint16(0);
    out.uint8(part.sourceId);
    out.uint8(part.additionalZones);
    out.uint32(part.zoneDirections);
    out.uint16(part.dataPurposeId);
    out.uint16(part.regionId);
    out.uint32(part.sizeX);
    out.uint32(part.sizeY);
    out.uint32(part.offsetX);
    out.uint32(part.offsetY);
    out.uint16(part.paddingX);
    out.uint16(part.paddingY);
    out.uint32(0);
}

PartDescriptor readPart(Bytes bytes, std::size_t offset) {
    PartDescriptor part;
    part.dataType = readUint16(bytes, offset);
    part.partLength = readUint48(bytes, offset + 2);
    part.pixelFormat = readUint32(bytes, offset + 8);
    part.sourceId = bytes[offset + 14];
    part.additionalZones = bytes[offset + 15];
    part.zoneDirections = readUint32(bytes, offset + 16);
    part.dataPurposeId = readUint16(bytes, offset + 20);
    part.regionId = readUint16(bytes, offset + 22);
    part.sizeX = readUint32(bytes, offset + 24);
    part.sizeY = readUint32(bytes, offset + 28);
    part.offsetX = readUint32(bytes, offset + 32);
    part.offsetY = readUint32(bytes, offset + 36);
    part.paddingX = readUint16(bytes, offset + 40);
    part.paddingY = readUint16(bytes, offset + 42);
    return part;
}

struct LeaderWriter {
    ByteWriter& out;

    void operator()(const ImageLeader& leader) const {
        writePrefix(out, leader.prefix);
        out.uint32(leader.pixelFormat);
        out.uint32(leader.sizeX);
        out.uint32(leader.sizeY);
        out.uint32(leader.offsetX);
        out.uint32(leader.offsetY);
        out.uint16(leader.paddingX);
        out.uint16(leader.paddingY);
    }
    void operator()(const RawDataLeader& leader) const {
        writePrefix(out, leader.prefix);
        out.uint64(leader.payloadLength);
    }
    void operator()(const FileLeader& leader) const {
        writePrefix(out, leader.prefix);
        out.uint64(leader.payloadLength);
        out.text(leader.fileName, leader.fileName.size());
        out.uint8(0);
    }
    void operator()(const ChunkDataLeader& leader) const { writePrefix(out, leader.prefix); }
    void operator()(const MultiPartLeader& leader) const {
        writePrefix(out, leader.prefix);
        for (const PartDescriptor& part : leader.parts) writePart(out, part);
    }
    void operator()(const OtherLeader& leader) const {
        writePrefix(out, leader.prefix);
        out.bytes(leader.rest);
    }
};

} // namespace

std::vector<std::uint8_t> encodeLeader(const Leader& leader) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(imageLeaderSize);
    ByteWriter out(bytes);
    std::visit(LeaderWriter{out}, leader);
    return bytes;
}

Parsed<Leader> parseLeader(Bytes content) {
    const auto truncated = [] { return Parsed<Leader>::failure(Status::InvalidHeader); };
    if (content.size() < leaderPrefixSize) return truncated();
    const LeaderPrefix prefix = readPrefix(content);
    const std::uint16_t type = prefix.payloadType;
    if (isImageLayout(type)) {
        if (content.size() < imageLeaderSize) return truncated();
        ImageLeader leader{prefix,
                           readUint32(content, 12),
                           readUint32(content, 16),
                           readUint32(content, 20),
                           readUint32(content, 24),
                           readUint32(content, 28),
                           readUint16(content, 32),
                           readUint16(content, 34)};
        return Leader{leader};
    }
    if (isDeviceSpecificPayload(type)) {
        const Bytes rest = content.subspan(leaderPrefixSize);
        return Leader{OtherLeader{prefix, {rest.begin(), rest.end()}}};
    }
    switch (static_cast<PayloadType>(basePayloadType(type))) {
    case PayloadType::RawData:
        if (content.size() < leaderPrefixSize + 8) return truncated();
        return Leader{RawDataLeader{prefix, readUint64(content, 12)}};
    case PayloadType::File: {
        if (content.size() < leaderPrefixSize + 8) return truncated();
        const std::size_t nameOffset = leaderPrefixSize + 8;
        return Leader{FileLeader{prefix, readUint64(content, 12),
                                 std::string(readText(content, nameOffset, content.size() - nameOffset))}};
    }
    case PayloadType::ChunkData: return Leader{ChunkDataLeader{prefix}};
    case PayloadType::MultiPart: {
        const std::size_t descriptorBytes = content.size() - leaderPrefixSize;
        if (descriptorBytes == 0 || descriptorBytes % partDescriptorSize != 0) return truncated();
        MultiPartLeader leader{prefix, {}};
        for (std::size_t offset = leaderPrefixSize; offset < content.size(); offset += partDescriptorSize)
            leader.parts.push_back(readPart(content, offset));
        return Leader{leader};
    }
    default: {
        const Bytes rest = content.subspan(leaderPrefixSize);
        return Leader{OtherLeader{prefix, {rest.begin(), rest.end()}}};
    }
    }
}

std::uint16_t payloadTypeOf(const Leader& leader) {
    return std::visit([](const auto& any) { return any.prefix.payloadType; }, leader);
}

} // namespace GigE
