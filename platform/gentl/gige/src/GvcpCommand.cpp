#include <GigE/GvcpCommand.h>

namespace GigE {

namespace {

template <typename Command>
Parsed<AnyCommand> parseAs(const ReceivedCommand& command) {
    auto parsed = Command::parse(command);
    if (!parsed) return Parsed<AnyCommand>::failure(parsed.status());
    return AnyCommand{std::move(*parsed)};
}

} // namespace

Parsed<AnyCommand> parseCommandPayload(const ReceivedCommand& command) {
    switch (static_cast<CommandCode>(command.header.command)) {
    case CommandCode::Discovery: return parseAs<DiscoveryCommand>(command);
    case CommandCode::ForceIp: return parseAs<ForceIpCommand>(command);
    case CommandCode::PacketResend: return parseAs<PacketResendCommand>(command);
    case CommandCode::ReadRegister: return parseAs<ReadRegisterCommand>(command);
    case CommandCode::WriteRegister: return parseAs<WriteRegisterCommand>(command);
    case CommandCode::ReadMemory: return parseAs<ReadMemoryCommand>(command);
    case CommandCode::WriteMemory: return parseAs<WriteMemoryCommand>(command);
    case CommandCode::Event: return parseAs<EventCommand>(command);
    case CommandCode::EventData: return parseAs<EventDataCommand>(command);
    case CommandCode::Action: return parseAs<ActionCommand>(command);
    }
    return Parsed<AnyCommand>::failure(Status::NotImplemented);
}

ParsedDatagram parseCommandDatagram(Bytes datagram) {
    ParsedDatagram result;
    result.check = checkCommand(datagram);
    result.status = result.check.status;
    if (!result.check.accepted()) return result;
    auto parsed = parseCommandPayload(result.check.command());
    result.status = parsed.status();
    if (parsed) result.command = std::move(*parsed);
    return result;
}

} // namespace GigE
