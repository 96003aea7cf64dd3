// Benchmarks in interleaved repetitions, and at their end ratios: each repetition's time against
// the baseline's in the same round, as a median with its spread.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> aggregates;
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Aggregate) {
        aggregates.push_back(run);
      } else if (!run.error_occurred) {
        const bool isReal = !run.run_name.time_type.empty();  // it waits for others
        mTimes[run.run_name.function_name].emplace(
            run.repetition_index, isReal ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      }
    }
    if (!aggregates.empty()) ConsoleReporter::ReportRuns(aggregates);
  }

  // "name: 0.93 (0.90 to 0.95) of the speed of baseline".
  void PrintSpeed(const std::string& name, const std::string& baseline) const {
    std::vector<double> ratios;
    const auto times = mTimes.find(name);
    const auto baselines = mTimes.find(baseline);
    if (times == mTimes.end() || baselines == mTimes.end()) return;
    for (const auto& [repetition, time] : baselines->second) {
      const auto found = times->second.find(repetition);
      if (found != times->second.end()) ratios.push_back(time / found->second);
    }
    if (ratios.empty()) return;
    std::sort(ratios.begin(), ratios.end());
    printf("%s: %.2f (%.2f to %.2f) of the speed of %s\n", name.c_str(), ratios[ratios.size() / 2],
           ratios.front(), ratios.back(), baseline.c_str());
  }

 private:
  std::map<std::string, std::map<std::int64_t, double>> mTimes;  // by name and repetition
};

}  // namespace bench
