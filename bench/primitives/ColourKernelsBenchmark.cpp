// The colour kernels on one 2448 x 2048 frame beside OpenCV's equivalent, both single thread,
// followed by a table of times and the ratio (OpenCV's time over ours: above 1, ours is
// faster). Before timing, each pair runs once on the same random frame and the table shows
// the largest difference between the two results (OpenCV rounds its own fixed point for grey).
#include <benchmark/benchmark.h>

#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "primitives/ColourKernels.h"
#include "support/TimingReporter.h"

namespace {

namespace Fast = Vireo::Primitives::Fast;
namespace Scalar = Vireo::Primitives::Scalar;
using Vireo::Primitives::ChannelOrder;

constexpr int kWidth = 2448;
constexpr int kHeight = 2048;
constexpr size_t kPixels = size_t(kWidth) * kHeight;
constexpr ChannelOrder kSwapRedBlue{{2, 1, 0}};

// One conversion: input and output frames, ours (fast or scalar path) and OpenCV's.
struct Case {
    std::string name;
    int inType, outType;
    std::function<void(bool fast, const cv::Mat& in, cv::Mat& out)> ours;
    std::function<void(const cv::Mat& in, cv::Mat& out)> opencv;
    bool anchored; // timed against a figure the kernel must match
};

template <class T>
const T* In(const cv::Mat& m) {
    return m.ptr<T>();
}
template <class T>
T* Out(cv::Mat& m) {
    return m.ptr<T>();
}

using u8 = uint8_t;
using u16 = uint16_t;
using ToGrey8 = void (*)(const u8*, unsigned, ChannelOrder, u8*, size_t) noexcept;
using ToGrey16 = void (*)(const u16*, unsigned, ChannelOrder, u16*, size_t) noexcept;
using ToColour8 = void (*)(const u8*, u8*, unsigned, u8, size_t) noexcept;
using ToColour16 = void (*)(const u16*, u16*, unsigned, u16, size_t) noexcept;
using Swap8 = void (*)(const u8*, unsigned, u8*, unsigned, ChannelOrder, u8, size_t) noexcept;
using Swap16 = void (*)(const u16*, unsigned, u16*, unsigned, ChannelOrder, u16, size_t) noexcept;

// The fast or the scalar variant of an overloaded kernel, chosen by its type.
template <class Kernel>
Kernel Pick(bool fast, Kernel fastKernel, Kernel scalarKernel) {
    return fast ? fastKernel : scalarKernel;
}

std::vector<Case> Cases() {
    return {
        {"RGB8->Mono8", CV_8UC3, CV_8UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<ToGrey8>(fast, Fast::ColourToGrey, Scalar::ColourToGrey)(In<u8>(in), 3, kSwapRedBlue, Out<u8>(out),
                                                                           kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_RGB2GRAY); }, true},
        {"Mono16->Mono8", CV_16UC1, CV_8UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             (fast ? Fast::Scale16To8 : Scalar::Scale16To8)(In<u16>(in), Out<u8>(out), kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { in.convertTo(out, CV_8U, 1.0 / 257); }, true},
        {"Mono8->BGRa8", CV_8UC1, CV_8UC4,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<ToColour8>(fast, Fast::GreyToColour, Scalar::GreyToColour)(In<u8>(in), Out<u8>(out), 4, 255, kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_GRAY2BGRA); }, false},
        {"RGB8->BGRa8", CV_8UC3, CV_8UC4,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<Swap8>(fast, Fast::SwapChannels, Scalar::SwapChannels)(In<u8>(in), 3, Out<u8>(out), 4, kSwapRedBlue,
                                                                         255, kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_RGB2BGRA); }, false},
        {"BGRa8->RGB8", CV_8UC4, CV_8UC3,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<Swap8>(fast, Fast::SwapChannels, Scalar::SwapChannels)(In<u8>(in), 4, Out<u8>(out), 3, kSwapRedBlue,
                                                                         0, kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_BGRA2RGB); }, false},
        {"RGB16->BGRa16", CV_16UC3, CV_16UC4,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<Swap16>(fast, Fast::SwapChannels, Scalar::SwapChannels)(In<u16>(in), 3, Out<u16>(out), 4,
                                                                          kSwapRedBlue, 65535, kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_RGB2BGRA); }, false},
        {"Mono8->Mono16", CV_8UC1, CV_16UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             (fast ? Fast::Scale8To16 : Scalar::Scale8To16)(In<u8>(in), Out<u16>(out), kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { in.convertTo(out, CV_16U, 257); }, false},
        {"BGRa8->Mono8", CV_8UC4, CV_8UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<ToGrey8>(fast, Fast::ColourToGrey, Scalar::ColourToGrey)(In<u8>(in), 4, kSwapRedBlue, Out<u8>(out),
                                                                           kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_BGRA2GRAY); }, false},
        {"RGB16->Mono16", CV_16UC3, CV_16UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<ToGrey16>(fast, Fast::ColourToGrey, Scalar::ColourToGrey)(In<u16>(in), 3, kSwapRedBlue, Out<u16>(out),
                                                                            kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_BGR2GRAY); }, false},
        {"Mono16->RGB16", CV_16UC1, CV_16UC3,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             Pick<ToColour16>(fast, Fast::GreyToColour, Scalar::GreyToColour)(In<u16>(in), Out<u16>(out), 3, 0,
                                                                              kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { cv::cvtColor(in, out, cv::COLOR_GRAY2BGR); }, false},
        // OpenCV rounds where the kernel truncates: a comparison of the work, not of the result.
        {"Mono12->Mono8", CV_16UC1, CV_8UC1,
         [](bool fast, const cv::Mat& in, cv::Mat& out) {
             (fast ? Fast::Shift16To8 : Scalar::Shift16To8)(In<u16>(in), Out<u8>(out), 4, kPixels);
         },
         [](const cv::Mat& in, cv::Mat& out) { in.convertTo(out, CV_8U, 1.0 / 16); }, false},
    };
}

