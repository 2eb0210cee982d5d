#include "ToolError.h"

namespace VireoTool {

std::string OneLine(const std::string& text) {
    std::string line;
    line.reserve(text.size());
    for (char c : text) {
        if (c == '\n' || c == '\r' || c == '\t') c = ' ';
        if (c == ' ' && (line.empty() || line.back() == ' ')) continue;
        line += c;
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return line;
}

} // namespace VireoTool
