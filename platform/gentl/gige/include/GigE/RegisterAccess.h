// READREG and WRITEREG: one or more 32-bit registers per command.
#pragma once

#include <cstdint>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

constexpr bool isAligned(std::uint32_t address) { return address % 4 == 0; }

struct ReadRegisterCommand {
    std::vector<std::uint32_t> addresses;

    std::vector<std::uint8_t> encode(std::uint16_t requestId,
                                     std::uint8_t flags = CommandFlag::acknowledge) const;
    // INVALID_PARAMETER for no address, BAD_ALIGNMENT if any address is unaligned.
    static Parsed<ReadRegisterCommand> parse(const ReceivedCommand& command);
    bool operator==(const ReadRegisterCommand&) const = default;
};

struct ReadRegisterAcknowledge {
    std::vector<std::uint32_t> values; // in the order of the addresses

    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId, Status status = Status::Success) const;
    // Fails for an error status (the values are then not trusted, even if some are present)
    // or a payload that is not a whole number of values.
    static Parsed<ReadRegisterAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const ReadRegisterAcknowledge&) const = default;
};

struct RegisterWrite {
    std::uint32_t address = 0;
    std::uint32_t value = 0;
    bool operator==(const RegisterWrite&) const = default;
};

struct WriteRegisterCommand {
    std::vector<RegisterWrite> writes;

    std::vector<std::uint8_t> encode(std::uint16_t requestId,
                                     std::uint8_t flags = CommandFlag::acknowledge) const;
    // INVALID_PARAMETER for no pair or half a pair, BAD_ALIGNMENT if any address is
    // unaligned. A rejected command writes nothing, so its acknowledge's index is 0.
    static Parsed<WriteRegisterCommand> parse(const ReceivedCommand& command);
    bool operator==(const WriteRegisterCommand&) const = default;
};

// The index counts the writes completed: all of them on success, otherwise the position
// of the write that failed.
struct WriteRegisterAcknowledge {
    std::uint16_t index = 0;

    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId, Status status = Status::Success) const;
    // Error acknowledges parse too when they carry the index: it tells how far the writes got.
    static Parsed<WriteRegisterAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const WriteRegisterAcknowledge&) const = default;
};

} // namespace GigE
