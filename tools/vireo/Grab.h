// `vireo grab`: a burst of frames from a camera, converted and written as PNG files, with
// the stream's statistics.
#ifndef VIREO_TOOL_GRAB_H
#define VIREO_TOOL_GRAB_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <Vireo/ImageFactory.h>

namespace VireoTool {

struct GrabOptions {
    size_t count = 0;
    std::string serial;                  // empty: the first camera found
    std::string format;                  // empty: Mono8 for mono cameras, BGR8 for colour ones
    std::string outDir = ".";
    bool chunks = false;                 // check every frame's CRC chunk
    bool compress = false;               // ask for QOI-compressed frames
    bool noWrite = false;                // measure the stream only
    std::vector<std::string> settings;   // NAME=VALUE applied before the stream starts
    uint64_t timeoutMs = 0;              // per frame; 0: from the frame rate
    size_t buffers = 16;
    Vireo::_EBayerAlgorithm algorithm = Vireo::BayerAlgorithmBilinear;
};

// Progress goes to `progress`, the summary to `out`. Exit code 1 when frames are missing,
// incomplete, fail their CRC or cannot be written.
int Grab(const GrabOptions& options, std::ostream& out, std::ostream& progress, bool progressIsTerminal);

} // namespace VireoTool

#endif
