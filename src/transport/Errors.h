// The one place where the SDK's exception messages are composed and thrown.
//
// A failed producer call becomes
//   "<ExceptionName> (<ErrorName>): <description> (<unit>, <function>; GenTL::<GenTL function>); <error text>"
// with the class chosen by the producer's result code and the error text fetched from the
// producer; any other failure becomes
//   "<ExceptionName>: <message> (<unit>, <function>)".
#ifndef VIREO_SRC_TRANSPORT_ERRORS_H
#define VIREO_SRC_TRANSPORT_ERRORS_H

#include <cstddef>
#include <string>

#include <GenTL/GenTL.h>

namespace Vireo {

enum class ExceptionKind {
    Generic,
    Runtime,
    InvalidArgument,
    OutOfRange,
    LogicalError,
    Access,
    Timeout,
    BadAlloc,
    DynamicCast,
};

// "RuntimeException", "InvalidArgumentException", ...
const char* ExceptionName(ExceptionKind kind) noexcept;

struct ProducerErrorClass {
    ExceptionKind kind;
    const char* errorName;  // "GC_ERR_TIMEOUT", ...; "GC_ERR_ERROR" for every unlisted code
};

// The exception class and error name of a producer result code.
ProducerErrorClass ClassifyProducerError(GenTL::GC_ERROR code) noexcept;

// Where the producer's last error text comes from: GCGetLastError of the loaded producer by
// default. Replaceable so that the rule can be exercised without a producer; returns the
// previous source. Null restores the default.
using LastErrorSource = GenTL::GC_ERROR (*)(GenTL::GC_ERROR* code, char* text, size_t* size);
LastErrorSource SetLastErrorSource(LastErrorSource source) noexcept;

// The producer's last error text, or the fallback ("Unable to get error from GenTL layer."
// unless a call site has its own) when the producer cannot tell it.
std::string FetchLastError(const char* fallback = nullptr);

std::string ComposeProducerMessage(ExceptionKind kind, const char* errorName, const char* description,
                                   const char* unit, const char* function, const char* gentlFunction,
                                   const std::string& errorText);
std::string ComposePlainMessage(ExceptionKind kind, const std::string& message, const char* unit,
                                const char* function);

// Throws the exception of the kind with the message as it stands.
[[noreturn]] void ThrowException(ExceptionKind kind, const std::string& message, const char* sourceFile,
                                 unsigned int sourceLine);

// A failed producer call: fetches the last error and throws the class the code maps to.
[[noreturn]] void ThrowProducerError(GenTL::GC_ERROR code, const char* description, const char* unit,
                                     const char* function, const char* gentlFunction, const char* sourceFile,
                                     unsigned int sourceLine);

// As ThrowProducerError, with the class and the error name chosen by the caller (for the few
// producer answers that mean something more specific at the call site).
[[noreturn]] void ThrowProducerErrorAs(ExceptionKind kind, const char* errorName, const char* description,
                                       const char* unit, const char* function, const char* gentlFunction,
                                       const char* sourceFile, unsigned int sourceLine);

// As ThrowProducerError, with the producer's error text already fetched (on the thread where
// the call failed: a producer keeps one last error per thread).
[[noreturn]] void ThrowProducerErrorWithText(GenTL::GC_ERROR code, const char* description, const char* unit,
                                             const char* function, const char* gentlFunction,
                                             const std::string& errorText, const char* sourceFile,
                                             unsigned int sourceLine);

// As ThrowProducerError, with another text for a last error that cannot be fetched.
[[noreturn]] void ThrowProducerErrorWithFallback(GenTL::GC_ERROR code, const std::string& description,
                                                 const char* unit, const char* function, const char* gentlFunction,
                                                 const char* fallback, const char* sourceFile,
                                                 unsigned int sourceLine);

// A failure that does not come from the producer.
[[noreturn]] void ThrowPlainError(ExceptionKind kind, const std::string& message, const char* unit,
                                  const char* function, const char* sourceFile, unsigned int sourceLine);

} // namespace Vireo

#if defined(__FILE_NAME__)
#define VIREO_SOURCE_FILE __FILE_NAME__
#else
#define VIREO_SOURCE_FILE __FILE__
#endif

#define VIREO_THROW_PRODUCER_ERROR(code, description, unit, function, gentlFunction) \
    ::Vireo::ThrowProducerError((code), (description), (unit), (function), (gentlFunction), VIREO_SOURCE_FILE, __LINE__)

#define VIREO_THROW_PLAIN(kind, message, unit, function) \
    ::Vireo::ThrowPlainError(::Vireo::ExceptionKind::kind, (message), (unit), (function), VIREO_SOURCE_FILE, __LINE__)

#define VIREO_THROW_BARE(kind, message) \
    ::Vireo::ThrowException(::Vireo::ExceptionKind::kind, (message), VIREO_SOURCE_FILE, __LINE__)

#endif
