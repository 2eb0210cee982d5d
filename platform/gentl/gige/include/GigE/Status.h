// Status codes shared by GVCP acknowledges and the GVSP status field.
#pragma once

#include <cstdint>
#include <string_view>

namespace GigE {

enum class Status : std::uint16_t {
    Success = 0x0000,
    PacketResend = 0x0100,
    NotImplemented = 0x8001,
    InvalidParameter = 0x8002,
    InvalidAddress = 0x8003,
    WriteProtect = 0x8004,
    BadAlignment = 0x8005,
    AccessDenied = 0x8006,
    Busy = 0x8007,
    LocalProblem = 0x8008,
    MessageMismatch = 0x8009,
    InvalidProtocol = 0x800A,
    NoMessage = 0x800B,
    PacketUnavailable = 0x800C,
    DataOverrun = 0x800D,
    InvalidHeader = 0x800E,
    WrongConfig = 0x800F,
    PacketNotYetAvailable = 0x8010,
    PacketAndPreviousRemovedFromMemory = 0x8011,
    PacketRemovedFromMemory = 0x8012,
    NoReferenceTime = 0x8013,
    PacketTemporarilyUnavailable = 0x8014,
    Overflow = 0x8015,
    ActionLate = 0x8016,
    LeaderTrailerOverflow = 0x8017,
    Error = 0x8FFF,
};

constexpr std::uint16_t statusErrorBit = 0x8000;
constexpr std::uint16_t statusDeviceSpecificBit = 0x4000;

constexpr bool isError(Status status) {
    return (static_cast<std::uint16_t>(status) & statusErrorBit) != 0;
}

// The codes a device may use only when the host enabled extended status codes; without
// them it falls back to a more general code (fallbackStatus).
constexpr bool isExtendedStatus(Status status) {
    const auto code = static_cast<std::uint16_t>(status);
    return code >= 0x8010 && code <= 0x8016;
}

// The older code that stands for an extended one when extended codes are disabled. Which
// older code a device uses is not settled; these are the closest in meaning.
Status fallbackStatus(Status status);

// The protocol name, e.g. "INVALID_HEADER"; "UNKNOWN" for codes not listed.
std::string_view statusName(Status status);

} // namespace GigE
