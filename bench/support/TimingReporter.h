// The console table of Google Benchmark, keeping each case's time per iteration (the median
// when repetitions are asked for) so that a program can print its comparison after it.
// Wall time by default; processor time where the machine may be shared, since time spent
// waiting for a core is not the kernel's.
#ifndef VIREO_BENCH_SUPPORT_TIMINGREPORTER_H
#define VIREO_BENCH_SUPPORT_TIMINGREPORTER_H

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <unistd.h>

namespace Vireo::Bench {

class TimingReporter : public benchmark::ConsoleReporter {
public:
    enum class Clock { Wall, Processor };

    // Colours only on a terminal, so that a saved log stays readable.
    explicit TimingReporter(Clock clock = Clock::Wall)
        : ConsoleReporter(isatty(fileno(stdout)) ? OO_ColorTabular : OO_Tabular), m_clock(clock) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const double time = m_clock == Clock::Wall ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            const double seconds = time / benchmark::GetTimeUnitMultiplier(run.time_unit);
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                m_medians[run.run_name.function_name] = seconds;
            else if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                m_single[run.run_name.function_name] = seconds;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Seconds per iteration of a case; 0 when it did not run (filtered out).
    double Seconds(const std::string& name) const {
        if (auto found = m_medians.find(name); found != m_medians.end()) return found->second;
        if (auto found = m_single.find(name); found != m_single.end()) return found->second;
        return 0;
    }

private:
    Clock m_clock;
    std::map<std::string, double> m_medians, m_single;
};

} // namespace Vireo::Bench

#endif
