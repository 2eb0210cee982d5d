// QOI encode and decode of a 2448 x 2048 frame, ours beside the reference codec in one run.
//
// RGB8: both codecs code the same frame and write the same stream. Mono8: the reference has
// no one-channel mode, so it codes the grey frame as RGB with R = G = B, which is what a user
// without the grey variant would do (the expansion itself is not timed). Throughput is always
// counted in bytes of the frame as the camera delivers it, so that the ratios are ratios of
// time per frame.
#include <Vireo/QoiCodec.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>


#include "QoiBenchmarkFrames.h"
#include "support/TimingReporter.h"

#define QOI_NO_STDIO
#define QOI_IMPLEMENTATION
#include <qoi.h>

namespace {

constexpr uint32_t frameWidth = 2448, frameHeight = 2048;

struct Inputs {
    Vireo::Bench::Frames frames;
    std::vector<uint8_t> greyAsRgb;
    std::vector<uint8_t> rgbStream, greyStream, greyAsRgbStream;
    bool identical = false;
};

// Copies a stream out of its malloc block. Taking the encoder as a function keeps the
// length read after the call that sets it.
template <class Encode> std::vector<uint8_t> Encoded(Encode encode) {
    int length = 0;
    void* block = encode(&length);
    if (block == nullptr) return {};
    std::vector<uint8_t> bytes(static_cast<uint8_t*>(block), static_cast<uint8_t*>(block) + length);
    std::free(block);
    return bytes;
}

const Inputs& GetInputs() {
    static const Inputs inputs = [] {
        Inputs made;
        made.frames = Vireo::Bench::MakeFrames(frameWidth, frameHeight);
        made.greyAsRgb.resize(made.frames.mono.size() * 3);
        for (size_t i = 0; i < made.frames.mono.size(); ++i)
            std::memset(&made.greyAsRgb[i * 3], made.frames.mono[i], 3);

        const Vireo::qoi_desc rgb{frameWidth, frameHeight, 3, 0}, grey{frameWidth, frameHeight, 1, 0};
        const ::qoi_desc referenceRgb{frameWidth, frameHeight, 3, 0};
        made.rgbStream = Encoded([&](int* length) { return Vireo::qoi_encode(made.frames.rgb.data(), &rgb, length); });
        made.greyStream = Encoded([&](int* length) { return Vireo::qoi_encode(made.frames.mono.data(), &grey, length); });
        made.greyAsRgbStream = Encoded([&](int* length) { return ::qoi_encode(made.greyAsRgb.data(), &referenceRgb, length); });
        made.identical = !made.rgbStream.empty() &&
                         Encoded([&](int* length) { return ::qoi_encode(made.frames.rgb.data(), &referenceRgb, length); }) == made.rgbStream;
        return made;
    }();
    return inputs;
}

void Count(benchmark::State& state, size_t frameBytes, size_t streamBytes) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * frameBytes));
    state.counters["stream_percent"] = 100.0 * static_cast<double>(streamBytes) / static_cast<double>(frameBytes);
}

template <class Encode> void EncodeLoop(benchmark::State& state, const std::vector<uint8_t>& pixels, uint8_t channels, size_t frameBytes, Encode encode) {
    int length = 0;
    for (auto _ : state) {
        void* stream = encode(pixels.data(), channels, &length);
        if (stream == nullptr) state.SkipWithError("encoding failed");
        benchmark::DoNotOptimize(stream);
        std::free(stream);
    }
    Count(state, frameBytes, static_cast<size_t>(length));
}

template <class Decode> void DecodeLoop(benchmark::State& state, const std::vector<uint8_t>& stream, int channels, size_t frameBytes, Decode decode) {
    for (auto _ : state) {
        void* pixels = decode(stream.data(), static_cast<int>(stream.size()), channels);
        if (pixels == nullptr) state.SkipWithError("decoding failed");
        benchmark::DoNotOptimize(pixels);
        std::free(pixels);
    }
    Count(state, frameBytes, stream.size());
}

void* OurEncode(const void* pixels, uint8_t channels, int* length) {
    const Vireo::qoi_desc desc{frameWidth, frameHeight, channels, 0};
    return Vireo::qoi_encode(pixels, &desc, length);
}
void* ReferenceEncode(const void* pixels, uint8_t channels, int* length) {
    const ::qoi_desc desc{frameWidth, frameHeight, channels, 0};
    return ::qoi_encode(pixels, &desc, length);
}
void* OurDecode(const void* data, int size, int channels) {
    Vireo::qoi_desc desc{};
    return Vireo::qoi_decode(data, size, &desc, channels);
}
void* ReferenceDecode(const void* data, int size, int channels) {
    ::qoi_desc desc{};
    return ::qoi_decode(data, size, &desc, channels);
}

