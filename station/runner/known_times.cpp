#include "station/runner/known_times.h"

namespace station {

using std::chrono::milliseconds;

KnownTimes::KnownTimes(Store& store, const RunRecord& run) {
  constexpr std::size_t kLatest = 5;
  RunFilter filter;
  filter.planTitle = run.planTitle;
  filter.variant = run.variant;
  for (const ItemLength& each : store.Lengths(filter, kLatest, run.id)) mItems[each.item] = each;
}

std::optional<milliseconds> KnownTimes::Longest(const std::string& item) const {
  const auto found = mItems.find(item);
  if (found == mItems.end()) return std::nullopt;
  return milliseconds(found->second.longest);
}

std::optional<milliseconds> KnownTimes::Total(
    const std::map<std::string, std::size_t>& items) const {
  if (mItems.empty()) return std::nullopt;
  milliseconds mean{0};
  for (const auto& [item, length] : mItems) mean += milliseconds(length.mean);
  mean /= static_cast<std::int64_t>(mItems.size());
  milliseconds total{0};
  for (const auto& [item, times] : items) {
    const auto found = mItems.find(item);
    const milliseconds each = found == mItems.end() ? mean : milliseconds(found->second.mean);
    total += each * static_cast<std::int64_t>(times);
  }
  return total;
}

}  // namespace station
