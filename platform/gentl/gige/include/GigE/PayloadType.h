// The payload type that leaders and trailers carry, and how receivers read its flag bits.
#pragma once

#include <cstdint>

namespace GigE {

enum class PayloadType : std::uint16_t {
    Image = 0x0001,
    RawData = 0x0002,
    File = 0x0003,
    ChunkData = 0x0004,
    ExtendedChunkData = 0x0005, // laid out like an image
    Jpeg = 0x0006,
    Jpeg2000 = 0x0007,
    H264 = 0x0008,
    MultiZoneImage = 0x0009,
    MultiPart = 0x000A,
    GenDC = 0x000B,
};

constexpr std::uint16_t payloadTypeExtendedChunkFlag = 0x4000; // base type + chunks appended
constexpr std::uint16_t payloadTypeDeviceSpecificFlag = 0x8000;

constexpr std::uint16_t basePayloadType(std::uint16_t type) { return type & 0x3FFF; }
constexpr bool isDeviceSpecificPayload(std::uint16_t type) { return (type & payloadTypeDeviceSpecificFlag) != 0; }

// Whether the block holds chunks: extended chunk mode, or the chunk payload types.
constexpr bool payloadHasChunks(std::uint16_t type) {
    if (isDeviceSpecificPayload(type)) return false;
    const std::uint16_t base = basePayloadType(type);
    return (type & payloadTypeExtendedChunkFlag) != 0 || base == static_cast<std::uint16_t>(PayloadType::ChunkData) ||
           base == static_cast<std::uint16_t>(PayloadType::ExtendedChunkData);
}

// Image-like payloads use the image leader and trailer.
constexpr bool isImageLayout(std::uint16_t type) {
    if (isDeviceSpecificPayload(type)) return false;
    const std::uint16_t base = basePayloadType(type);
    return base == static_cast<std::uint16_t>(PayloadType::Image) ||
           base == static_cast<std::uint16_t>(PayloadType::ExtendedChunkData);
}

constexpr std::uint16_t withChunks(PayloadType type) {
    return static_cast<std::uint16_t>(static_cast<std::uint16_t>(type) | payloadTypeExtendedChunkFlag);
}

} // namespace GigE
