#include <Vireo/Port.h>

#include <string>

#include "Errors.h"

namespace Vireo {
namespace {

// A port failure that cannot say why keeps its own wording.
constexpr const char* kNoLastError = "Couldn't get last error from GenTL!";

} // namespace

Port::~Port() { m_module = nullptr; }

GenApi::EAccessMode Port::GetAccessMode() const { return GenApi::RW; }

void Port::Read(void* pBuffer, int64_t Address, int64_t Length) {
    if (m_module == nullptr) VIREO_THROW_PLAIN(LogicalError, "Port is not connected to a module", "Port", "Read");
    size_t size = static_cast<size_t>(Length);
    const GenTL::GC_ERROR result = m_module->ReadPort(static_cast<uint64_t>(Address), pBuffer, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        ThrowProducerErrorWithFallback(result, "Unable to read port: " + std::to_string(Address), "Port", "Read",
                                       "GCReadPort", kNoLastError, VIREO_SOURCE_FILE, __LINE__);
}

void Port::Write(const void* pBuffer, int64_t Address, int64_t Length) {
    if (m_module == nullptr) VIREO_THROW_PLAIN(LogicalError, "Port is not connected to a module", "Port", "Write");
    size_t size = static_cast<size_t>(Length);
    const GenTL::GC_ERROR result = m_module->WritePort(static_cast<uint64_t>(Address), pBuffer, &size);
    if (result != GenTL::GC_ERR_SUCCESS)
        ThrowProducerErrorWithFallback(result, "Unable to write port: " + std::to_string(Address), "Port", "Write",
                                       "GCWritePort", kNoLastError, VIREO_SOURCE_FILE, __LINE__);
}

} // namespace Vireo
