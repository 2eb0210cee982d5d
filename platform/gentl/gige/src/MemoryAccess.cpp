#include <GigE/MemoryAccess.h>

#include <GigE/RegisterAccess.h>

namespace GigE {

namespace {

constexpr auto readMemoryCode = static_cast<std::uint16_t>(CommandCode::ReadMemory);
constexpr auto writeMemoryCode = static_cast<std::uint16_t>(CommandCode::WriteMemory);

} // namespace

std::vector<std::uint8_t> ReadMemoryCommand::encode(std::uint16_t requestId, std::uint8_t flags) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint32(address);
    out.uint16(0);
    out.uint16(count);
    return encodeCommand(flags, readMemoryCode, requestId, payload);
}

Parsed<ReadMemoryCommand> ReadMemoryCommand::parse(const ReceivedCommand& command) {
    if (command.payload.size() != 8) return Parsed<ReadMemoryCommand>::failure(Status::InvalidParameter);
    const ReadMemoryCommand result{readUint32(command.payload, 0), readUint16(command.payload, 6)};
    if (result.count == 0 || result.count > maxMemoryDataSize)
        return Parsed<ReadMemoryCommand>::failure(Status::InvalidParameter);
    if (!isAligned(result.address) || result.count % 4 != 0)
        return Parsed<ReadMemoryCommand>::failure(Status::BadAlignment);
    return result;
}

std::vector<std::uint8_t> ReadMemoryAcknowledge::encode(std::uint16_t acknowledgeId, Status status) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint32(address);
    out.bytes(data);
    return encodeAcknowledge(status, acknowledgeCodeFor(readMemoryCode), acknowledgeId, payload);
}

Parsed<ReadMemoryAcknowledge> ReadMemoryAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (isError(acknowledge.header.status))
        return Parsed<ReadMemoryAcknowledge>::failure(acknowledge.header.status);
    if (acknowledge.header.acknowledge != acknowledgeCodeFor(readMemoryCode) || acknowledge.payload.size() < 4)
        return Parsed<ReadMemoryAcknowledge>::failure(Status::InvalidParameter);
    const Bytes data = acknowledge.payload.subspan(4);
    return ReadMemoryAcknowledge{readUint32(acknowledge.payload, 0), {data.begin(), data.end()}};
}

std::vector<std::uint8_t> WriteMemoryCommand::encode(std::uint16_t requestId, std::uint8_t flags) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint32(address);
    out.bytes(data);
    return encodeCommand(flags, writeMemoryCode, requestId, payload);
}

Parsed<WriteMemoryCommand> WriteMemoryCommand::parse(const ReceivedCommand& command) {
    // The header check already holds the payload to a multiple of 4 and to 540 bytes.
    if (command.payload.size() < 8 || command.payload.size() % 4 != 0)
        return Parsed<WriteMemoryCommand>::failure(Status::InvalidParameter);
    const std::uint32_t address = readUint32(command.payload, 0);
    if (!isAligned(address)) return Parsed<WriteMemoryCommand>::failure(Status::BadAlignment);
    const Bytes data = command.payload.subspan(4);
    return WriteMemoryCommand{address, {data.begin(), data.end()}};
}

std::vector<std::uint8_t> WriteMemoryAcknowledge::encode(std::uint16_t acknowledgeId, Status status) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint16(0);
    out.uint16(index);
    return encodeAcknowledge(status, acknowledgeCodeFor(writeMemoryCode), acknowledgeId, payload);
}

Parsed<WriteMemoryAcknowledge> WriteMemoryAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (isError(acknowledge.header.status))
        return Parsed<WriteMemoryAcknowledge>::failure(acknowledge.header.status);
    if (acknowledge.header.acknowledge != acknowledgeCodeFor(writeMemoryCode))
        return Parsed<WriteMemoryAcknowledge>::failure(Status::InvalidParameter);
    // An empty payload is tolerated: the status alone carries the outcome.
    if (acknowledge.payload.size() < 4) return WriteMemoryAcknowledge{};
    return WriteMemoryAcknowledge{readUint16(acknowledge.payload, 2)};
}

} // namespace GigE
