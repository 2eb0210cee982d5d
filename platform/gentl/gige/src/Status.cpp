#include <GigE/Status.h>

namespace GigE {

Status fallbackStatus(Status status) {
    switch (status) {
    case Status::PacketNotYetAvailable:
    case Status::PacketAndPreviousRemovedFromMemory:
    case Status::PacketRemovedFromMemory:
    case Status::PacketTemporarilyUnavailable: return Status::PacketUnavailable;
    case Status::NoReferenceTime:
    case Status::Overflow:
    case Status::ActionLate: return Status::Error;
    default: return status;
    }
}

std::string_view statusName(Status status) {
    switch (status) {
    case Status::Success: return "SUCCESS";
    case Status::PacketResend: return "PACKET_RESEND";
    case Status::NotImplemented: return "NOT_IMPLEMENTED";
    case Status::InvalidParameter: return "INVALID_PARAMETER";
    case Status::InvalidAddress: return "INVALID_ADDRESS";
    case Status::WriteProtect: return "WRITE_PROTECT";
    case Status::BadAlignment: return "BAD_ALIGNMENT";
    case Status::AccessDenied: return "ACCESS_DENIED";
    case Status::Busy: return "BUSY";
    case Status::LocalProblem: return "LOCAL_PROBLEM";
    case Status::MessageMismatch: return "MSG_MISMATCH";
    case Status::InvalidProtocol: return "INVALID_PROTOCOL";
    case Status::NoMessage: return "NO_MSG";
    case Status::PacketUnavailable: return "PACKET_UNAVAILABLE";
    case Status::DataOverrun: return "DATA_OVERRUN";
    case Status::InvalidHeader: return "INVALID_HEADER";
    case Status::WrongConfig: return "WRONG_CONFIG";
    case Status::PacketNotYetAvailable: return "PACKET_NOT_YET_AVAILABLE";
    case Status::PacketAndPreviousRemovedFromMemory: return "PACKET_AND_PREV_REMOVED_FROM_MEMORY";
    case Status::PacketRemovedFromMemory: return "PACKET_REMOVED_FROM_MEMORY";
    case Status::NoReferenceTime: return "NO_REF_TIME";
    case Status::PacketTemporarilyUnavailable: return "PACKET_TEMPORARILY_UNAVAILABLE";
    case Status::Overflow: return "OVERFLOW";
    case Status::ActionLate: return "ACTION_LATE";
    case Status::LeaderTrailerOverflow: return "LEADER_TRAILER_OVERFLOW";
    case Status::Error: return "ERROR";
    }
    return "UNKNOWN";
}

} // namespace GigE
