#include <GigE/GvcpHeader.h>

#include <stdexcept>

namespace GigE {

namespace {

std::uint16_t checkedLength(Bytes payload) {
    if (payload.size() > gvcpMaxPayloadSize || payload.size() % 4 != 0)
        throw std::invalid_argument("GVCP payload must be a multiple of 4 bytes, at most 540");
    return static_cast<std::uint16_t>(payload.size());
}

} // namespace

CommandCheck checkCommand(Bytes datagram) {
    CommandCheck check;
    if (datagram.size() < gvcpHeaderSize || datagram[0] != commandKey) return check;
    CommandHeader header;
    header.flags = datagram[1];
    header.command = readUint16(datagram, 2);
    header.length = readUint16(datagram, 4);
    header.requestId = readUint16(datagram, 6);
    check.header = header;
    if (header.requestId == 0 || header.length % 4 != 0)
        check.status = Status::InvalidHeader;
    else if (header.length > gvcpMaxPayloadSize || header.length > datagram.size() - gvcpHeaderSize)
        check.status = Status::InvalidParameter;
    else
        check.payload = datagram.subspan(gvcpHeaderSize, header.length);
    return check;
}

Parsed<ReceivedAcknowledge> parseAcknowledge(Bytes datagram) {
    if (datagram.size() < gvcpHeaderSize) return Parsed<ReceivedAcknowledge>::failure(Status::InvalidHeader);
    ReceivedAcknowledge acknowledge;
    acknowledge.header.status = static_cast<Status>(readUint16(datagram, 0));
    acknowledge.header.acknowledge = readUint16(datagram, 2);
    acknowledge.header.length = readUint16(datagram, 4);
    acknowledge.header.acknowledgeId = readUint16(datagram, 6);
    if (acknowledge.header.length > datagram.size() - gvcpHeaderSize)
        return Parsed<ReceivedAcknowledge>::failure(Status::InvalidParameter);
    acknowledge.payload = datagram.subspan(gvcpHeaderSize, acknowledge.header.length);
    return acknowledge;
}

std::vector<std::uint8_t> encodeCommand(std::uint8_t flags, std::uint16_t command,
                                        std::uint16_t requestId, Bytes payload) {
    std::vector<std::uint8_t> datagram;
    datagram.reserve(gvcpHeaderSize + payload.size());
    ByteWriter out(datagram);
    out.uint8(commandKey);
    out.uint8(flags);
    out.uint16(command);
    out.uint16(checkedLength(payload));
    out.uint16(requestId);
    out.bytes(payload);
    return datagram;
}

std::vector<std::uint8_t> encodeAcknowledge(Status status, std::uint16_t acknowledge,
                                            std::uint16_t acknowledgeId, Bytes payload) {
    std::vector<std::uint8_t> datagram;
    datagram.reserve(gvcpHeaderSize + payload.size());
    ByteWriter out(datagram);
    out.uint16(static_cast<std::uint16_t>(status));
    out.uint16(acknowledge);
    out.uint16(checkedLength(payload));
    out.uint16(acknowledgeId);
    out.bytes(payload);
    return datagram;
}

std::vector<std::uint8_t> encodeAcknowledgeFor(const CommandHeader& command, Status status,
                                               Bytes payload) {
    return encodeAcknowledge(status, acknowledgeCodeFor(command.command), command.requestId, payload);
}

std::vector<std::uint8_t> PendingAcknowledge::encode(std::uint16_t acknowledgeId) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint16(0);
    out.uint16(timeToCompletionMs);
    return encodeAcknowledge(Status::Success, static_cast<std::uint16_t>(AcknowledgeCode::Pending),
                             acknowledgeId, payload);
}

Parsed<PendingAcknowledge> PendingAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (acknowledge.header.acknowledge != static_cast<std::uint16_t>(AcknowledgeCode::Pending) ||
        acknowledge.payload.size() < 4)
        return Parsed<PendingAcknowledge>::failure(Status::InvalidParameter);
    // Read as one 32-bit value so that a device filling the reserved half still gives the
    // intended time when that time fits 16 bits; larger values are clamped.
    const std::uint32_t time = readUint32(acknowledge.payload, 0);
    return PendingAcknowledge{static_cast<std::uint16_t>(time > 0xFFFF ? 0xFFFF : time)};
}

} // namespace GigE