const size_t rgbBytes = size_t{frameWidth} * frameHeight * 3, monoBytes = size_t{frameWidth} * frameHeight;

void RegisterAll() {
    benchmark::RegisterBenchmark("QoiEncode/RGB8/Vireo", [](benchmark::State& s) { EncodeLoop(s, GetInputs().frames.rgb, 3, rgbBytes, OurEncode); });
    benchmark::RegisterBenchmark("QoiEncode/RGB8/Reference", [](benchmark::State& s) { EncodeLoop(s, GetInputs().frames.rgb, 3, rgbBytes, ReferenceEncode); });
    benchmark::RegisterBenchmark("QoiDecode/RGB8/Vireo", [](benchmark::State& s) { DecodeLoop(s, GetInputs().rgbStream, 3, rgbBytes, OurDecode); });
    benchmark::RegisterBenchmark("QoiDecode/RGB8/Reference", [](benchmark::State& s) { DecodeLoop(s, GetInputs().rgbStream, 3, rgbBytes, ReferenceDecode); });
    benchmark::RegisterBenchmark("QoiEncode/Mono8/Vireo", [](benchmark::State& s) { EncodeLoop(s, GetInputs().frames.mono, 1, monoBytes, OurEncode); });
    benchmark::RegisterBenchmark("QoiEncode/Mono8/Reference(R=G=B)", [](benchmark::State& s) { EncodeLoop(s, GetInputs().greyAsRgb, 3, monoBytes, ReferenceEncode); });
    benchmark::RegisterBenchmark("QoiDecode/Mono8/Vireo", [](benchmark::State& s) { DecodeLoop(s, GetInputs().greyStream, 1, monoBytes, OurDecode); });
    benchmark::RegisterBenchmark("QoiDecode/Mono8/Reference(R=G=B)", [](benchmark::State& s) { DecodeLoop(s, GetInputs().greyAsRgbStream, 3, monoBytes, ReferenceDecode); });
}

void PrintSummary(const Vireo::Bench::TimingReporter& reporter) {
    const Inputs& in = GetInputs();
    std::printf("\nQOI on a %u x %u frame (MB = 10^6 bytes of the frame as delivered; ratio = reference time / our time)\n",
                frameWidth, frameHeight);
    std::printf("%-14s %12s %12s %8s\n", "", "Vireo MB/s", "ref. MB/s", "ratio");
    const struct {
        const char* label;
        const char* ours;
        const char* reference;
        size_t bytes;
    } rows[] = {{"RGB8 encode", "QoiEncode/RGB8/Vireo", "QoiEncode/RGB8/Reference", rgbBytes},
                {"RGB8 decode", "QoiDecode/RGB8/Vireo", "QoiDecode/RGB8/Reference", rgbBytes},
                {"Mono8 encode", "QoiEncode/Mono8/Vireo", "QoiEncode/Mono8/Reference(R=G=B)", monoBytes},
                {"Mono8 decode", "QoiDecode/Mono8/Vireo", "QoiDecode/Mono8/Reference(R=G=B)", monoBytes}};
    for (const auto& row : rows) {
        const double ours = reporter.Seconds(row.ours), reference = reporter.Seconds(row.reference);
        if (ours <= 0 || reference <= 0) continue; // filtered out
        std::printf("%-14s %12.0f %12.0f %7.2fx\n", row.label, static_cast<double>(row.bytes) / ours / 1e6,
                    static_cast<double>(row.bytes) / reference / 1e6, reference / ours);
    }
    std::printf("Mono8: the reference has no one-channel mode and codes the grey frame as RGB with R = G = B.\n");
    std::printf("Streams: RGB8 %zu bytes (%.1f %%), Mono8 grey %zu bytes (%.1f %%), Mono8 as RGB %zu bytes.\n", in.rgbStream.size(),
                100.0 * static_cast<double>(in.rgbStream.size()) / static_cast<double>(rgbBytes), in.greyStream.size(),
                100.0 * static_cast<double>(in.greyStream.size()) / static_cast<double>(monoBytes), in.greyAsRgbStream.size());
    std::printf("RGB8 stream byte-identical to the reference encoder's: %s\n", in.identical ? "yes" : "NO");
}

} // namespace

int main(int argumentCount, char** arguments) {
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 1;
    RegisterAll();
    Vireo::Bench::TimingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    PrintSummary(reporter);
    benchmark::Shutdown();
    return GetInputs().identical ? 0 : 1;
}
