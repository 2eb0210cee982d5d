// Reference lists that the pixel-format tests check the library against: the PFNC standard's
// table and the SDK's own codes.
#ifndef VIREO_TESTS_PIXELFORMAT_PIXELFORMATTESTDATA_H
#define VIREO_TESTS_PIXELFORMAT_PIXELFORMATTESTDATA_H

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Vireo::Testing {

struct ReferenceFormat {
    std::string name;
    uint64_t code;
    bool hasDescriptor;
};

// Reads "name<TAB>0xCODE[<TAB>descriptor|none]" rows; skips the header and comments.
inline std::vector<ReferenceFormat> ReadReferenceFormats(const std::string& path) {
    std::vector<ReferenceFormat> formats;
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.empty() || line[0] == '#' || line.rfind("name\t", 0) == 0) continue;
        std::istringstream fields(line);
        std::string name, code, descriptor;
        std::getline(fields, name, '\t');
        std::getline(fields, code, '\t');
        std::getline(fields, descriptor, '\t');
        formats.push_back({name, std::stoull(code, nullptr, 16), descriptor == "descriptor"});
    }
    return formats;
}

inline std::vector<ReferenceFormat> StandardFormats() {
    return ReadReferenceFormats(std::string(VIREO_SHARED_DIR) + "/reference/pfnc-standard.tsv");
}

inline std::vector<ReferenceFormat> OwnFormats() {
    return ReadReferenceFormats(std::string(VIREO_SOURCE_DIR) + "/tests/pixelformat/own-formats.tsv");
}

} // namespace Vireo::Testing

#endif
