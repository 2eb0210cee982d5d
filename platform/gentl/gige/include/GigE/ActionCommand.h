// ACTION: fires action signals on every device whose keys match, now or at a given time.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <GigE/GvcpHeader.h>

namespace GigE {

struct ActionCommand {
    std::uint32_t deviceKey = 0;
    std::uint32_t groupKey = 0;
    std::uint32_t groupMask = 0;
    // Present for a scheduled action (flag 0x80): device timestamp ticks.
    std::optional<std::uint64_t> actionTime;

    // Broadcast actions usually go without the acknowledge flag.
    std::vector<std::uint8_t> encode(std::uint16_t requestId, bool acknowledge) const;
    // INVALID_PARAMETER unless the payload is 12 bytes, or 20 with the scheduled flag.
    static Parsed<ActionCommand> parse(const ReceivedCommand& command);

    // Whether a device with these keys fires the signal with the given group key and mask;
    // a group mask of 0 disables the signal.
    bool matches(std::uint32_t actionDeviceKey, std::uint32_t signalGroupKey,
                 std::uint32_t signalGroupMask) const {
        return deviceKey == actionDeviceKey && groupKey == signalGroupKey && (groupMask & signalGroupMask) != 0;
    }
    bool operator==(const ActionCommand&) const = default;
};

} // namespace GigE
