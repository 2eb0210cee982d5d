// Pixel-format conversion on a full 2448 x 2048 frame, single thread, in one run: for each
// case the kernel alone, the whole ImageFactory::Convert call (allocation, stages, kernels)
// and OpenCV's equivalent call, followed by a table of times and ratios.
#include <Vireo/ImageFactory.h>
#include <Vireo/PixelFormat.h>

#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "primitives/ColourKernels.h"
#include "primitives/Demosaic.h"
#include "primitives/PackedSamples.h"
#include "primitives/YCbCrKernels.h"
#include "support/TimingReporter.h"

namespace Vireo {
namespace {

using F = PfncFormat;
using namespace Primitives;

constexpr size_t kWidth = 2448, kHeight = 2048, kPixels = kWidth * kHeight;

// A frame with smooth shading, edges and some sensor noise, so that no kernel meets the
// flat input that would flatter it.
struct Frames {
    std::vector<uint8_t> rgb = std::vector<uint8_t>(3 * kPixels);
    std::vector<uint8_t> mosaic = std::vector<uint8_t>(kPixels);  // RGGB
    std::vector<uint8_t> mosaic12p;
    std::vector<uint8_t> uyvy = std::vector<uint8_t>(2 * kPixels);
    std::vector<uint16_t> mono16 = std::vector<uint16_t>(kPixels);

