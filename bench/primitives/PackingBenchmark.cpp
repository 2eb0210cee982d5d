// Packing and unpacking kernels on one 2448 x 2048 frame: the fast path, the scalar
// reference, and memcpy of as many bytes as the kernel writes (the ceiling a kernel can
// approach), followed by a table of output throughput and the ratio to memcpy.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "primitives/PackedSamples.h"

namespace {

using Vireo::Primitives::PackedBytes;
using Vireo::Primitives::PackedLayout;
using Vireo::Primitives::PlainBytes;

constexpr size_t kWidth = 2448;
constexpr size_t kHeight = 2048;
constexpr size_t kPixels = kWidth * kHeight;

constexpr PackedLayout kLayouts[] = {PackedLayout::P10, PackedLayout::Packed10, PackedLayout::P12,
                                     PackedLayout::Packed12};

struct Kernel {
    std::string name; // "Unpack/12p->16"
    bool packing;
    PackedLayout layout;
    unsigned bits;
    size_t inputBytes() const { return packing ? PlainBytes(bits, kPixels) : PackedBytes(layout, kPixels); }
    size_t outputBytes() const { return packing ? PackedBytes(layout, kPixels) : PlainBytes(bits, kPixels); }
};

std::vector<Kernel> Kernels() {
    std::vector<Kernel> kernels;
    for (unsigned bits : {16u, 8u})
        for (PackedLayout layout : kLayouts)
            kernels.push_back({std::string("Unpack/") + Vireo::Primitives::LayoutName(layout) + "->" + std::to_string(bits),
                               false, layout, bits});
    for (unsigned bits : {16u, 8u})
        for (PackedLayout layout : kLayouts)
            kernels.push_back({std::string("Pack/") + std::to_string(bits) + "->" + Vireo::Primitives::LayoutName(layout),
                               true, layout, bits});
    return kernels;
}

// Random bytes: every kernel reads any input, and random data keeps branch prediction honest.
const std::vector<uint8_t>& Input() {
    static const std::vector<uint8_t> bytes = [] {
        std::vector<uint8_t> random(2 * kPixels);
        std::mt19937 generator(42);
        for (auto& byte : random) byte = static_cast<uint8_t>(generator());
        return random;
    }();
    return bytes;
}

void Run(benchmark::State& state, const Kernel& kernel, bool fast) {
    const uint8_t* input = Input().data();
    std::vector<uint8_t> output(kernel.outputBytes());
    for (auto _ : state) {
        if (kernel.packing) {
            if (fast) Vireo::Primitives::Fast::Pack(kernel.layout, kernel.bits, input, output.data(), kPixels);
            else Vireo::Primitives::Scalar::Pack(kernel.layout, kernel.bits, input, output.data(), kPixels);
        } else {
            if (fast) Vireo::Primitives::Fast::Unpack(kernel.layout, kernel.bits, input, output.data(), kPixels);
            else Vireo::Primitives::Scalar::Unpack(kernel.layout, kernel.bits, input, output.data(), kPixels);
        }
        benchmark::DoNotOptimize(output.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kernel.outputBytes()));
}

void Memcpy(benchmark::State& state, size_t bytes) {
    const std::vector<uint8_t> source(Input().begin(), Input().begin() + bytes);
    std::vector<uint8_t> destination(bytes);
    for (auto _ : state) {
        std::memcpy(destination.data(), source.data(), bytes);
        benchmark::DoNotOptimize(destination.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// Keeps each benchmark's throughput so that the table can be printed after the runs: the
// median when the runs are repeated (the machine may be shared), else the mean of the runs.
class TableReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const auto found = run.counters.find("bytes_per_second");
            if (found == run.counters.end()) continue;
            Throughput& entry = entries_[run.run_name.function_name];
            if (run.run_type == Run::RT_Aggregate) {
                if (run.aggregate_name == "median") entry.median = found->second.value;
            } else {
                entry.sum += found->second.value;
                ++entry.runs;
            }
        }
    }

    double BytesPerSecond(const std::string& name) const {
        const auto found = entries_.find(name);
        if (found == entries_.end()) return 0;
        const Throughput& entry = found->second;
        return entry.median > 0 ? entry.median : entry.runs > 0 ? entry.sum / entry.runs : 0;
    }

private:
    struct Throughput {
        double median = 0;
        double sum = 0;
        int runs = 0;
    };
    std::map<std::string, Throughput> entries_;
};

} // namespace

int main(int argumentCount, char** arguments) {
    const std::vector<Kernel> kernels = Kernels();
    std::map<size_t, std::string> memcpyNames;
    for (const Kernel& kernel : kernels) {
        benchmark::RegisterBenchmark(("Fast/" + kernel.name).c_str(), Run, kernel, true)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Scalar/" + kernel.name).c_str(), Run, kernel, false)->Unit(benchmark::kMillisecond);
        memcpyNames.emplace(kernel.outputBytes(), "Memcpy/" + std::to_string(kernel.outputBytes()));
    }
    for (const auto& [bytes, name] : memcpyNames)
        benchmark::RegisterBenchmark(name.c_str(), Memcpy, bytes)->Unit(benchmark::kMillisecond);

    benchmark::Initialize(&argumentCount, arguments);
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\n%zu x %zu frame, fast path on %s; GB/s of output\n", kWidth, kHeight,
                Vireo::Primitives::Fast::TargetName());
    std::printf("%-22s %8s %8s %8s %8s\n", "kernel", "fast", "memcpy", "ratio", "scalar");
    // A ratio above 1 is possible: a kernel reads fewer bytes than it writes when it unpacks.
    for (const Kernel& kernel : kernels) {
        const double fast = reporter.BytesPerSecond("Fast/" + kernel.name);
        const double scalar = reporter.BytesPerSecond("Scalar/" + kernel.name);
        const double copy = reporter.BytesPerSecond(memcpyNames[kernel.outputBytes()]);
        if (fast <= 0 || copy <= 0) continue; // filtered out
        std::printf("%-22s %8.2f %8.2f %8.2f %8.2f\n", kernel.name.c_str(), fast / 1e9, copy / 1e9, fast / copy,
                    scalar / 1e9);
    }
    benchmark::Shutdown();
    return 0;
}
