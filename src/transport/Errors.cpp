#include "Errors.h"

#include <atomic>

#include <GenICam.h>

#include "Producer.h"

namespace Vireo {
namespace {

// Rows in code order from GC_ERR_BUSY (-1022) to GC_ERR_NOT_INITIALIZED (-1002). Some
// choices are deliberate: running out of memory or resources is a runtime condition of the
// transport, not an allocation failure of the caller, and an unavailable or busy resource is
// a logical error of the caller's sequence.
constexpr ProducerErrorClass kProducerErrors[] = {
    {ExceptionKind::Runtime, "GC_ERR_BUSY"},
    {ExceptionKind::Runtime, "GC_ERR_OUT_OF_MEMORY"},
    {ExceptionKind::Runtime, "GC_ERR_RESOURCE_EXHAUSTED"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_VALUE"},
    {ExceptionKind::Runtime, "GC_ERR_PARSING_CHUNK_DATA"},
    {ExceptionKind::OutOfRange, "GC_ERR_INVALID_INDEX"},
    {ExceptionKind::InvalidArgument, "GC_ERR_BUFFER_TOO_SMALL"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_ADDRESS"},
    {ExceptionKind::LogicalError, "GC_ERR_NOT_AVAILABLE"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_BUFFER"},
    {ExceptionKind::Runtime, "GC_ERR_ABORT"},
    {ExceptionKind::Timeout, "GC_ERR_TIMEOUT"},
    {ExceptionKind::Runtime, "GC_ERR_IO"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_PARAMETER"},
    {ExceptionKind::Runtime, "GC_ERR_NO_DATA"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_ID"},
    {ExceptionKind::InvalidArgument, "GC_ERR_INVALID_HANDLE"},
    {ExceptionKind::Access, "GC_ERR_ACCESS_DENIED"},
    {ExceptionKind::LogicalError, "GC_ERR_RESOURCE_IN_USE"},
    {ExceptionKind::LogicalError, "GC_ERR_NOT_IMPLEMENTED"},
    {ExceptionKind::LogicalError, "GC_ERR_NOT_INITIALIZED"},
};
constexpr ProducerErrorClass kOtherProducerError = {ExceptionKind::Generic, "GC_ERR_ERROR"};
static_assert(std::size(kProducerErrors) == 21);

constexpr size_t kLastErrorCapacity = 2048;

GenTL::GC_ERROR AskLoadedProducer(GenTL::GC_ERROR* code, char* text, size_t* size) {
    return Producer().GCGetLastError(code, text, size);
}

std::atomic<LastErrorSource> g_lastErrorSource{&AskLoadedProducer};

} // namespace

const char* ExceptionName(ExceptionKind kind) noexcept {
    switch (kind) {
    case ExceptionKind::Runtime: return "RuntimeException";
    case ExceptionKind::InvalidArgument: return "InvalidArgumentException";
    case ExceptionKind::OutOfRange: return "OutOfRangeException";
    case ExceptionKind::LogicalError: return "LogicalErrorException";
    case ExceptionKind::Access: return "AccessException";
    case ExceptionKind::Timeout: return "TimeoutException";
    case ExceptionKind::BadAlloc: return "BadAllocException";
    case ExceptionKind::DynamicCast: return "DynamicCastException";
    case ExceptionKind::Generic: break;
    }
    return "GenericException";
}

ProducerErrorClass ClassifyProducerError(GenTL::GC_ERROR code) noexcept {
    // One unsigned comparison covers both ends of the listed range.
    const uint64_t index = static_cast<uint64_t>(static_cast<int64_t>(code) + 1022);
    return index < std::size(kProducerErrors) ? kProducerErrors[index] : kOtherProducerError;
}

LastErrorSource SetLastErrorSource(LastErrorSource source) noexcept {
    return g_lastErrorSource.exchange(source != nullptr ? source : &AskLoadedProducer);
}

std::string FetchLastError(const char* fallback) {
    char text[kLastErrorCapacity] = {};
    size_t size = sizeof text;
    GenTL::GC_ERROR code = GenTL::GC_ERR_SUCCESS;
    if (g_lastErrorSource.load()(&code, text, &size) != GenTL::GC_ERR_SUCCESS)
        return fallback != nullptr ? fallback : "Unable to get error from GenTL layer.";
    text[sizeof text - 1] = '\0';  // a producer that fills the whole buffer still ends here
    return text;
}

std::string ComposeProducerMessage(ExceptionKind kind, const char* errorName, const char* description,
                                   const char* unit, const char* function, const char* gentlFunction,
                                   const std::string& errorText) {
    std::string message = ExceptionName(kind);
    message.append(" (").append(errorName).append("): ").append(description);
    message.append(" (").append(unit).append(", ").append(function);
    message.append("; GenTL::").append(gentlFunction).append("); ").append(errorText);
    return message;
}

std::string ComposePlainMessage(ExceptionKind kind, const std::string& message, const char* unit,
                                const char* function) {
    std::string composed = ExceptionName(kind);
    composed.append(": ").append(message).append(" (").append(unit).append(", ").append(function).append(")");
    return composed;
}

void ThrowException(ExceptionKind kind, const std::string& message, const char* sourceFile,
                    unsigned int sourceLine) {
    const GenICam::gcstring text(message);
    switch (kind) {
    case ExceptionKind::Runtime: throw GenICam::RuntimeException(text, sourceFile, sourceLine);
    case ExceptionKind::InvalidArgument: throw GenICam::InvalidArgumentException(text, sourceFile, sourceLine);
    case ExceptionKind::OutOfRange: throw GenICam::OutOfRangeException(text, sourceFile, sourceLine);
    case ExceptionKind::LogicalError: throw GenICam::LogicalErrorException(text, sourceFile, sourceLine);
    case ExceptionKind::Access: throw GenICam::AccessException(text, sourceFile, sourceLine);
    case ExceptionKind::Timeout: throw GenICam::TimeoutException(text, sourceFile, sourceLine);
    case ExceptionKind::BadAlloc: throw GenICam::BadAllocException(text, sourceFile, sourceLine);
    case ExceptionKind::DynamicCast: throw GenICam::DynamicCastException(text, sourceFile, sourceLine);
    case ExceptionKind::Generic: break;
    }
    throw GenICam::GenericException(text, sourceFile, sourceLine);
}

void ThrowProducerError(GenTL::GC_ERROR code, const char* description, const char* unit, const char* function,
                        const char* gentlFunction, const char* sourceFile, unsigned int sourceLine) {
    const ProducerErrorClass error = ClassifyProducerError(code);
    ThrowProducerErrorAs(error.kind, error.errorName, description, unit, function, gentlFunction, sourceFile,
                         sourceLine);
}

void ThrowProducerErrorAs(ExceptionKind kind, const char* errorName, const char* description, const char* unit,
                          const char* function, const char* gentlFunction, const char* sourceFile,
                          unsigned int sourceLine) {
    const std::string message =
        ComposeProducerMessage(kind, errorName, description, unit, function, gentlFunction, FetchLastError());
    ThrowException(kind, message, sourceFile, sourceLine);
}

void ThrowProducerErrorWithText(GenTL::GC_ERROR code, const char* description, const char* unit, const char* function,
                                const char* gentlFunction, const std::string& errorText, const char* sourceFile,
                                unsigned int sourceLine) {
    const ProducerErrorClass error = ClassifyProducerError(code);
    ThrowException(error.kind,
                   ComposeProducerMessage(error.kind, error.errorName, description, unit, function, gentlFunction,
                                          errorText),
                   sourceFile, sourceLine);
}

void ThrowProducerErrorWithFallback(GenTL::GC_ERROR code, const std::string& description, const char* unit,
                                    const char* function, const char* gentlFunction, const char* fallback,
                                    const char* sourceFile, unsigned int sourceLine) {
    ThrowProducerErrorWithText(code, description.c_str(), unit, function, gentlFunction, FetchLastError(fallback),
                               sourceFile, sourceLine);
}

void ThrowPlainError(ExceptionKind kind, const std::string& message, const char* unit, const char* function,
                     const char* sourceFile, unsigned int sourceLine) {
    ThrowException(kind, ComposePlainMessage(kind, message, unit, function), sourceFile, sourceLine);
}

} // namespace Vireo
