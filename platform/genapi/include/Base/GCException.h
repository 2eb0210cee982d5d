// The GenICam exception classes. Every failure of the GenICam engine and of Vireo is one of
// these; catching GenericException catches them all.
#ifndef GENICAM_BASE_GCEXCEPTION_H
#define GENICAM_BASE_GCEXCEPTION_H

#include <exception>

#include <Base/GCString.h>

namespace GenICam {

class GCBASE_API GenericException : public std::exception {
public:
    GenericException(const gcstring& description, const char* sourceFileName, unsigned int sourceLine);
    ~GenericException() noexcept override;

    // The full message: with the composed texts of Vireo it already names the exception.
    virtual const char* GetDescription() const noexcept;
    virtual const char* GetSourceFileName() const noexcept;
    virtual unsigned int GetSourceLine() const noexcept;
    // The same text as GetDescription, so that std::exception handlers print it whole.
    const char* what() const noexcept override;

private:
    gcstring m_description;
    gcstring m_sourceFileName;
    unsigned int m_sourceLine;
};

#define GENICAM_DECLARE_EXCEPTION(name)                                                           \
    class GCBASE_API name : public GenericException {                                           \
    public:                                                                                      \
        name(const gcstring& description, const char* sourceFileName, unsigned int sourceLine)   \
            : GenericException(description, sourceFileName, sourceLine) {}                       \
        ~name() noexcept override;                                                               \
    }

// A method was called with an invalid argument.
GENICAM_DECLARE_EXCEPTION(InvalidArgumentException);
// An argument was out of its valid range.
GENICAM_DECLARE_EXCEPTION(OutOfRangeException);
// A node's property (its description in the file) is missing or invalid.
GENICAM_DECLARE_EXCEPTION(PropertyException);
// A failure detected while the program runs.
GENICAM_DECLARE_EXCEPTION(RuntimeException);
// Memory could not be allocated.
GENICAM_DECLARE_EXCEPTION(BadAllocException);
// The caller broke the rules of the interface (wrong state, wrong order, absent resource).
GENICAM_DECLARE_EXCEPTION(LogicalErrorException);
// The access mode of a node or module forbids the operation.
GENICAM_DECLARE_EXCEPTION(AccessException);
// An operation did not finish in time.
GENICAM_DECLARE_EXCEPTION(TimeoutException);
// A pointer could not be converted to the requested interface.
GENICAM_DECLARE_EXCEPTION(DynamicCastException);

#undef GENICAM_DECLARE_EXCEPTION

// printf into a gcstring.
GCBASE_API gcstring FormatDescription(const char* format, ...) GCBASE_PRINTF_FORMAT(1, 2);

// Builds an exception of type E with a printf-style description and the place of the throw:
//     throw RUNTIME_EXCEPTION("Node '%s' not found", name.c_str());
template <class E>
class ExceptionReporter {
public:
    ExceptionReporter(const char* sourceFileName, unsigned int sourceLine)
        : m_sourceFileName(sourceFileName), m_sourceLine(sourceLine) {}

    E Report(const gcstring& description) const { return E(description, m_sourceFileName, m_sourceLine); }
    E Report() const { return E(gcstring(), m_sourceFileName, m_sourceLine); }
    // The format is a literal at every macro call; clang cannot see that through the template
    // and would warn for calls without arguments.
#if defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wformat-security"
#pragma clang diagnostic ignored "-Wformat-nonliteral"
#endif
    template <class... Arguments>
    E Report(const char* format, const Arguments&... arguments) const {
        return E(FormatDescription(format, PrintfArgument(arguments)...), m_sourceFileName, m_sourceLine);
    }
#if defined(__clang__)
#pragma clang diagnostic pop
#endif

private:
    // Strings may be passed as they are; everything else goes to printf unchanged.
    static const char* PrintfArgument(const gcstring& text) { return text.c_str(); }
    static const char* PrintfArgument(const std::string& text) { return text.c_str(); }
    template <class T>
    static const T& PrintfArgument(const T& value) { return value; }

private:
    const char* m_sourceFileName;
    unsigned int m_sourceLine;
};


} // namespace GenICam

#define GENICAM_EXCEPTION_REPORTER(type) GenICam::ExceptionReporter<GenICam::type>(__FILE__, __LINE__).Report
#define GENERIC_EXCEPTION GENICAM_EXCEPTION_REPORTER(GenericException)
#define INVALID_ARGUMENT_EXCEPTION GENICAM_EXCEPTION_REPORTER(InvalidArgumentException)
#define OUT_OF_RANGE_EXCEPTION GENICAM_EXCEPTION_REPORTER(OutOfRangeException)
#define PROPERTY_EXCEPTION GENICAM_EXCEPTION_REPORTER(PropertyException)
#define RUNTIME_EXCEPTION GENICAM_EXCEPTION_REPORTER(RuntimeException)
#define BAD_ALLOC_EXCEPTION GENICAM_EXCEPTION_REPORTER(BadAllocException)
#define LOGICAL_ERROR_EXCEPTION GENICAM_EXCEPTION_REPORTER(LogicalErrorException)
#define ACCESS_EXCEPTION GENICAM_EXCEPTION_REPORTER(AccessException)
#define TIMEOUT_EXCEPTION GENICAM_EXCEPTION_REPORTER(TimeoutException)
#define DYNAMICCAST_EXCEPTION GENICAM_EXCEPTION_REPORTER(DynamicCastException)

#endif
