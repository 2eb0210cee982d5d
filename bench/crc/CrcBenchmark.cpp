// CRC-32 over one 15 MB frame: the SDK's CalculateCRC32 beside zlib's crc32, libdeflate's
// crc32 and the plain byte-table loop, in one run, followed by the throughput ratios.
#include <Vireo/Crc.h>

#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/ReferenceCrc32.h"

namespace {

constexpr size_t kFrameBytes = 15 * 1000 * 1000;

const std::vector<uint8_t>& Frame() {
    static const std::vector<uint8_t> frame = [] {
        std::vector<uint8_t> bytes(kFrameBytes);
        std::mt19937 random(42);
        for (auto& byte : bytes) byte = static_cast<uint8_t>(random());
        return bytes;
    }();
    return frame;
}

template <class Crc>
void Measure(benchmark::State& state, Crc crc) {
    const std::vector<uint8_t>& frame = Frame();
    uint32_t value = 0;
    for (auto _ : state) {
        value = crc(frame.data(), frame.size());
        benchmark::DoNotOptimize(value);
    }
    if (value != Vireo::CalculateCRC32(frame.data(), frame.size())) state.SkipWithError("CRC differs from the SDK's");
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

void Vireo_CalculateCRC32(benchmark::State& state) { Measure(state, Vireo::CalculateCRC32); }
void Zlib_crc32(benchmark::State& state) {
    Measure(state, [](const uint8_t* data, size_t size) { return uint32_t(crc32_z(crc32(0, nullptr, 0), data, size)); });
}
void Libdeflate_crc32(benchmark::State& state) {
    Measure(state, [](const uint8_t* data, size_t size) { return libdeflate_crc32(0, data, size); });
}
void ByteTable(benchmark::State& state) { Measure(state, Vireo::Testing::ReferenceCrc32); }

BENCHMARK(Vireo_CalculateCRC32)->Unit(benchmark::kMillisecond);
BENCHMARK(Zlib_crc32)->Unit(benchmark::kMillisecond);
BENCHMARK(Libdeflate_crc32)->Unit(benchmark::kMillisecond);
BENCHMARK(ByteTable)->Unit(benchmark::kMillisecond);

// Keeps each benchmark's throughput so that the ratios can be printed after the table.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto found = run.counters.find("bytes_per_second");
            if (found != run.counters.end()) throughput[run.benchmark_name()] = found->second.value;
        }
    }
    std::map<std::string, double> throughput;
};

} // namespace

int main(int argumentCount, char** arguments) {
    benchmark::Initialize(&argumentCount, arguments);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double ours = reporter.throughput["Vireo_CalculateCRC32"];
    std::printf("\nCRC-32 of %zu bytes: Vireo %.2f GB/s\n", kFrameBytes, ours / 1e9);
    for (const char* peer : {"Zlib_crc32", "Libdeflate_crc32", "ByteTable"}) {
        const double theirs = reporter.throughput[peer];
        if (theirs > 0) std::printf("  Vireo / %-17s %6.2f x  (%.2f GB/s)\n", peer, ours / theirs, theirs / 1e9);
    }
    return 0;
}