// Random samples: every kernel takes any input; 12-bit samples for the 12-bit case.
cv::Mat RandomFrame(int type, bool twelveBits) {
    cv::Mat frame(kHeight, kWidth, type);
    cv::RNG random(42);
    if (CV_MAT_DEPTH(type) == CV_8U) random.fill(frame, cv::RNG::UNIFORM, 0, 256);
    else random.fill(frame, cv::RNG::UNIFORM, 0, twelveBits ? 4096 : 65536);
    return frame;
}

struct Frames {
    cv::Mat in, out;
};

Frames FramesFor(const Case& c) {
    return {RandomFrame(c.inType, c.name.find("12") != std::string::npos), cv::Mat(kHeight, kWidth, c.outType)};
}

void RunOurs(benchmark::State& state, const Case& c, bool fast) {
    Frames frames = FramesFor(c);
    for (auto _ : state) {
        c.ours(fast, frames.in, frames.out);
        benchmark::DoNotOptimize(frames.out.data);
        benchmark::ClobberMemory();
    }
}

void RunOpenCv(benchmark::State& state, const Case& c) {
    Frames frames = FramesFor(c);
    for (auto _ : state) {
        c.opencv(frames.in, frames.out);
        benchmark::DoNotOptimize(frames.out.data);
        benchmark::ClobberMemory();
    }
}

// The largest difference between our result and OpenCV's on the same frame; for the grey
// of RGB, OpenCV's BGR2GRAY is the conversion that takes red from channel 2 as ours does.
double LargestDifference(const Case& c) {
    Frames frames = FramesFor(c);
    cv::Mat theirs(kHeight, kWidth, c.outType);
    c.ours(true, frames.in, frames.out);
    if (c.name == "RGB8->Mono8") cv::cvtColor(frames.in, theirs, cv::COLOR_BGR2GRAY);
    else c.opencv(frames.in, theirs);
    cv::Mat difference;
    cv::absdiff(frames.out, theirs, difference);
    double largest = 0;
    cv::minMaxLoc(difference.reshape(1), nullptr, &largest);
    return largest;
}

} // namespace

int main(int argumentCount, char** arguments) {
    cv::setNumThreads(1); // single thread, as the kernels run
    const std::vector<Case> cases = Cases();
    for (const Case& c : cases) {
        benchmark::RegisterBenchmark(("Fast/" + c.name).c_str(), RunOurs, c, true)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("OpenCV/" + c.name).c_str(), RunOpenCv, c)->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("Scalar/" + c.name).c_str(), RunOurs, c, false)->Unit(benchmark::kMillisecond);
    }
    benchmark::Initialize(&argumentCount, arguments);
    // Processor time: the machine may be shared.
    Vireo::Bench::TimingReporter reporter(Vireo::Bench::TimingReporter::Clock::Processor);
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\n%d x %d frame, fast path on %s, OpenCV %s with %d thread(s); processor ms per frame\n", kWidth,
                kHeight, Fast::ColourTargetName(), CV_VERSION, cv::getNumThreads());
    std::printf("%-16s %8s %8s %8s %8s %9s\n", "kernel", "ours", "OpenCV", "ratio", "scalar", "max diff");
    for (const Case& c : cases) {
        const double ours = 1e3 * reporter.Seconds("Fast/" + c.name);
        const double theirs = 1e3 * reporter.Seconds("OpenCV/" + c.name);
        const double scalar = 1e3 * reporter.Seconds("Scalar/" + c.name);
        if (ours <= 0 || theirs <= 0) continue; // filtered out
        std::printf("%-16s %8.3f %8.3f %8.2f %8.3f %9.0f%s\n", c.name.c_str(), ours, theirs, theirs / ours, scalar,
                    LargestDifference(c), c.anchored && ours > theirs ? "  SLOWER THAN OPENCV" : "");
    }
    benchmark::Shutdown();
    return 0;
}
