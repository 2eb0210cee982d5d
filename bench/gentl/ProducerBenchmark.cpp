// The virtual producer's streaming cost: the round trip of one buffer (event wait to
// requeue) with small frames, the sustained frame rate of a 640 x 480 Mono8 stream, and the
// time to generate a full 2448 x 2048 frame, each with frames as fast as buffers allow.
#include <GenApi/GenApi.h>
#include <GenTL/GenTLExtensions.h>

#include <benchmark/benchmark.h>

#include "ProducerStream.h"

#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

using namespace GenTL;

namespace {

using ProducerBench::Stream;

void Measure(benchmark::State& state, int64_t width, int64_t height, const char* format, size_t buffers) {
    Stream stream(width, height, format, buffers);
    for (int warm = 0; warm < 20; ++warm) stream.RoundTrip();
    for (auto _ : state)
        if (!stream.RoundTrip()) state.SkipWithError("no buffer delivered");
    state.counters["frames_per_second"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    state.SetBytesProcessed(int64_t(state.iterations()) * width * height * (format[0] == 'B' || format[0] == 'M' ? 1 : 3));
}

// 64 x 48 Mono8: the cost of a buffer's trip through the producer, not of its pixels.
void SmallFrameRoundTrip(benchmark::State& state) { Measure(state, 64, 48, "Mono8", 8); }
void Vga_Mono8(benchmark::State& state) { Measure(state, 640, 480, "Mono8", 16); }
void Full_2448x2048_BayerRG8(benchmark::State& state) { Measure(state, 2448, 2048, "BayerRG8", 4); }

BENCHMARK(SmallFrameRoundTrip)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Vga_Mono8)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(Full_2448x2048_BayerRG8)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
