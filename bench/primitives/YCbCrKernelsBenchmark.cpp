// The YCbCr kernels on one 2448 x 2048 frame, fast path and scalar reference, beside OpenCV's
// conversion where OpenCV has the same one, all single thread; then a table of times and the
// ratio (OpenCV's time over ours: above 1, ours is faster). The table also shows the largest
// difference of OpenCV's result from ours on the same random frame: within the video range
// the two differ by 1 at most (each rounds its own fixed point), but below Y = 16 OpenCV
// takes Y - 16 as 0 where the formulas go on below black, hence up to 19 on random bytes.
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "primitives/YCbCrKernels.h"
#include "support/TimingReporter.h"

namespace {

namespace Fast = Vireo::Primitives::Fast;
namespace Scalar = Vireo::Primitives::Scalar;
using Vireo::Primitives::Layout411;
using Vireo::Primitives::Layout422;
using Vireo::Primitives::Layout444;

constexpr int kWidth = 2448;
constexpr int kHeight = 2048;
constexpr size_t kPixels = size_t(kWidth) * kHeight;

constexpr Layout422 kYCbYCr{0, 1, 2, 3};
constexpr Layout422 kCbYCrY{1, 0, 3, 2}; // UYVY
constexpr Layout444 kCbYCr{1, 0, 2};
constexpr Layout411 kCbYYCrYY{{1, 2, 4, 5}, 0, 3};

// Frames as OpenCV matrices of bytes: `inColumns` and `outColumns` bytes per row.
struct Case {
    std::string name;
    int inColumns, outColumns;
    std::function<void(bool fast, const uint8_t* in, uint8_t* out)> ours;
    // OpenCV's conversion with its own matrix types, or none.
    int cvInType = 0, cvOutType = 0;
    std::function<void(const cv::Mat& in, cv::Mat& out)> opencv = nullptr;
    bool anchored = false; // the kernel must be at least as fast as OpenCV
};

template <class Layout>
std::function<void(bool, const uint8_t*, uint8_t*)> Decoder(Layout layout, unsigned channels) {
    return [=](bool fast, const uint8_t* in, uint8_t* out) {
        if (fast) Fast::YCbCrToColour(in, layout, out, channels, kPixels);
        else Scalar::YCbCrToColour(in, layout, out, channels, kPixels);
    };
}

template <class Layout>
std::function<void(bool, const uint8_t*, uint8_t*)> Encoder(unsigned channels, Layout layout) {
    return [=](bool fast, const uint8_t* in, uint8_t* out) {
        if (fast) Fast::ColourToYCbCr(in, channels, layout, out, kPixels);
        else Scalar::ColourToYCbCr(in, channels, layout, out, kPixels);
    };
}

std::vector<Case> Cases() {
    constexpr int w = kWidth;
    return {
        {"UYVY->BGR8", 2 * w, 3 * w, Decoder(kCbYCrY, 3), CV_8UC2, CV_8UC3,
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_YUV2BGR_UYVY); }, true},
        {"YCbCr422->BGRa8", 2 * w, 4 * w, Decoder(kYCbYCr, 4), CV_8UC2, CV_8UC4,
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_YUV2BGRA_YUY2); }},
        {"YCbCr422->BGR8", 2 * w, 3 * w, Decoder(kYCbYCr, 3)},
        {"BGRa8->YCbCr422", 4 * w, 2 * w, Encoder(4, kYCbYCr)},
        {"BGR8->UYVY", 3 * w, 2 * w, Encoder(3, kCbYCrY)},
        {"CbYCr444->BGR8", 3 * w, 3 * w, Decoder(kCbYCr, 3)},
        {"CbYCr444->BGRa8", 3 * w, 4 * w, Decoder(kCbYCr, 4)},
        {"BGR8->CbYCr444", 3 * w, 3 * w, Encoder(3, kCbYCr)},
        {"BGRa8->CbYCr444", 4 * w, 3 * w, Encoder(4, kCbYCr)},
        {"CbYYCrYY411->BGR8", 3 * w / 2, 3 * w, Decoder(kCbYYCrYY, 3)},
        {"CbYYCrYY411->BGRa8", 3 * w / 2, 4 * w, Decoder(kCbYYCrYY, 4)},
        {"BGR8->CbYYCrYY411", 3 * w, 3 * w / 2, Encoder(3, kCbYYCrYY)},
        {"BGRa8->CbYYCrYY411", 4 * w, 3 * w / 2, Encoder(4, kCbYYCrYY)},
    };
}

