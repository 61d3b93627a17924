// Shared by the benchmark programs: a console reporter that remembers each
// benchmark's time per iteration and, after the run, prints the ratio of
// named pairs ("ours / peer"), so every figure is compared with a peer
// measured in the same process.
//
//   int main(int argc, char** argv) {
//       return ovbench::runWithRatios(argc, argv, {{"BM_SerialQueue", "BM_AsioStrand"}});
//   }
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace ovbench {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0) continue;
            // A latency benchmark's median ("median_ns" counter), else the
            // per-item time when the benchmark counts items, else per iteration.
            double perIteration = run.GetAdjustedRealTime();
            double items = 0;
            if (auto it = run.counters.find("items_per_second"); it != run.counters.end())
                items = it->second;
            double time = items > 0 ? 1e9 / items : perIteration;
            if (auto it = run.counters.find("median_ns"); it != run.counters.end())
                time = it->second;
            times_[run.benchmark_name()] = time;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // Time of a benchmark, matched by prefix of its full name.
    double find(const std::string& prefix) const {
        for (const auto& [name, t] : times_) {
            if (name == prefix || name.rfind(prefix + "/", 0) == 0) return t;
        }
        return 0;
    }

  private:
    std::map<std::string, double> times_;
};

// Each pair is (ours, peer); prints peer_time / our_time, so > 1 means we are faster.
inline int runWithRatios(int argc, char** argv,
                         const std::vector<std::pair<std::string, std::string>>& pairs) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nRatios (peer time / our time; above 1.0 means OVUtility is faster):\n");
    for (const auto& [ours, peer] : pairs) {
        double a = reporter.find(ours), b = reporter.find(peer);
        if (a > 0 && b > 0) {
            std::printf("  %-45s vs %-40s %6.2fx   (%.1f ns vs %.1f ns)\n", ours.c_str(),
                        peer.c_str(), b / a, a, b);
        }
    }
    benchmark::Shutdown();
    return 0;
}

}  // namespace ovbench