    Frames() {
        std::mt19937 random(1);
        std::normal_distribution<double> noise(0, 3);
        for (size_t y = 0; y < kHeight; ++y)
            for (size_t x = 0; x < kWidth; ++x) {
                const double light = 0.5 + 0.5 * std::sin(double(x) / 190.0) * std::cos(double(y) / 150.0);
                const bool inside = (x / 256 + y / 256) % 2 == 0;
                const double base[3] = {inside ? 200.0 : 60.0, 120.0, inside ? 40.0 : 180.0};
                uint8_t* pixel = &rgb[3 * (y * kWidth + x)];
                for (int channel = 0; channel < 3; ++channel)
                    pixel[channel] = uint8_t(std::clamp(base[channel] * light + 30 + noise(random), 0.0, 255.0));
                const int colour = y % 2 == 0 ? (x % 2 == 0 ? 0 : 1) : (x % 2 == 0 ? 1 : 2);
                mosaic[y * kWidth + x] = pixel[colour];
                mono16[y * kWidth + x] = uint16_t(pixel[1] * 257);
            }
        mosaic12p.resize(PackedBytes(PackedLayout::P12, kPixels));
        Fast::Pack(PackedLayout::P12, 8, mosaic.data(), mosaic12p.data(), kPixels);
        std::vector<uint8_t> bgra(4 * kPixels);
        Fast::SwapChannels(rgb.data(), 3, bgra.data(), 4, ChannelOrder{{2, 1, 0}}, 0, kPixels);
        Fast::ColourToYCbCr(bgra.data(), 4, Layout422{1, 0, 3, 2}, uyvy.data(), kPixels);
    }
};

const Frames& GetFrames() {
    static const Frames frames;
    return frames;
}

void Loop(benchmark::State& state, const std::function<void()>& body) {
    for (auto _ : state) {
        body();
        benchmark::ClobberMemory();
    }
}

// Convert of a source image, the result destroyed inside the timing like any caller would.
void ConvertLoop(benchmark::State& state, const uint8_t* data, size_t bytes, F from, F to,
                 _EBayerAlgorithm algorithm = BayerAlgorithmBilinear) {
    IImage* source = ImageFactory::Create(data, bytes, kWidth, kHeight, uint64_t(from));
    Loop(state, [&] { ImageFactory::Destroy(ImageFactory::Convert(source, uint64_t(to), algorithm)); });
    ImageFactory::Destroy(source);
}

// OpenCV's names of Bayer patterns count from the second row and column, so the RGGB mosaic
// is its "BG" pattern.
constexpr int kCvBayerRggbToBgr = cv::COLOR_BayerBG2BGR;
constexpr int kCvBayerRggbToBgrVng = cv::COLOR_BayerBG2BGR_VNG;
constexpr int kCvBayerRggbToBgrEa = cv::COLOR_BayerBG2BGR_EA;
constexpr int kCvBayerRggbToRgb = cv::COLOR_BayerBG2RGB;

void RegisterAll() {
    const auto ms = [](benchmark::internal::Benchmark* bench) { bench->Unit(benchmark::kMillisecond)->UseRealTime(); };
    const Mosaic<uint8_t> mosaic{GetFrames().mosaic.data(), kWidth, kHeight, BayerGrid::RGGB};
    static std::vector<uint8_t> out(4 * kPixels);
    static std::vector<uint16_t> out16(3 * kPixels), wide(kPixels);
    const Frames& f = GetFrames();

    ms(benchmark::RegisterBenchmark("Bilinear/kernel", [=](benchmark::State& s) {
        Loop(s, [&] { Fast::DemosaicBilinear(mosaic, 0, kHeight, out.data(), ColourOrder{3, true}); });
    }));
    ms(benchmark::RegisterBenchmark("Bilinear/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, f.mosaic.data(), kPixels, F::BayerRG8, F::BGR8);
    }));
    ms(benchmark::RegisterBenchmark("Bilinear/OpenCV", [&f](benchmark::State& s) {
        const cv::Mat in(int(kHeight), int(kWidth), CV_8UC1, const_cast<uint8_t*>(f.mosaic.data()));
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, kCvBayerRggbToBgr); });
    }));
    ms(benchmark::RegisterBenchmark("AHD/kernel", [=](benchmark::State& s) {
        Loop(s, [&] { Fast::DemosaicAhd(mosaic, 0, kHeight, out.data(), ColourOrder{3, true}); });
    }));
    ms(benchmark::RegisterBenchmark("AHD/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, f.mosaic.data(), kPixels, F::BayerRG8, F::BGR8, BayerAlgorithmAHD);
    }));
    ms(benchmark::RegisterBenchmark("AHD/OpenCV", [&f](benchmark::State& s) {  // VNG: the anchor for AHD
        const cv::Mat in(int(kHeight), int(kWidth), CV_8UC1, const_cast<uint8_t*>(f.mosaic.data()));
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, kCvBayerRggbToBgrVng); });
    }));
    ms(benchmark::RegisterBenchmark("EdgeAware/OpenCV", [&f](benchmark::State& s) {
        const cv::Mat in(int(kHeight), int(kWidth), CV_8UC1, const_cast<uint8_t*>(f.mosaic.data()));
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, kCvBayerRggbToBgrEa); });
    }));
    ms(benchmark::RegisterBenchmark("Grey/kernel", [&f](benchmark::State& s) {
        Loop(s, [&] { Fast::ColourToGrey(f.rgb.data(), 3, ChannelOrder{{2, 1, 0}}, out.data(), kPixels); });
    }));
    ms(benchmark::RegisterBenchmark("Grey/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, f.rgb.data(), 3 * kPixels, F::RGB8, F::Mono8);
    }));
    ms(benchmark::RegisterBenchmark("Grey/OpenCV", [&f](benchmark::State& s) {
        const cv::Mat in(int(kHeight), int(kWidth), CV_8UC3, const_cast<uint8_t*>(f.rgb.data()));
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, cv::COLOR_RGB2GRAY); });
    }));
    ms(benchmark::RegisterBenchmark("Uyvy/kernel", [&f](benchmark::State& s) {
        Loop(s, [&] { Fast::YCbCrToColour(f.uyvy.data(), Layout422{1, 0, 3, 2}, out.data(), 3, kPixels); });
    }));
    ms(benchmark::RegisterBenchmark("Uyvy/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, f.uyvy.data(), 2 * kPixels, F::YUV422_8_UYVY, F::BGR8);
    }));
    ms(benchmark::RegisterBenchmark("Uyvy/OpenCV", [&f](benchmark::State& s) {
        const cv::Mat in(int(kHeight), int(kWidth), CV_8UC2, const_cast<uint8_t*>(f.uyvy.data()));
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, cv::COLOR_YUV2BGR_UYVY); });
    }));
    ms(benchmark::RegisterBenchmark("Mono16/kernel", [&f](benchmark::State& s) {
        Loop(s, [&] { Fast::Scale16To8(f.mono16.data(), out.data(), kPixels); });
    }));
    ms(benchmark::RegisterBenchmark("Mono16/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, reinterpret_cast<const uint8_t*>(f.mono16.data()), 2 * kPixels, F::Mono16, F::Mono8);
    }));
    ms(benchmark::RegisterBenchmark("Mono16/OpenCV", [&f](benchmark::State& s) {
        const cv::Mat in(int(kHeight), int(kWidth), CV_16UC1, const_cast<uint16_t*>(f.mono16.data()));
        cv::Mat result;
        Loop(s, [&] { in.convertTo(result, CV_8U, 1.0 / 257); });
    }));
    ms(benchmark::RegisterBenchmark("Bayer12p/kernel", [&f](benchmark::State& s) {
        Loop(s, [&] {
            Fast::Unpack(PackedLayout::P12, 16, f.mosaic12p.data(), reinterpret_cast<uint8_t*>(wide.data()), kPixels);
            Fast::DemosaicBilinear(Mosaic<uint16_t>{wide.data(), kWidth, kHeight, BayerGrid::RGGB}, 0, kHeight,
                                   out16.data(), ColourOrder{3, false});
        });
    }));
    ms(benchmark::RegisterBenchmark("Bayer12p/Convert", [&f](benchmark::State& s) {
        ConvertLoop(s, f.mosaic12p.data(), f.mosaic12p.size(), F::BayerRG12p, F::RGB16);
    }));
    ms(benchmark::RegisterBenchmark("Bayer12p/OpenCV", [&f](benchmark::State& s) {  // bilinear of the unpacked mosaic
        std::vector<uint16_t> unpacked(kPixels);
        Fast::Unpack(PackedLayout::P12, 16, f.mosaic12p.data(), reinterpret_cast<uint8_t*>(unpacked.data()), kPixels);
        const cv::Mat in(int(kHeight), int(kWidth), CV_16UC1, unpacked.data());
        cv::Mat result;
        Loop(s, [&] { cv::cvtColor(in, result, kCvBayerRggbToRgb); });
    }));
}

