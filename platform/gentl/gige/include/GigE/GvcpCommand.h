// Any command a device or a host may receive, parsed into its typed form in one call.
#pragma once

#include <variant>

#include <GigE/ActionCommand.h>
#include <GigE/Discovery.h>
#include <GigE/EventMessage.h>
#include <GigE/GvcpHeader.h>
#include <GigE/MemoryAccess.h>
#include <GigE/PacketResend.h>
#include <GigE/RegisterAccess.h>

namespace GigE {

using AnyCommand = std::variant<DiscoveryCommand, ForceIpCommand, PacketResendCommand, ReadRegisterCommand,
                                WriteRegisterCommand, ReadMemoryCommand, WriteMemoryCommand, EventCommand,
                                EventDataCommand, ActionCommand>;

// The payload of a command whose header passed checkCommand. NOT_IMPLEMENTED for a
// command code not listed, otherwise the status of that command's parser.
Parsed<AnyCommand> parseCommandPayload(const ReceivedCommand& command);

struct ParsedDatagram {
    CommandCheck check;             // check.ignored(): drop without answering
    std::optional<AnyCommand> command; // present when the status is Success
    Status status = Status::Success;   // what to answer when an acknowledge is requested
};

// checkCommand and then parseCommandPayload: everything a device does with a datagram
// before acting on it.
ParsedDatagram parseCommandDatagram(Bytes datagram);

} // namespace GigE
