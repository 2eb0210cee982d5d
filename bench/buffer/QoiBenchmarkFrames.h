// Camera-like test frames for the QOI benchmark, the same on every run.
#ifndef VIREO_BENCH_BUFFER_QOIBENCHMARKFRAMES_H
#define VIREO_BENCH_BUFFER_QOIBENCHMARKFRAMES_H

#include <cstdint>
#include <vector>

namespace Vireo::Bench {

struct Frames {
    uint32_t width = 0, height = 0;
    std::vector<uint8_t> rgb;  // RGB8
    std::vector<uint8_t> mono; // Mono8
};

// A scene as an industrial camera sees it: a lit background with a smooth gradient and
// vignetting, textured surfaces, flat printed labels, clipped highlights and black areas,
// and sensor noise that grows with brightness. The mono frame is the same scene with its own
// noise.
Frames MakeFrames(uint32_t width, uint32_t height);

} // namespace Vireo::Bench

#endif