// Random bytes: every kernel takes any input, and random data keeps branch prediction honest.
cv::Mat RandomFrame(int columns) {
    cv::Mat frame(kHeight, columns, CV_8UC1);
    cv::RNG random(42);
    random.fill(frame, cv::RNG::UNIFORM, 0, 256);
    return frame;
}

void RunOurs(benchmark::State& state, const Case& c, bool fast) {
    const cv::Mat in = RandomFrame(c.inColumns);
    cv::Mat out(kHeight, c.outColumns, CV_8UC1);
    for (auto _ : state) {
        c.ours(fast, in.ptr(), out.ptr());
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
    }
}

void RunOpenCv(benchmark::State& state, const Case& c) {
    const cv::Mat in = RandomFrame(c.inColumns).reshape(CV_MAT_CN(c.cvInType));
    cv::Mat out(kHeight, kWidth, c.cvOutType);
    for (auto _ : state) {
        c.opencv(in, out);
        benchmark::DoNotOptimize(out.data);
        benchmark::ClobberMemory();
    }
}

// The largest difference of OpenCV's B, G, R from ours (its alpha, 255, is left out).
double LargestDifference(const Case& c) {
    const cv::Mat in = RandomFrame(c.inColumns);
    cv::Mat ours(kHeight, c.outColumns, CV_8UC1), theirs(kHeight, kWidth, c.cvOutType);
    c.ours(true, in.ptr(), ours.ptr());
    c.opencv(in.reshape(CV_MAT_CN(c.cvInType)), theirs);
    const int channels = CV_MAT_CN(c.cvOutType);
    int largest = 0;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth * channels; ++x)
            if (x % channels < 3) largest = std::max(largest, std::abs(ours.ptr(y)[x] - theirs.ptr(y)[x]));
    return largest;
}

} // namespace

int main(int argumentCount, char** arguments) {
    cv::setNumThreads(1); // single thread, as the kernels run
    const std::vector<Case> cases = Cases();
    for (const Case& c : cases) {
        benchmark::RegisterBenchmark(("Fast/" + c.name).c_str(), RunOurs, c, true)->Unit(benchmark::kMillisecond);
        if (c.opencv)
            benchmark::RegisterBenchmark(("OpenCV/" + c.name).c_str(), RunOpenCv, c)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Scalar/" + c.name).c_str(), RunOurs, c, false)->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argumentCount, arguments);
    // Processor time: the machine may be shared.
    Vireo::Bench::TimingReporter reporter(Vireo::Bench::TimingReporter::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\n%d x %d frame, fast path on %s, OpenCV %s with %d thread(s); processor ms per frame\n", kWidth,
                kHeight, Fast::YCbCrTargetName(), CV_VERSION, cv::getNumThreads());
    std::printf("%-20s %8s %8s %8s %8s %9s\n", "kernel", "ours", "OpenCV", "ratio", "scalar", "max diff");
    for (const Case& c : cases) {
        const double ours = 1e3 * reporter.Seconds("Fast/" + c.name);
        const double scalar = 1e3 * reporter.Seconds("Scalar/" + c.name);
        if (ours <= 0) continue; // filtered out
        const double theirs = c.opencv ? 1e3 * reporter.Seconds("OpenCV/" + c.name) : 0;
        if (theirs <= 0) {
            std::printf("%-20s %8.3f %8s %8s %8.3f %9s\n", c.name.c_str(), ours, "-", "-", scalar, "-");
            continue;
        }
        std::printf("%-20s %8.3f %8.3f %8.2f %8.3f %9.0f%s\n", c.name.c_str(), ours, theirs, theirs / ours, scalar,
                    LargestDifference(c), c.anchored && ours > theirs ? "  SLOWER THAN OPENCV" : "");
    }
    benchmark::Shutdown();
    return 0;
}
