// How long tests take, from earlier runs of the plan.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "station/store/store.h"

namespace station {

class KnownTimes {
 public:
  KnownTimes() = default;
  // From the latest runs of that plan on such cameras, but for that run itself.
  KnownTimes(Store& store, const std::string& planTitle, const std::string& variant,
             const std::string& exceptRun);

  // None: no attempt of it is known.
  std::optional<std::chrono::milliseconds> Longest(const std::string& item) const;
  // Of all of them together, those that are not known by the mean of those that are; none where
  // nothing is known.
  // items: each with how many times.
  std::optional<std::chrono::milliseconds> Total(
      const std::map<std::string, std::size_t>& items) const;

 private:
  struct Lengths {
    std::chrono::milliseconds total{0};
    std::chrono::milliseconds longest{0};
    int count = 0;
  };
  void Add(const RunRecord& run, const std::vector<AttemptRecord>& attempts);

  std::map<std::string, Lengths> mItems;
};

}  // namespace station
