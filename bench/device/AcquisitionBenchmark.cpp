// What the SDK adds to each frame: GetImage + RequeueBuffer against the bare producer round
// trip (EventGetData + DSQueueBuffer) on the same virtual camera and geometry, one after the
// other in one run, with the per-frame difference printed at the end.
#include <Vireo/Vireo.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>

#include "ProducerStream.h"

namespace {

std::map<std::string, double> g_microsecondsPerFrame;

void Record(benchmark::State& state, const std::string& name, double seconds) {
    state.counters["frames_per_second"] = benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
    if (state.iterations() > 0) g_microsecondsPerFrame[name] = seconds * 1e6 / double(state.iterations());
}

template <class Body>
double Timed(benchmark::State& state, Body&& body) {
    const auto start = std::chrono::steady_clock::now();
    for (auto _ : state) body();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Producer(benchmark::State& state, const char* name, int64_t width, int64_t height, const char* format,
              size_t buffers) {
    ProducerBench::Stream stream(width, height, format, buffers);
    for (int warm = 0; warm < 20; ++warm) stream.RoundTrip();
    const double seconds = Timed(state, [&] {
        if (!stream.RoundTrip()) state.SkipWithError("no buffer delivered");
    });
    Record(state, std::string(name) + "/producer", seconds);
}

void Sdk(benchmark::State& state, const char* name, int64_t width, int64_t height, const char* format, size_t buffers) {
    Vireo::ISystem* system = Vireo::OpenSystem();
    system->UpdateDevices(200);
    Vireo::IDevice* camera = nullptr;
    for (const Vireo::DeviceInfo& info : system->GetDevices())
        if (info.SerialNumber() == "VC2448C-0001") camera = system->CreateDevice(info);
    GenApi::INodeMap* features = camera->GetNodeMap();
    Vireo::SetNodeValue<int64_t>(features, "Width", width);
    Vireo::SetNodeValue<int64_t>(features, "Height", height);
    Vireo::SetNodeValue<GenICam::gcstring>(features, "PixelFormat", format);
    Vireo::SetNodeValue<bool>(features, "AcquisitionFrameRateEnable", false);
    camera->StartStream(buffers);
    for (int warm = 0; warm < 20; ++warm) camera->RequeueBuffer(camera->GetImage(5000));
    const double seconds = Timed(state, [&] {
        Vireo::IImage* image = camera->GetImage(5000);
        benchmark::DoNotOptimize(image->GetWidth());
        camera->RequeueBuffer(image);
    });
    Record(state, std::string(name) + "/sdk", seconds);
    camera->StopStream();
    system->DestroyDevice(camera);
    Vireo::CloseSystem(system);
}

void SmallFrame_Producer(benchmark::State& state) { Producer(state, "64x48 Mono8", 64, 48, "Mono8", 8); }
void SmallFrame_Sdk(benchmark::State& state) { Sdk(state, "64x48 Mono8", 64, 48, "Mono8", 8); }
void Vga_Mono8_Producer(benchmark::State& state) { Producer(state, "640x480 Mono8", 640, 480, "Mono8", 16); }
void Vga_Mono8_Sdk(benchmark::State& state) { Sdk(state, "640x480 Mono8", 640, 480, "Mono8", 16); }
void Full_BayerRG8_Producer(benchmark::State& state) { Producer(state, "2448x2048 BayerRG8", 2448, 2048, "BayerRG8", 4); }
void Full_BayerRG8_Sdk(benchmark::State& state) { Sdk(state, "2448x2048 BayerRG8", 2448, 2048, "BayerRG8", 4); }

BENCHMARK(SmallFrame_Producer)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(SmallFrame_Sdk)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(Vga_Mono8_Producer)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(Vga_Mono8_Sdk)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(1.0);
BENCHMARK(Full_BayerRG8_Producer)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(Full_BayerRG8_Sdk)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::printf("\nSDK cost per frame over the bare producer (GetImage + RequeueBuffer):\n");
    for (const char* name : {"64x48 Mono8", "640x480 Mono8", "2448x2048 BayerRG8"}) {
        const auto producer = g_microsecondsPerFrame.find(std::string(name) + "/producer");
        const auto sdk = g_microsecondsPerFrame.find(std::string(name) + "/sdk");
        if (producer == g_microsecondsPerFrame.end() || sdk == g_microsecondsPerFrame.end()) continue;
        std::printf("  %-20s producer %9.2f us  sdk %9.2f us  added %+7.2f us  (%.0f vs %.0f frames/s)\n", name,
                    producer->second, sdk->second, sdk->second - producer->second, 1e6 / producer->second,
                    1e6 / sdk->second);
    }
    return 0;
}
