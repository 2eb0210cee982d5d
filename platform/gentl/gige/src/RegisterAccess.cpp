#include <GigE/RegisterAccess.h>

namespace GigE {

namespace {

constexpr auto readRegisterCode = static_cast<std::uint16_t>(CommandCode::ReadRegister);
constexpr auto writeRegisterCode = static_cast<std::uint16_t>(CommandCode::WriteRegister);

} // namespace

std::vector<std::uint8_t> ReadRegisterCommand::encode(std::uint16_t requestId, std::uint8_t flags) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    for (const std::uint32_t address : addresses) out.uint32(address);
    return encodeCommand(flags, readRegisterCode, requestId, payload);
}

Parsed<ReadRegisterCommand> ReadRegisterCommand::parse(const ReceivedCommand& command) {
    const Bytes payload = command.payload;
    if (payload.empty() || payload.size() % 4 != 0)
        return Parsed<ReadRegisterCommand>::failure(Status::InvalidParameter);
    ReadRegisterCommand result;
    result.addresses.reserve(payload.size() / 4);
    for (std::size_t offset = 0; offset < payload.size(); offset += 4) {
        const std::uint32_t address = readUint32(payload, offset);
        if (!isAligned(address)) return Parsed<ReadRegisterCommand>::failure(Status::BadAlignment);
        result.addresses.push_back(address);
    }
    return result;
}

std::vector<std::uint8_t> ReadRegisterAcknowledge::encode(std::uint16_t acknowledgeId, Status status) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    for (const std::uint32_t value : values) out.uint32(value);
    return encodeAcknowledge(status, acknowledgeCodeFor(readRegisterCode), acknowledgeId, payload);
}

Parsed<ReadRegisterAcknowledge> ReadRegisterAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (isError(acknowledge.header.status))
        return Parsed<ReadRegisterAcknowledge>::failure(acknowledge.header.status);
    const Bytes payload = acknowledge.payload;
    if (acknowledge.header.acknowledge != acknowledgeCodeFor(readRegisterCode) || payload.size() % 4 != 0)
        return Parsed<ReadRegisterAcknowledge>::failure(Status::InvalidParameter);
    ReadRegisterAcknowledge result;
    result.values.reserve(payload.size() / 4);
    for (std::size_t offset = 0; offset < payload.size(); offset += 4) result.values.push_back(readUint32(payload, offset));
    return result;
}

std::vector<std::uint8_t> WriteRegisterCommand::encode(std::uint16_t requestId, std::uint8_t flags) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    for (const RegisterWrite& write : writes) {
        out.uint32(write.address);
        out.uint32(write.value);
    }
    return encodeCommand(flags, writeRegisterCode, requestId, payload);
}

Parsed<WriteRegisterCommand> WriteRegisterCommand::parse(const ReceivedCommand& command) {
    const Bytes payload = command.payload;
    if (payload.empty() || payload.size() % 8 != 0)
        return Parsed<WriteRegisterCommand>::failure(Status::InvalidParameter);
    WriteRegisterCommand result;
    result.writes.reserve(payload.size() / 8);
    for (std::size_t offset = 0; offset < payload.size(); offset += 8) {
        const RegisterWrite write{readUint32(payload, offset), readUint32(payload, offset + 4)};
        if (!isAligned(write.address)) return Parsed<WriteRegisterCommand>::failure(Status::BadAlignment);
        result.writes.push_back(write);
    }
    return result;
}

std::vector<std::uint8_t> WriteRegisterAcknowledge::encode(std::uint16_t acknowledgeId, Status status) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint16(0);
    out.uint16(index);
    return encodeAcknowledge(status, acknowledgeCodeFor(writeRegisterCode), acknowledgeId, payload);
}

Parsed<WriteRegisterAcknowledge> WriteRegisterAcknowledge::parse(const ReceivedAcknowledge& acknowledge) {
    if (acknowledge.header.acknowledge != acknowledgeCodeFor(writeRegisterCode))
        return Parsed<WriteRegisterAcknowledge>::failure(Status::InvalidParameter);
    if (acknowledge.payload.size() < 4)
        return Parsed<WriteRegisterAcknowledge>::failure(
            isError(acknowledge.header.status) ? acknowledge.header.status : Status::InvalidParameter);
    return WriteRegisterAcknowledge{readUint16(acknowledge.payload, 2)};
}

} // namespace GigE
