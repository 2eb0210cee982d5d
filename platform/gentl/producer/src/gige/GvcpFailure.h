// What a GVCP exchange that went wrong becomes inside the producer: a ProducerError whose
// GenTL code tells the consumer what it can do about it, and whose text names the command,
// the address and the device, so that a log line alone says what failed where.
#ifndef VIRTUALGENTL_GIGE_GVCPFAILURE_H
#define VIRTUALGENTL_GIGE_GVCPFAILURE_H

#include <cstdint>
#include <string>

#include <GenTL/GenTL.h>
#include <GigE/Discovery.h>
#include <GigE/Status.h>

namespace VirtualGenTL::GigEVision {

// ACCESS_DENIED and WRITE_PROTECT: GC_ERR_ACCESS_DENIED; INVALID_ADDRESS and BAD_ALIGNMENT:
// GC_ERR_INVALID_ADDRESS; INVALID_PARAMETER: GC_ERR_INVALID_PARAMETER; BUSY: GC_ERR_BUSY;
// any other error: GC_ERR_IO.
GenTL::GC_ERROR ErrorCodeFor(GigE::Status status);

// "READREG", "WRITEMEM", ... for a command code; "command 0x1234" for others.
std::string CommandName(std::uint16_t command);
// "10.42.0.11".
std::string DottedQuad(GigE::Ipv4Address address);
// "0x00000A00".
std::string HexAddress(std::uint32_t address);

// Throws the ProducerError for an error status: "<what> failed: ACCESS_DENIED (0x8006)".
[[noreturn]] void FailWithStatus(GigE::Status status, const std::string& what);

} // namespace VirtualGenTL::GigEVision

#endif
