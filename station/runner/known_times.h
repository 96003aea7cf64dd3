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
  // From the latest runs of the same plan on such cameras, without that one itself.
  KnownTimes(Store& store, const RunRecord& run);

  // None: no attempt of it is known.
  std::optional<std::chrono::milliseconds> Longest(const std::string& item) const;
  // Of all of them together, those that are not known by the mean of those that are; none where
  // nothing is known.
  // items: each with how many times.
  std::optional<std::chrono::milliseconds> Total(
      const std::map<std::string, std::size_t>& items) const;

 private:
  std::map<std::string, ItemLength> mItems;
};

}  // namespace station