void PrintSummary(const Bench::TimingReporter& reporter) {
    std::printf("\nConversion of a %zu x %zu frame, single thread (%s); ratio = OpenCV time / ours\n", kWidth,
                kHeight, Fast::DemosaicTargetName());
    std::printf("%-34s %10s %10s %10s %9s %9s\n", "", "kernel ms", "Convert ms", "OpenCV ms", "kernel", "Convert");
    const struct {
        const char* label;
        const char* name;
    } rows[] = {{"BayerRG8 -> BGR8 bilinear", "Bilinear"},
                {"BayerRG8 -> BGR8 AHD (OpenCV: VNG)", "AHD"},
                {"RGB8 -> Mono8", "Grey"},
                {"YUV422_8_UYVY -> BGR8", "Uyvy"},
                {"Mono16 -> Mono8", "Mono16"},
                {"BayerRG12p -> RGB16 (OpenCV: unpacked)", "Bayer12p"}};
    for (const auto& row : rows) {
        const std::string name = row.name;
        const double kernel = reporter.Seconds(name + "/kernel"), convert = reporter.Seconds(name + "/Convert"),
                     opencv = reporter.Seconds(name + "/OpenCV");
        const auto ratio = [opencv](double ours) { return ours > 0 && opencv > 0 ? opencv / ours : 0.0; };
        std::printf("%-34s %10.3f %10.3f %10.3f %8.2fx %8.2fx\n", row.label, kernel * 1e3, convert * 1e3, opencv * 1e3,
                    ratio(kernel), ratio(convert));
    }
    if (const double ea = reporter.Seconds("EdgeAware/OpenCV"); ea > 0)
        std::printf("OpenCV edge-aware demosaicing (EA): %.3f ms\n", ea * 1e3);
}

} // namespace
} // namespace Vireo

int main(int argumentCount, char** arguments) {
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 1;
    cv::setNumThreads(1);
    Vireo::OpenImageFactory();
    Vireo::RegisterAll();
    Vireo::Bench::TimingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    Vireo::PrintSummary(reporter);
    Vireo::CloseImageFactory();
    benchmark::Shutdown();
    return 0;
}
