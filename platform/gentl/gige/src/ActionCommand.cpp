#include <GigE/ActionCommand.h>

namespace GigE {

namespace {

constexpr std::size_t immediateSize = 12;
constexpr std::size_t scheduledSize = 20;

} // namespace

std::vector<std::uint8_t> ActionCommand::encode(std::uint16_t requestId, bool acknowledge) const {
    std::vector<std::uint8_t> payload;
    ByteWriter out(payload);
    out.uint32(deviceKey);
    out.uint32(groupKey);
    out.uint32(groupMask);
    if (actionTime) out.uint64(*actionTime);
    const std::uint8_t flags = (acknowledge ? CommandFlag::acknowledge : 0) |
                               (actionTime ? CommandFlag::scheduledAction : 0);
    return encodeCommand(flags, static_cast<std::uint16_t>(CommandCode::Action), requestId, payload);
}

Parsed<ActionCommand> ActionCommand::parse(const ReceivedCommand& command) {
    const Bytes payload = command.payload;
    // The scheduled flag's position is not confirmed by a second implementation; the
    // length check below keeps a disagreement from being misread as a wrong time.
    const bool scheduled = (command.header.flags & CommandFlag::scheduledAction) != 0;
    if (payload.size() != (scheduled ? scheduledSize : immediateSize))
        return Parsed<ActionCommand>::failure(Status::InvalidParameter);
    ActionCommand result{readUint32(payload, 0), readUint32(payload, 4), readUint32(payload, 8), std::nullopt};
    if (scheduled) result.actionTime = readUint64(payload, 12);
    return result;
}

} // namespace GigE
