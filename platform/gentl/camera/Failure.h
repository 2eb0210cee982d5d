// A failure of a virtual camera or of its registers, carrying the GenTL result code it stands
// for: the producer reports it at its C boundary, the device server maps it to a GigE Vision
// status.
#ifndef VIRTUALGENTL_FAILURE_H
#define VIRTUALGENTL_FAILURE_H

#include <stdexcept>
#include <string>

#include <GenTL/GenTL.h>

namespace VirtualGenTL {

class ProducerError : public std::runtime_error {
public:
    ProducerError(GenTL::GC_ERROR code, const std::string& text) : std::runtime_error(text), m_code(code) {}
    GenTL::GC_ERROR Code() const noexcept { return m_code; }

private:
    GenTL::GC_ERROR m_code;
};

[[noreturn]] inline void Fail(GenTL::GC_ERROR code, const std::string& text) { throw ProducerError(code, text); }

} // namespace VirtualGenTL

#endif
