// READMEM and WRITEMEM: a block of device memory at a 4-byte aligned address.
#pragma once

#include <cstdint>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

struct ReadMemoryCommand {
    std::uint32_t address = 0;
    std::uint16_t count = 0; // bytes, a multiple of 4 from 4 to 536

    std::vector<std::uint8_t> encode(std::uint16_t requestId,
                                     std::uint8_t flags = CommandFlag::acknowledge) const;
    // INVALID_PARAMETER for a payload that is not 8 bytes or a count of 0 or above 536,
    // BAD_ALIGNMENT for an unaligned address or count.
    static Parsed<ReadMemoryCommand> parse(const ReceivedCommand& command);
    bool operator==(const ReadMemoryCommand&) const = default;
};

struct ReadMemoryAcknowledge {
    std::uint32_t address = 0;
    std::vector<std::uint8_t> data; // device memory as stored, not reordered

    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId, Status status = Status::Success) const;
    static Parsed<ReadMemoryAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const ReadMemoryAcknowledge&) const = default;
};

struct WriteMemoryCommand {
    std::uint32_t address = 0;
    std::vector<std::uint8_t> data; // a multiple of 4 bytes, 4 to 536

    std::vector<std::uint8_t> encode(std::uint16_t requestId,
                                     std::uint8_t flags = CommandFlag::acknowledge) const;
    // INVALID_PARAMETER without data, BAD_ALIGNMENT for an unaligned address.
    static Parsed<WriteMemoryCommand> parse(const ReceivedCommand& command);
    bool operator==(const WriteMemoryCommand&) const = default;
};

// The index is believed to count the bytes written; at least one device puts the start
// address in these four bytes instead, so hosts should rely on the status alone.
struct WriteMemoryAcknowledge {
    std::uint16_t index = 0;

    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId, Status status = Status::Success) const;
    static Parsed<WriteMemoryAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const WriteMemoryAcknowledge&) const = default;
};

} // namespace GigE
