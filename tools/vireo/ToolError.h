// The tool's failures and the exit codes scripts rely on.
#ifndef VIREO_TOOL_TOOLERROR_H
#define VIREO_TOOL_TOOLERROR_H

#include <stdexcept>
#include <string>

namespace VireoTool {

enum ExitCode : int {
    kExitSuccess = 0,
    kExitRuntimeFailure = 1,  // the camera, a file or a conversion failed
    kExitUsage = 2,           // the command line itself is wrong
};

// A failure with a message meant for the user, one line, and the exit code it leads to.
class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message, int exitCode = kExitRuntimeFailure)
        : std::runtime_error(message), m_exitCode(exitCode) {}
    int ExitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

// A mistake in the arguments found only once they are read (a malformed NAME=VALUE, an unknown
// pixel-format name): the same exit code as the parser's own usage errors.
class UsageError : public ToolError {
public:
    explicit UsageError(const std::string& message) : ToolError(message, kExitUsage) {}
};

// Folds a multi-line message (the engine's list of enumeration entries, for one) into one line.
std::string OneLine(const std::string& text);

} // namespace VireoTool

#endif
