// Data trailers: the last packet of a block. Its packet id tells how many packets the
// block really had (trailer id + 1), which may be fewer than the leader let one expect.
#pragma once

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

#include <GigE/ByteOrder.h>
#include <GigE/Parsed.h>
#include <GigE/PayloadType.h>

namespace GigE {

constexpr std::size_t trailerPrefixSize = 4; // reserved (2), payload type (2)

// Images, also with chunks appended; the chunk layout id follows only then.
struct ImageTrailer {
    std::uint16_t payloadType = static_cast<std::uint16_t>(PayloadType::Image);
    std::uint32_t sizeY = 0; // lines actually sent, fewer than the leader's for short frames
    std::optional<std::uint32_t> chunkLayoutId;

    bool operator==(const ImageTrailer&) const = default;
};

struct ChunkDataTrailer {
    std::uint16_t payloadType = static_cast<std::uint16_t>(PayloadType::ChunkData);
    std::uint32_t chunkDataPayloadLength = 0;
    std::optional<std::uint32_t> chunkLayoutId; // absent from older devices

    bool operator==(const ChunkDataTrailer&) const = default;
};

// Other payload types: whatever follows the prefix, uninterpreted.
struct OtherTrailer {
    std::uint16_t payloadType = 0;
    std::vector<std::uint8_t> rest;

    bool operator==(const OtherTrailer&) const = default;
};

using Trailer = std::variant<ImageTrailer, ChunkDataTrailer, OtherTrailer>;

std::vector<std::uint8_t> encodeTrailer(const Trailer& trailer);
// Chooses the layout by payload type. INVALID_HEADER for a trailer shorter than the fields
// its layout requires. A chunk layout id is read when its four bytes are there.
Parsed<Trailer> parseTrailer(Bytes content);

std::uint16_t payloadTypeOf(const Trailer& trailer);

} // namespace GigE
