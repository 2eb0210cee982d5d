// The 8-byte GVCP headers of commands and acknowledges, and the checks every received
// datagram goes through before its payload is looked at.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <GigE/ByteOrder.h>
#include <GigE/GvcpConstants.h>
#include <GigE/Parsed.h>
#include <GigE/Status.h>

namespace GigE {

struct CommandHeader {
    std::uint8_t flags = CommandFlag::acknowledge;
    std::uint16_t command = 0;
    std::uint16_t length = 0; // payload bytes after the header
    std::uint16_t requestId = 0;

    bool acknowledgeRequested() const { return (flags & CommandFlag::acknowledge) != 0; }
    bool operator==(const CommandHeader&) const = default;
};

struct AcknowledgeHeader {
    Status status = Status::Success;
    std::uint16_t acknowledge = 0;
    std::uint16_t length = 0;
    std::uint16_t acknowledgeId = 0;

    bool operator==(const AcknowledgeHeader&) const = default;
};

// A command whose header passed the checks; the payload is exactly header.length bytes.
struct ReceivedCommand {
    CommandHeader header;
    Bytes payload;
};

// The verdict on a datagram received on a GVCP port where commands arrive.
struct CommandCheck {
    // Absent when the datagram is not a command at all (too short for a header, or without
    // the key): a device drops it without answering.
    std::optional<CommandHeader> header;
    // Success, or the status the device answers with (echoing header's id).
    Status status = Status::Success;
    Bytes payload;

    bool ignored() const { return !header.has_value(); }
    bool accepted() const { return header.has_value() && status == Status::Success; }
    ReceivedCommand command() const { return {*header, payload}; }
};

// Checks a datagram as a command: header size and key, a non-zero request id, a payload
// length that is a multiple of 4, fits the datagram and the size limit. Bytes after the
// announced payload are ignored. Reserved flag bits are not rejected: their meaning may
// grow, and a device that answered an error to them would lock newer hosts out.
CommandCheck checkCommand(Bytes datagram);

// An acknowledge whose header passed the checks; the payload is exactly header.length bytes.
struct ReceivedAcknowledge {
    AcknowledgeHeader header;
    Bytes payload;
};

// Checks a datagram as an acknowledge: a whole header, and a length that fits the
// datagram. The status is not judged here: error acknowledges parse too.
Parsed<ReceivedAcknowledge> parseAcknowledge(Bytes datagram);

// A whole datagram: the header with its length set from the payload.
std::vector<std::uint8_t> encodeCommand(std::uint8_t flags, std::uint16_t command,
                                        std::uint16_t requestId, Bytes payload = {});
std::vector<std::uint8_t> encodeAcknowledge(Status status, std::uint16_t acknowledge,
                                            std::uint16_t acknowledgeId, Bytes payload = {});
// An acknowledge for a received command: its code plus one, its id echoed.
std::vector<std::uint8_t> encodeAcknowledgeFor(const CommandHeader& command, Status status,
                                               Bytes payload = {});

// PENDING_ACK: the extra time, in ms, the host must wait for the real acknowledge.
struct PendingAcknowledge {
    std::uint16_t timeToCompletionMs = 0;

    std::vector<std::uint8_t> encode(std::uint16_t acknowledgeId) const;
    static Parsed<PendingAcknowledge> parse(const ReceivedAcknowledge& acknowledge);
    bool operator==(const PendingAcknowledge&) const = default;
};

} // namespace GigE
