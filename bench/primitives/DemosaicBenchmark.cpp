// Demosaicing of one 2448 x 2048 RGGB frame into 3-channel BGR, single thread: our bilinear
// and AHD kernels (fast path and scalar reference, 8 and 16 bits) beside OpenCV's bilinear,
// edge-aware and VNG demosaicing of the same 8-bit mosaic, followed by a table of times and
// the ratios of OpenCV's time to ours (above 1: ours is faster).
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "primitives/Demosaic.h"
#include "support/TimingReporter.h"

namespace {

using namespace Vireo::Primitives;

constexpr size_t kWidth = 2448;
constexpr size_t kHeight = 2048;
constexpr ColourOrder kBgr{3, true};

// A mosaic with the structure of a photograph (smooth shading, edges, fine texture, some
// noise), so that data-dependent choices (AHD's directions, OpenCV's gradients) are as varied
// as in real frames. RGGB: red at (0, 0).
const std::vector<uint8_t>& Mosaic8() {
    static const std::vector<uint8_t> samples = [] {
        std::vector<uint8_t> mosaic(kWidth * kHeight);
        std::mt19937 random(3);
        std::normal_distribution<double> noise(0, 2);
        for (size_t y = 0; y < kHeight; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                const double shade = 0.5 + 0.3 * std::sin(x / 300.0) * std::cos(y / 250.0);
                const double texture = 0.15 * std::sin(x * 0.9 + 0.3 * y) * (std::sin(y / 60.0) > 0 ? 1 : 0.2);
                const double edge = (int(x / 97 + y / 131) % 3 == 0) ? 0.2 : 0.0;
                const int colour = (y % 2) * 2 + x % 2; // 0 red, 1 and 2 green, 3 blue
                const double tint = colour == 0 ? 0.9 : colour == 3 ? 0.7 : 1.0;
                const double value = 255 * tint * (shade + texture + edge) + noise(random);
                mosaic[y * kWidth + x] = uint8_t(std::clamp(value, 0.0, 255.0));
            }
        return mosaic;
    }();
    return samples;
}

const std::vector<uint16_t>& Mosaic16() {
    static const std::vector<uint16_t> samples = [] {
        std::vector<uint16_t> mosaic(Mosaic8().begin(), Mosaic8().end());
        for (uint16_t& sample : mosaic) sample = uint16_t(sample * 257);
        return mosaic;
    }();
    return samples;
}

template <class Sample>
using Kernel = void (*)(const Mosaic<Sample>&, size_t, size_t, Sample*, ColourOrder);

template <class Sample>
void Ours(benchmark::State& state, Kernel<Sample> kernel, const std::vector<Sample>* mosaic) {
    std::vector<Sample> out(kWidth * kHeight * 3);
    const Mosaic<Sample> frame{mosaic->data(), kWidth, kHeight, BayerGrid::RGGB};
    for (auto _ : state) {
        kernel(frame, 0, kHeight, out.data(), kBgr);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

// OpenCV's name for our RGGB is BayerBG (it names the second and third samples of the
// second row); the quality test checks that mapping.
void OpenCv(benchmark::State& state, int code) {
    const cv::Mat mosaic(int(kHeight), int(kWidth), CV_8UC1, const_cast<uint8_t*>(Mosaic8().data()));
    cv::Mat out(int(kHeight), int(kWidth), CV_8UC3);
    for (auto _ : state) {
        cv::cvtColor(mosaic, out, code);
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    // A fair comparison: OpenCV would otherwise spread its work over every core.
    cv::setNumThreads(1);
    Mosaic8(), Mosaic16(); // made before any timing

    const auto ours8 = [](const char* name, Kernel<uint8_t> kernel) {
        benchmark::RegisterBenchmark(name, Ours<uint8_t>, kernel, &Mosaic8())->Unit(benchmark::kMillisecond);
    };
    const auto ours16 = [](const char* name, Kernel<uint16_t> kernel) {
        benchmark::RegisterBenchmark(name, Ours<uint16_t>, kernel, &Mosaic16())->Unit(benchmark::kMillisecond);
    };
    const auto openCv = [](const char* name, int code) {
        benchmark::RegisterBenchmark(name, OpenCv, code)->Unit(benchmark::kMillisecond);
    };
    ours8("Ours/Bilinear8/fast", Fast::DemosaicBilinear);
    openCv("OpenCV/Bilinear", cv::COLOR_BayerBG2BGR);
    ours8("Ours/AHD8/fast", Fast::DemosaicAhd);
    openCv("OpenCV/VNG", cv::COLOR_BayerBG2BGR_VNG);
    openCv("OpenCV/EA", cv::COLOR_BayerBG2BGR_EA);
    ours16("Ours/Bilinear16/fast", Fast::DemosaicBilinear);
    ours16("Ours/AHD16/fast", Fast::DemosaicAhd);
    ours8("Ours/Bilinear8/scalar", Scalar::DemosaicBilinear);
    ours8("Ours/AHD8/scalar", Scalar::DemosaicAhd);
    ours16("Ours/Bilinear16/scalar", Scalar::DemosaicBilinear);
    ours16("Ours/AHD16/scalar", Scalar::DemosaicAhd);

    benchmark::Initialize(&argumentCount, arguments);
    // Processor time: the machine may be shared.
    Vireo::Bench::TimingReporter reporter(Vireo::Bench::TimingReporter::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\n%zu x %zu RGGB frame to BGR, one thread, fast path on %s; ms per frame\n", kWidth, kHeight,
                Fast::DemosaicTargetName());
    std::printf("%-24s %9s   %-18s %9s %8s\n", "ours", "ms", "OpenCV", "ms", "ratio");
    const struct {
        const char* ours;
        const char* openCv;
    } pairs[] = {{"Ours/Bilinear8/fast", "OpenCV/Bilinear"}, {"Ours/AHD8/fast", "OpenCV/VNG"},
                 {"Ours/AHD8/fast", "OpenCV/EA"},            {"Ours/Bilinear16/fast", "OpenCV/Bilinear"},
                 {"Ours/AHD16/fast", "OpenCV/VNG"},          {"Ours/Bilinear8/scalar", "OpenCV/Bilinear"},
                 {"Ours/AHD8/scalar", "OpenCV/VNG"},         {"Ours/Bilinear16/scalar", "OpenCV/Bilinear"},
                 {"Ours/AHD16/scalar", "OpenCV/VNG"}};
    for (const auto& pair : pairs) {
        const double ours = 1e3 * reporter.Seconds(pair.ours), openCv = 1e3 * reporter.Seconds(pair.openCv);
        if (ours <= 0 || openCv <= 0) continue; // filtered out
        std::printf("%-24s %9.2f   %-18s %9.2f %8.2f\n", pair.ours, ours, pair.openCv, openCv, openCv / ours);
    }
    benchmark::Shutdown();
    return 0;
}
