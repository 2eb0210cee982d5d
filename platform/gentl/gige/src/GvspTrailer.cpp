#include <GigE/GvspTrailer.h>

namespace GigE {

namespace {

struct TrailerWriter {
    ByteWriter& out;

    void prefix(std::uint16_t payloadType) const {
        out.uint16(0);
        out.uint16(payloadType);
    }
    void operator()(const ImageTrailer& trailer) const {
        prefix(trailer.payloadType);
        out.uint32(trailer.sizeY);
        if (trailer.chunkLayoutId) out.uint32(*trailer.chunkLayoutId);
    }
    void operator()(const ChunkDataTrailer& trailer) const {
        prefix(trailer.payloadType);
        out.uint32(trailer.chunkDataPayloadLength);
        if (trailer.chunkLayoutId) out.uint32(*trailer.chunkLayoutId);
    }
    void operator()(const OtherTrailer& trailer) const {
        prefix(trailer.payloadType);
        out.bytes(trailer.rest);
    }
};

std::optional<std::uint32_t> optionalWord(Bytes bytes, std::size_t offset) {
    if (bytes.size() < offset + 4) return std::nullopt;
    return readUint32(bytes, offset);
}

} // namespace

std::vector<std::uint8_t> encodeTrailer(const Trailer& trailer) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(16);
    ByteWriter out(bytes);
    std::visit(TrailerWriter{out}, trailer);
    return bytes;
}

Parsed<Trailer> parseTrailer(Bytes content) {
    if (content.size() < trailerPrefixSize) return Parsed<Trailer>::failure(Status::InvalidHeader);
    const std::uint16_t type = readUint16(content, 2);
    if (isImageLayout(type)) {
        if (content.size() < trailerPrefixSize + 4) return Parsed<Trailer>::failure(Status::InvalidHeader);
        ImageTrailer trailer{type, readUint32(content, 4), std::nullopt};
        // Without chunks the word after size_y, if any, is not a layout id.
        if ((type & payloadTypeExtendedChunkFlag) != 0) trailer.chunkLayoutId = optionalWord(content, 8);
        return Trailer{trailer};
    }
    if (!isDeviceSpecificPayload(type) && basePayloadType(type) == static_cast<std::uint16_t>(PayloadType::ChunkData)) {
        if (content.size() < trailerPrefixSize + 4) return Parsed<Trailer>::failure(Status::InvalidHeader);
        return Trailer{ChunkDataTrailer{type, readUint32(content, 4), optionalWord(content, 8)}};
    }
    const Bytes rest = content.subspan(trailerPrefixSize);
    return Trailer{OtherTrailer{type, {rest.begin(), rest.end()}}};
}

std::uint16_t payloadTypeOf(const Trailer& trailer) {
    return std::visit([](const auto& any) { return any.payloadType; }, trailer);
}

} // namespace GigE
