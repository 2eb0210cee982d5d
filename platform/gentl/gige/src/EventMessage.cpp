#include <GigE/EventMessage.h>

#include <stdexcept>

namespace GigE {

namespace {

std::size_t itemSize(bool extendedId) { return extendedId ? eventItemExtendedSize : eventItemStandardSize; }

std::uint8_t eventFlags(bool extendedId, bool acknowledge) {
    return static_cast<std::uint8_t>((acknowledge ? CommandFlag::acknowledge : 0) |
                                     (extendedId ? CommandFlag::extendedId : 0));
}

void writeItem(ByteWriter& out, const EventItem& item, bool extendedId) {
    out.uint16(0);
    out.uint16(item.eventId);
    out.uint16(item.streamChannel);
    if (extendedId) {
        out.uint16(0);
        out.uint64(item.blockId);
    } else {
        if (item.blockId > 0xFFFF) throw std::invalid_argument("block id too large for a standard-ID event");
        out.uint16(static_cast<std::uint16_t>(item.blockId));
    }
    out.uint64(item.timestamp);
}

EventItem readItem(Bytes bytes, std::size_t offset, bool extendedId) {
    EventItem item;
    item.eventId = readUint16(bytes, offset + 2);
    item.streamChannel = readUint16(bytes, offset + 4);
    if (extendedId) {
        item.blockId = readUint64(bytes, offset + 8);
        item.timestamp = readUint64(bytes, offset + 16);
    } else {
        item.blockId = readUint16(bytes, offset + 6);
        item.timestamp = readUint64(bytes, offset + 8);
    }
    return item;
}

} // namespace

std::vector<std::uint8_t> EventCommand::encode(std::uint16_t requestId, bool acknowledge) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    for (const EventItem& item : items) writeItem(out, item, extendedId);
    return encodeCommand(eventFlags(extendedId, acknowledge), static_cast<std::uint16_t>(CommandCode::Event),
                         requestId, payload);
}

Parsed<EventCommand> EventCommand::parse(const ReceivedCommand& command) {
    EventCommand result;
    result.extendedId = (command.header.flags & CommandFlag::extendedId) != 0;
    const std::size_t size = itemSize(result.extendedId);
    const Bytes payload = command.payload;
    if (payload.empty() || payload.size() % size != 0) return Parsed<EventCommand>::failure(Status::InvalidParameter);
    for (std::size_t offset = 0; offset < payload.size(); offset += size)
        result.items.push_back(readItem(payload, offset, result.extendedId));
    return result;
}

std::vector<std::uint8_t> EventDataCommand::encode(std::uint16_t requestId, bool acknowledge) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    writeItem(out, item, extendedId);
    out.bytes(data);
    out.zeros((4 - data.size() % 4) % 4);
    return encodeCommand(eventFlags(extendedId, acknowledge), static_cast<std::uint16_t>(CommandCode::EventData),
                         requestId, payload);
}

Parsed<EventDataCommand> EventDataCommand::parse(const ReceivedCommand& command) {
    EventDataCommand result;
    result.extendedId = (command.header.flags & CommandFlag::extendedId) != 0;
    const std::size_t size = itemSize(result.extendedId);
    if (command.payload.size() < size) return Parsed<EventDataCommand>::failure(Status::InvalidParameter);
    result.item = readItem(command.payload, 0, result.extendedId);
    const Bytes data = command.payload.subspan(size);
    result.data.assign(data.begin(), data.end());
    return result;
}

} // namespace GigE
