// `vireo convert`: image files from one pixel format to another through the image factory.
#ifndef VIREO_TOOL_CONVERT_H
#define VIREO_TOOL_CONVERT_H

#include <cstddef>
#include <ostream>
#include <string>

#include <Vireo/ImageFactory.h>

namespace VireoTool {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string to;            // the target pixel format's name
    std::string from;          // raw input: its pixel format (PNG input: reinterpret the samples)
    size_t width = 0;          // raw input without a sidecar
    size_t height = 0;
    Vireo::_EBayerAlgorithm algorithm = Vireo::BayerAlgorithmBilinear;
};

int ConvertFile(const ConvertOptions& options, std::ostream& out);

} // namespace VireoTool

#endif
