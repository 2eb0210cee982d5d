#include "GvcpFailure.h"

#include <cstdio>

#include <GigE/GvcpConstants.h>

#include "camera/Failure.h"

namespace VirtualGenTL::GigEVision {

GenTL::GC_ERROR ErrorCodeFor(GigE::Status status) {
    switch (status) {
    case GigE::Status::AccessDenied:
    case GigE::Status::WriteProtect: return GenTL::GC_ERR_ACCESS_DENIED;
    case GigE::Status::InvalidAddress:
    case GigE::Status::BadAlignment: return GenTL::GC_ERR_INVALID_ADDRESS;
    case GigE::Status::InvalidParameter: return GenTL::GC_ERR_INVALID_PARAMETER;
    case GigE::Status::Busy: return GenTL::GC_ERR_BUSY;
    default: return GenTL::GC_ERR_IO;
    }
}

std::string CommandName(std::uint16_t command) {
    using GigE::CommandCode;
    switch (static_cast<CommandCode>(command)) {
    case CommandCode::Discovery: return "DISCOVERY";
    case CommandCode::ForceIp: return "FORCEIP";
    case CommandCode::PacketResend: return "PACKETRESEND";
    case CommandCode::ReadRegister: return "READREG";
    case CommandCode::WriteRegister: return "WRITEREG";
    case CommandCode::ReadMemory: return "READMEM";
    case CommandCode::WriteMemory: return "WRITEMEM";
    case CommandCode::Event: return "EVENT";
    case CommandCode::EventData: return "EVENTDATA";
    case CommandCode::Action: return "ACTION";
    }
    char text[24];
    std::snprintf(text, sizeof text, "command 0x%04X", unsigned(command));
    return text;
}

std::string DottedQuad(GigE::Ipv4Address address) {
    return std::to_string(address >> 24) + '.' + std::to_string((address >> 16) & 0xFF) + '.' +
           std::to_string((address >> 8) & 0xFF) + '.' + std::to_string(address & 0xFF);
}

std::string HexAddress(std::uint32_t address) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", unsigned(address));
    return text;
}

void FailWithStatus(GigE::Status status, const std::string& what) {
    char code[16];
    std::snprintf(code, sizeof code, " (0x%04X)", unsigned(status));
    Fail(ErrorCodeFor(status), what + " failed: " + std::string(GigE::statusName(status)) + code);
}

} // namespace VirtualGenTL::GigEVision
