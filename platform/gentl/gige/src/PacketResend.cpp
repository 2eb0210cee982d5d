#include <GigE/PacketResend.h>

#include <stdexcept>

namespace GigE {

std::vector<std::uint8_t> PacketResendCommand::encode(std::uint16_t requestId) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint16(streamChannel);
    if (extendedId) {
        out.uint16(0);
        out.uint32(firstPacketId);
        out.uint32(lastPacketId);
        out.uint64(blockId);
    } else {
        if (blockId > 0xFFFF || firstPacketId > 0xFFFFFF || lastPacketId > 0xFFFFFF)
            throw std::invalid_argument("block or packet id too large for a standard-ID resend request");
        out.uint16(static_cast<std::uint16_t>(blockId));
        out.uint8(0);
        out.uint24(firstPacketId);
        out.uint8(0);
        out.uint24(lastPacketId);
    }
    // The acknowledge flag stays clear: the answer is the resent packets themselves.
    return encodeCommand(extendedId ? CommandFlag::extendedId : 0,
                         static_cast<std::uint16_t>(CommandCode::PacketResend), requestId, payload);
}

Parsed<PacketResendCommand> PacketResendCommand::parse(const ReceivedCommand& command) {
    const Bytes payload = command.payload;
    PacketResendCommand result;
    result.extendedId = (command.header.flags & CommandFlag::extendedId) != 0;
    if (payload.size() != (result.extendedId ? packetResendExtendedSize : packetResendStandardSize))
        return Parsed<PacketResendCommand>::failure(Status::InvalidParameter);
    result.streamChannel = readUint16(payload, 0);
    if (result.extendedId) {
        result.firstPacketId = readUint32(payload, 4);
        result.lastPacketId = readUint32(payload, 8);
        result.blockId = readUint64(payload, 12);
    } else {
        result.blockId = readUint16(payload, 2);
        result.firstPacketId = readUint24(payload, 5);
        result.lastPacketId = readUint24(payload, 9);
    }
    if (result.blockId == 0 || result.firstPacketId > result.lastPacketId)
        return Parsed<PacketResendCommand>::failure(Status::InvalidParameter);
    return result;
}

} // namespace GigE
