// Data leaders: the first packet of a block describes what the block holds.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include <GigE/ByteOrder.h>
#include <GigE/Parsed.h>
#include <GigE/PayloadType.h>

namespace GigE {

constexpr std::size_t leaderPrefixSize = 12;
constexpr std::size_t imageLeaderSize = 36;
constexpr std::size_t partDescriptorSize = 48;

// The 12 bytes every leader starts with.
struct LeaderPrefix {
    std::uint8_t fieldInfo = 0; // interlaced sources: field id (high nibble), field count (low); 0 otherwise
    std::uint16_t payloadType = static_cast<std::uint16_t>(PayloadType::Image);
    std::uint64_t timestamp = 0; // device ticks

    bool operator==(const LeaderPrefix&) const = default;
};

struct ImageLeader {
    LeaderPrefix prefix;
    std::uint32_t pixelFormat = 0;
    std::uint32_t sizeX = 0;
    std::uint32_t sizeY = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    std::uint16_t paddingX = 0; // bytes after each line
    std::uint16_t paddingY = 0; // bytes after the image

    bool operator==(const ImageLeader&) const = default;
};

// The payload length fields of the raw-data and file leaders are the less certain layouts.
struct RawDataLeader {
    LeaderPrefix prefix{0, static_cast<std::uint16_t>(PayloadType::RawData), 0};
    std::uint64_t payloadLength = 0;

    bool operator==(const RawDataLeader&) const = default;
};

struct FileLeader {
    LeaderPrefix prefix{0, static_cast<std::uint16_t>(PayloadType::File), 0};
    std::uint64_t payloadLength = 0;
    std::string fileName;

    bool operator==(const FileLeader&) const = default;
};

// Chunk data alone: the prefix is the whole leader.
struct ChunkDataLeader {
    LeaderPrefix prefix{0, static_cast<std::uint16_t>(PayloadType::ChunkData), 0};

    bool operator==(const ChunkDataLeader&) const = default;
};

enum class PartDataType : std::uint16_t {
    Image2D = 1,
    BiPlanar2D = 2,
    TriPlanar2D = 3,
    QuadPlanar2D = 4,
    Image3D = 5,
    BiPlanar3D = 6,
    TriPlanar3D = 7,
    QuadPlanar3D = 8,
    ConfidenceMap = 9,
    ChunkData = 0x0A,
    Jpeg = 0x0B,
    Jpeg2000 = 0x0C,
};
constexpr std::uint16_t firstDeviceSpecificPartDataType = 0x8000;

struct PartDescriptor {
    std::uint16_t dataType = static_cast<std::uint16_t>(PartDataType::Image2D);
    std::uint64_t partLength = 0; // bytes, 48 bits
    std::uint32_t pixelFormat = 0;
    std::uint8_t sourceId = 0;
    std::uint8_t additionalZones = 0;
    std::uint32_t zoneDirections = 0;
    std::uint16_t dataPurposeId = 0;
    std::uint16_t regionId = 0;
    std::uint32_t sizeX = 0;
    std::uint32_t sizeY = 0;
    std::uint32_t offsetX = 0;
    std::uint32_t offsetY = 0;
    std::uint16_t paddingX = 0;
    std::uint16_t paddingY = 0;

    bool operator==(const PartDescriptor&) const = default;
};

// One descriptor per part. The part count is taken from the leader's length; one
// implementation is said to read it from the packet header instead.
struct MultiPartLeader {
    LeaderPrefix prefix{0, static_cast<std::uint16_t>(PayloadType::MultiPart), 0};
    std::vector<PartDescriptor> parts;

    bool operator==(const MultiPartLeader&) const = default;
};

// Payload types whose leaders are not laid out here (JPEG, H.264, device-specific...).
struct OtherLeader {
    LeaderPrefix prefix;
    std::vector<std::uint8_t> rest; // after the prefix

    bool operator==(const OtherLeader&) const = default;
};

using Leader = std::variant<ImageLeader, RawDataLeader, FileLeader, ChunkDataLeader, MultiPartLeader, OtherLeader>;

// The leader's bytes, to follow a GVSP header of format Leader.
std::vector<std::uint8_t> encodeLeader(const Leader& leader);
// Chooses the layout by payload type. INVALID_HEADER for a leader shorter than its
// layout or a multi-part leader that is not a whole, non-zero number of descriptors.
// Longer leaders are accepted and read as far as the layout goes.
Parsed<Leader> parseLeader(Bytes content);

// The payload type, for any leader.
std::uint16_t payloadTypeOf(const Leader& leader);

} // namespace GigE
