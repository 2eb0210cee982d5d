#include <Base/GCException.h>

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace GenICam {

GenericException::GenericException(const gcstring& description, const char* sourceFileName, unsigned int sourceLine)
    : m_description(description), m_sourceFileName(sourceFileName), m_sourceLine(sourceLine) {}

GenericException::~GenericException() noexcept = default;

const char* GenericException::GetDescription() const noexcept { return m_description.c_str(); }
const char* GenericException::GetSourceFileName() const noexcept { return m_sourceFileName.c_str(); }
unsigned int GenericException::GetSourceLine() const noexcept { return m_sourceLine; }
const char* GenericException::what() const noexcept { return m_description.c_str(); }

// Out-of-line destructors anchor each class's type information in this library, so that a
// throw in one shared object is caught by type in another.
InvalidArgumentException::~InvalidArgumentException() noexcept = default;
OutOfRangeException::~OutOfRangeException() noexcept = default;
PropertyException::~PropertyException() noexcept = default;
RuntimeException::~RuntimeException() noexcept = default;
BadAllocException::~BadAllocException() noexcept = default;
LogicalErrorException::~LogicalErrorException() noexcept = default;
AccessException::~AccessException() noexcept = default;
TimeoutException::~TimeoutException() noexcept = default;
DynamicCastException::~DynamicCastException() noexcept = default;

gcstring FormatDescription(const char* format, ...) {
    if (format == nullptr) return gcstring();
    va_list arguments;
    va_start(arguments, format);
    va_list measure;
    va_copy(measure, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length <= 0) {
        va_end(arguments);
        return gcstring();
    }
    std::vector<char> text(static_cast<size_t>(length) + 1);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    return gcstring(text.data(), static_cast<size_t>(length));
}

} // namespace GenICam
