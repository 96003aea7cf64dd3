#include "station/runner/known_times.h"

#include <algorithm>

namespace station {

using std::chrono::milliseconds;

namespace {

constexpr std::size_t kEnough = 500;  // of a soak's millions: all of its tests are among them

}  // namespace

KnownTimes::KnownTimes(Store& store, const std::string& planTitle, const std::string& variant,
                       const std::string& exceptRun) {
  constexpr std::size_t kLatest = 5;
  RunFilter filter;
  filter.planTitle = planTitle;
  filter.variant = variant;
  for (const RunRecord& run : store.Runs(filter, std::nullopt, kLatest + 1)) {
    if (run.id != exceptRun) Add(run, store.FirstAttempts(run.id, kEnough));
  }
}

// From one attempt's beginning to the next one's, or to the run's end. Between them a run may have
// rested: then it is what the camera's clock says.
void KnownTimes::Add(const RunRecord& run, const std::vector<AttemptRecord>& attempts) {
  constexpr double kMilliseconds = 1000;
  constexpr milliseconds kBetween{1000};
  for (std::size_t i = 0; i < attempts.size(); ++i) {
    const AttemptRecord& attempt = attempts[i];
    if (!attempt.isEnded || !attempt.problem.empty()) continue;
    const bool isLast = i + 1 == attempts.size();
    if (isLast && (!run.endedAt || attempts.size() == kEnough)) break;
    const milliseconds length((isLast ? *run.endedAt : attempts[i + 1].startedAt) -
                              attempt.startedAt);
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

std::optional<milliseconds> KnownTimes::Total(
    const std::map<std::string, std::size_t>& items) const {
  if (mItems.empty()) return std::nullopt;
  milliseconds mean{0};
  for (const auto& [item, lengths] : mItems) mean += lengths.total / lengths.count;
  mean /= static_cast<std::int64_t>(mItems.size());
  milliseconds total{0};
  for (const auto& [item, times] : items) {
    const auto found = mItems.find(item);
    const milliseconds each =
        found == mItems.end() ? mean : found->second.total / found->second.count;
    total += each * static_cast<std::int64_t>(times);
  }
  return total;
}

}  // namespace station
