// Benchmark output with ratios at its end: each benchmark's time against a baseline's.
#pragma once

#include <benchmark/benchmark.h>

#include <iostream>
#include <map>
#include <string>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.aggregate_name == "median") {
        mMedians[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
    }
  }

  // "name: 0.93 of the speed of baseline", by the medians.
  void PrintSpeed(const std::string& name, const std::string& baseline) const {
    std::cout << name << ": " << mMedians.at(baseline) / mMedians.at(name) << " of the speed of "
              << baseline << "\n";
  }

 private:
  std::map<std::string, double> mMedians;
};

}  // namespace bench
