// Parses arbitrary bytes as a GVSP packet the way a receiver does: header, then leader,
// trailer or multi-part header. Whatever parses must encode back to the same values.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <GigE/GvspHeader.h>
#include <GigE/GvspLeader.h>
#include <GigE/GvspTrailer.h>
#include <GigE/PacketSizing.h>

using namespace GigE;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto packet = parseGvspPacket(Bytes(data, size));
    if (!packet) return 0;
    const auto again = parseGvspPacket(encodeGvspPacket(packet->header, packet->content));
    if (!again || !(again->header == packet->header)) std::abort();

    switch (packet->header.format) {
    case PacketFormat::Leader:
        if (const auto leader = parseLeader(packet->content)) {
            const auto reparsed = parseLeader(encodeLeader(*leader));
            if (!reparsed || !(*reparsed == *leader)) std::abort();
            if (const auto* image = std::get_if<ImageLeader>(&*leader)) {
                // A receiver sizes its expectations from the leader: must not overflow.
                const std::uint64_t bytes = std::uint64_t{image->sizeX} * image->sizeY;
                (void)countBlockPackets(bytes, static_cast<std::uint32_t>(packet->header.packetId & 0xFFFF),
                                        StreamPacketLayout{packet->header.extendedId, false});
            }
        }
        break;
    case PacketFormat::Trailer:
        if (const auto trailer = parseTrailer(packet->content)) {
            const auto reparsed = parseTrailer(encodeTrailer(*trailer));
            if (!reparsed || !(*reparsed == *trailer)) std::abort();
        }
        break;
    case PacketFormat::MultiPart:
        if (const auto part = MultiPartPayloadHeader::parse(packet->content)) {
            std::vector<std::uint8_t> bytes;
            part->encodeInto(bytes);
            if (!(*MultiPartPayloadHeader::parse(bytes) == *part)) std::abort();
        }
        break;
    default: break;
    }
    return 0;
}
