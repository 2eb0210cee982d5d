// EVENT and EVENTDATA: what a device sends on the message channel. Both are commands
// (key 0x42) going from device to host; the host acknowledges them when asked.
#pragma once

#include <cstdint>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

constexpr std::size_t eventItemStandardSize = 16;
constexpr std::size_t eventItemExtendedSize = 24;
constexpr std::uint16_t noStreamChannel = 0xFFFF; // event not tied to a stream

// Item layout, standard | extended ID: reserved 2 | 2, event id 2 | 2, stream channel 2 | 2,
// block id 2 | (2 reserved, 8), timestamp 8 | 8. The extended layout is the less certain one.
struct EventItem {
    std::uint16_t eventId = 0;
    std::uint16_t streamChannel = noStreamChannel;
    std::uint64_t blockId = 0; // 0 when not tied to a block; 16 bits in the standard form
    std::uint64_t timestamp = 0;

    bool operator==(const EventItem&) const = default;
};

struct EventCommand {
    bool extendedId = false;
    std::vector<EventItem> items; // several only with concatenation

    // Block ids above 16 bits in the standard form: std::invalid_argument.
    std::vector<std::uint8_t> encode(std::uint16_t requestId, bool acknowledge = true) const;
    // INVALID_PARAMETER for no item or a payload that is not a whole number of items.
    static Parsed<EventCommand> parse(const ReceivedCommand& command);
    bool operator==(const EventCommand&) const = default;
};

struct EventDataCommand {
    bool extendedId = false;
    EventItem item;
    // Device-specific, decoded through the description file. Padded with zeros to a
    // multiple of 4 bytes when sent, so a receiver may see up to 3 bytes more.
    std::vector<std::uint8_t> data;

    std::vector<std::uint8_t> encode(std::uint16_t requestId, bool acknowledge = true) const;
    // INVALID_PARAMETER for a payload shorter than the item.
    static Parsed<EventDataCommand> parse(const ReceivedCommand& command);
    bool operator==(const EventDataCommand&) const = default;
};

// Most data bytes one EVENTDATA can carry.
constexpr std::size_t maxEventDataSize(bool extendedId) {
    return gvcpMaxPayloadSize - (extendedId ? eventItemExtendedSize : eventItemStandardSize);
}

} // namespace GigE
