// Node-map creation from the largest corpus description and cached integer reads, for this
// engine and for Aravis on the same files, with the ratios printed at the end.
#include <malloc.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <GenApi/GenApi.h>

#ifdef VIREO_BENCH_ARAVIS
#include <arv.h>
#endif

namespace {

using namespace GenApi;

const std::string kCorpus = VIREO_SHARED_DIR "/genicam-corpus/";
const std::string kLargest = kCorpus + "basler_a2a2600-20gmbas.xml";
const std::string kFakeCamera = kCorpus + "aravis_fake-camera.xml";

const std::vector<char>& FileBytes(const std::string& path) {
    static std::map<std::string, std::vector<char>> files;
    auto& bytes = files[path];
    if (bytes.empty()) {
        std::ifstream file(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return bytes;
}

class MemoryPort : public IPort {
public:
    EAccessMode GetAccessMode() const override { return RW; }
    void Read(void* buffer, int64_t address, int64_t length) override {
        for (int64_t index = 0; index < length; ++index) static_cast<uint8_t*>(buffer)[index] = Byte(address + index);
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        for (int64_t index = 0; index < length; ++index) m_bytes[address + index] = static_cast<const uint8_t*>(buffer)[index];
    }

private:
    uint8_t Byte(int64_t address) const {
        const auto found = m_bytes.find(address);
        return found == m_bytes.end() ? 0 : found->second;
    }
    std::map<int64_t, uint8_t> m_bytes;
};

void Destroy(INodeMap* map) { dynamic_cast<IDestroy*>(map)->Destroy(); }

void CreateNodeMap_Vireo(benchmark::State& state) {
    const std::vector<char>& bytes = FileBytes(kLargest);
    for (auto _ : state) {
        CNodeMapFactory factory(ContentType_Xml, bytes.data(), bytes.size());
        INodeMap* map = factory.CreateNodeMap();
        benchmark::DoNotOptimize(map);
        Destroy(map);
    }
    // Heap held by one node map once the description is released.
    const size_t before = mallinfo2().uordblks;
    INodeMap* map = CNodeMapFactory(ContentType_Xml, bytes.data(), bytes.size()).CreateNodeMap();
    const size_t after = mallinfo2().uordblks;
    state.counters["nodes"] = static_cast<double>(map->GetNumNodes());
    state.counters["heap_KiB"] = static_cast<double>(after - before) / 1024.0;
    Destroy(map);
}
BENCHMARK(CreateNodeMap_Vireo)->Unit(benchmark::kMillisecond);

void CachedIntegerRead_Vireo(benchmark::State& state) {
    const std::vector<char>& bytes = FileBytes(kFakeCamera);
    INodeMap* map = CNodeMapFactory(ContentType_Xml, bytes.data(), bytes.size()).CreateNodeMap();
    MemoryPort port;
    const uint8_t sensorWidth[4] = {0, 0, 0x0A, 0x00}; // 2560, big-endian, as the fake camera has it
    port.Write(sensorWidth, 0x11c, 4);
    map->Connect(&port);
    CIntegerPtr width = map->GetNode("Width");
    width->SetValue(640);
    for (auto _ : state) benchmark::DoNotOptimize(width->GetValue());
    Destroy(map);
}
BENCHMARK(CachedIntegerRead_Vireo);

#ifdef VIREO_BENCH_ARAVIS
void CreateNodeMap_Aravis(benchmark::State& state) {
    const std::vector<char>& bytes = FileBytes(kLargest);
    for (auto _ : state) {
        ArvGc* genicam = arv_gc_new(nullptr, bytes.data(), bytes.size());
        benchmark::DoNotOptimize(genicam);
        g_object_unref(genicam);
    }
    const size_t before = mallinfo2().uordblks;
    ArvGc* genicam = arv_gc_new(nullptr, bytes.data(), bytes.size());
    const size_t after = mallinfo2().uordblks;
    state.counters["heap_KiB"] = static_cast<double>(after - before) / 1024.0;
    g_object_unref(genicam);
}
BENCHMARK(CreateNodeMap_Aravis)->Unit(benchmark::kMillisecond);

void CachedIntegerRead_Aravis(benchmark::State& state) {
    // Aravis's fake device serves the same fake-camera description from memory.
    GError* error = nullptr;
    ArvDevice* device = arv_fake_device_new("bench", &error);
    if (device == nullptr) {
        state.SkipWithError("arv_fake_device_new failed");
        if (error != nullptr) g_error_free(error);
        return;
    }
    arv_device_set_register_cache_policy(device, ARV_REGISTER_CACHE_POLICY_ENABLE);
    ArvGc* genicam = arv_device_get_genicam(device);
    ArvGcNode* width = arv_gc_get_node(genicam, "Width");
    arv_gc_integer_set_value(ARV_GC_INTEGER(width), 640, nullptr);
    for (auto _ : state) benchmark::DoNotOptimize(arv_gc_integer_get_value(ARV_GC_INTEGER(width), nullptr));
    g_object_unref(device);
}
BENCHMARK(CachedIntegerRead_Aravis);
#endif

// Keeps the mean real time of each benchmark for the ratio lines.
class RecordingReporter : public benchmark::ConsoleReporter {
public:
    RecordingReporter() : benchmark::ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs)
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                times[run.benchmark_name()] = run.GetAdjustedCPUTime() * (run.time_unit == benchmark::kMillisecond ? 1e6 : 1.0);
        ConsoleReporter::ReportRuns(runs);
    }
    // CPU nanoseconds: on a loaded machine wall time measures the neighbours too.
    std::map<std::string, double> times;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RecordingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto ratio = [&](const char* what, const std::string& ours, const std::string& theirs) {
        const auto mine = reporter.times.find(ours);
        const auto anchor = reporter.times.find(theirs);
        if (mine == reporter.times.end() || anchor == reporter.times.end() || mine->second <= 0) return;
        std::printf("%-30s CPU time: Vireo %12.1f ns   Aravis %12.1f ns   Aravis/Vireo = %.2fx\n", what, mine->second, anchor->second,
                    anchor->second / mine->second);
    };
    std::printf("\n");
    ratio("node map of the largest file", "CreateNodeMap_Vireo", "CreateNodeMap_Aravis");
    ratio("cached integer read", "CachedIntegerRead_Vireo", "CachedIntegerRead_Aravis");
    benchmark::Shutdown();
    return 0;
}
