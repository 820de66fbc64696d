// One line for each goal: a work's processor time, and its wall time, against its floor's in the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

struct RatioGoal {
    const char* work;   // name of a benchmark
    const char* floor;  // name of another, or null for none
    const char* goal;   // as text
};

class RatioReporter : public benchmark::ConsoleReporter {
   public:
    explicit RatioReporter(std::vector<RatioGoal> goals) : goals_(std::move(goals)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            if (run.aggregate_name == "median") {
                const auto bytes = run.counters.find("bytes_per_second");
                medians_[run.run_name.function_name] = {run.GetAdjustedCPUTime(), run.GetAdjustedRealTime(),
                                                        bytes != run.counters.end() ? bytes->second.value / 1e6 : 0.0};
            }
        }
    }
    void Finalize() override {
        for (const RatioGoal& goal : goals_) {
            const Median& work = medians_[goal.work];
            (void)printf("%-24s %9.0f ns", goal.work, work.nanoseconds);
            if (work.megabytes > 0) {
                (void)printf(" %7.0f MB/s", work.megabytes);
            }
            if (goal.floor != nullptr) {
                const Median& floor = medians_[goal.floor];
                (void)printf("  floor %9.0f ns  ratio %.2f, of wall time %.2f", floor.nanoseconds,
                             work.nanoseconds / floor.nanoseconds, work.wall / floor.wall);
            }
            (void)printf("  (goal: %s)\n", goal.goal);
        }
    }

   private:
    struct Median {
        double nanoseconds = 0;  // of processor time
        double wall = 0;
        double megabytes = 0;
    };
    std::vector<RatioGoal> goals_;
    std::map<std::string, Median> medians_;
};

// The usual settings: medians of five. What waits for a disk runs as often as its wall time says.
inline void repeat_five(benchmark::internal::Benchmark* bench) {
    bench->Repetitions(5)->ReportAggregatesOnly(true)->UseRealTime();
}
