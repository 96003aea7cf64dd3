#include "station/runner/known_times.h"

#include <algorithm>

namespace station {

using std::chrono::milliseconds;

KnownTimes::KnownTimes(Store& store, const std::string& planTitle, const std::string& variant) {
  constexpr std::size_t kLatest = 5;
  RunFilter filter;
  filter.planTitle = planTitle;
  filter.variant = variant;
  for (const RunRecord& run : store.Runs(filter, std::nullopt, kLatest)) {
    Add(store.Attempts(run.id));
  }
}

// From one attempt's beginning to the next one's. Between them a run may have rested: then it is
// what the camera's clock says.
void KnownTimes::Add(const std::vector<AttemptRecord>& attempts) {
  constexpr double kMilliseconds = 1000;
  constexpr milliseconds kBetween{1000};
  for (std::size_t i = 0; i + 1 < attempts.size(); ++i) {
    const AttemptRecord& attempt = attempts[i];
    if (!attempt.isEnded || !attempt.problem.empty()) continue;
    const milliseconds length(attempts[i + 1].startedAt - attempt.startedAt);
    const milliseconds most =
        kBetween + milliseconds(static_cast<std::int64_t>(attempt.seconds * kMilliseconds));
    Lengths& known = mItems[attempt.item];
    known.total += std::clamp(length, milliseconds(0), most);
    known.longest = std::max(known.longest, std::clamp(length, milliseconds(0), most));
    ++known.count;
  }
}

std::optional<milliseconds> KnownTimes::Longest(const std::string& item) const {
  const auto found = mItems.find(item);
  if (found == mItems.end()) return std::nullopt;
  return found->second.longest;
}

std::optional<milliseconds> KnownTimes::Total(const std::vector<client::TestItem>& items) const {
  if (mItems.empty()) return std::nullopt;
  milliseconds mean{0};
  for (const auto& [item, lengths] : mItems) mean += lengths.total / lengths.count;
  mean /= static_cast<std::int64_t>(mItems.size());
  milliseconds total{0};
  for (const client::TestItem& item : items) {
    const auto found = mItems.find(item.path);
    total += found == mItems.end() ? mean : found->second.total / found->second.count;
  }
  return total;
}

}  // namespace station
