// The factory's per-pixel operations (bit selection, software LUT) on a 2448 x 2048 frame, beside memcpy of the same output
// bytes (the memory-bandwidth ceiling), with the ratio printed at the end.
#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t kWidth = 2448, kHeight = 2048;
std::map<std::string, double> g_bytesPerSecond;

std::vector<uint8_t> Noise(size_t size) {
    std::mt19937 random(7);
    std::vector<uint8_t> bytes(size);
    for (uint8_t& byte : bytes) byte = uint8_t(random());
    return bytes;
}

// Runs the body for the benchmark's iterations and records output bytes per second.
template <class Body>
void Measure(benchmark::State& state, const std::string& name, size_t outputBytes, Body&& body) {
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) body();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    state.SetBytesProcessed(int64_t(state.iterations() * outputBytes));
    if (seconds > 0) g_bytesPerSecond[name] = double(state.iterations()) * double(outputBytes) / seconds;
}

void SelectBits(benchmark::State& state, Vireo::PfncFormat format) {
    Vireo::OpenImageFactory();
    const size_t length = size_t(Vireo::ImageFactory::ExpectedLength(kWidth, kHeight, uint64_t(format)));
    const std::vector<uint8_t> pixels = Noise(length);
    Vireo::IImage* image = Vireo::ImageFactory::Shallow(pixels.data(), length, kWidth, kHeight, uint64_t(format));
    std::vector<uint8_t> output(kWidth * kHeight);
    Measure(state, std::string("SelectBits ") + Vireo::GetPixelFormatName(format), output.size(), [&] {
        Vireo::IImage* selected = Vireo::ImageFactory::SelectBitsShallow(output.data(), output.size(), image,
                                                                         uint64_t(Vireo::PfncFormat::Mono8), 0);
        Vireo::ImageFactory::Destroy(selected);
        benchmark::ClobberMemory();
    });
    Vireo::ImageFactory::Destroy(image);
    Vireo::CloseImageFactory();
}

void Lut(benchmark::State& state, Vireo::PfncFormat format, size_t tableLength) {
    Vireo::OpenImageFactory();
    const size_t length = size_t(Vireo::ImageFactory::ExpectedLength(kWidth, kHeight, uint64_t(format)));
    const std::vector<uint8_t> pixels = Noise(length);
    std::vector<uint8_t> table = Noise(tableLength);
    Vireo::IImage* image = Vireo::ImageFactory::Shallow(pixels.data(), length, kWidth, kHeight, uint64_t(format));
    Measure(state, std::string("ProcessSoftwareLUT ") + Vireo::GetPixelFormatName(format), length, [&] {
        Vireo::ImageFactory::Destroy(Vireo::ImageFactory::ProcessSoftwareLUT(image, table.data(), table.size()));
    });
    Vireo::ImageFactory::Destroy(image);
    Vireo::CloseImageFactory();
}

void Memcpy(benchmark::State& state) {
    const std::vector<uint8_t> source = Noise(kWidth * kHeight);
    std::vector<uint8_t> destination(source.size());
    Measure(state, "memcpy", source.size(), [&] {
        std::memcpy(destination.data(), source.data(), source.size());
        benchmark::ClobberMemory();
    });
}

void SelectBits_Mono12p(benchmark::State& state) { SelectBits(state, Vireo::PfncFormat::Mono12p); }
void SelectBits_Mono16(benchmark::State& state) { SelectBits(state, Vireo::PfncFormat::Mono16); }
void SelectBits_Mono8(benchmark::State& state) { SelectBits(state, Vireo::PfncFormat::Mono8); }

void Lut_Mono8(benchmark::State& state) { Lut(state, Vireo::PfncFormat::Mono8, 256); }
void Lut_Mono16(benchmark::State& state) { Lut(state, Vireo::PfncFormat::Mono16, 131072); }

BENCHMARK(Lut_Mono8)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(Lut_Mono16)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(Memcpy)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(SelectBits_Mono12p)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(SelectBits_Mono16)->Unit(benchmark::kMicrosecond)->MinTime(0.5);
BENCHMARK(SelectBits_Mono8)->Unit(benchmark::kMicrosecond)->MinTime(0.5);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    const double ceiling = g_bytesPerSecond["memcpy"];
    std::printf("\nOutput throughput, 2448 x 2048, beside memcpy of the same bytes (%.2f GB/s):\n", ceiling / 1e9);
    for (const auto& [name, rate] : g_bytesPerSecond)
        if (name != "memcpy") std::printf("  %-22s %6.2f GB/s  %.2fx memcpy\n", name.c_str(), rate / 1e9, ceiling > 0 ? rate / ceiling : 0.0);
    return 0;
}
