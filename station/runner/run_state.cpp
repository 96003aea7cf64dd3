#include "station/runner/run_state.h"

#include <algorithm>
#include <iterator>

namespace station {

RunState::RunState(Plan plan, std::vector<client::TestItem> items)
    : mPlan(std::move(plan)), mItems(std::move(items)) {}

void RunState::AddEarlier(const AttemptRecord& attempt) {
  if (attempt.isEnded && attempt.problem.empty()) AddResult(attempt, attempt);
}

void RunState::Add(const AttemptStart& start, const AttemptResult& result) {
  if (result.problem.empty()) {
    AddResult(start, result);
  } else {
    mCells[{start.round, start.item}].problem = result.problem;
  }
}

void RunState::AddResult(const AttemptStart& start, const AttemptResult& result) {
  Cell& cell = mCells[{start.round, start.item}];
  cell.problem.clear();
  if (result.passed) {
    cell.passed = true;
  } else {
    ++cell.failures;
  }
}

bool RunState::HasFailed(const Cell& cell) const {
  return !cell.passed && cell.failures > std::int64_t{mPlan.retries};
}

bool RunState::IsOver(const Cell& cell) const {
  return cell.passed || HasFailed(cell) || !cell.problem.empty();
}

bool RunState::IsOver(std::int64_t round, const std::string& item) const {
  const auto found = mCells.find({round, item});
  return found != mCells.end() && IsOver(found->second);
}

bool RunState::HasStopped() const {
  return mPlan.stopsOnFailure &&
         std::any_of(mCells.begin(), mCells.end(),
                     [this](const auto& each) { return HasFailed(each.second); });
}

// Of a plan by hours the one under way: whether another follows is seen at its end.
std::int64_t RunState::LastRound() const {
  if (mPlan.hours == 0) return mPlan.rounds;
  return mCells.empty() ? mRound : std::max(mRound, mCells.rbegin()->first.first);
}

std::optional<RunState::Next> RunState::NextAttempt(bool isTimeOver) {
  if (HasStopped()) return std::nullopt;
  while (true) {
    for (; mNext < mItems.size(); ++mNext) {
      const client::TestItem& item = mItems[mNext];
      if (IsOver(mRound, item.path)) continue;
      return Next{item, mRound, mCells[{mRound, item.path}].failures};
    }
    const bool isLast = mPlan.hours == 0 || isTimeOver;
    if (isLast && mRound >= LastRound()) return std::nullopt;
    ++mRound;
    mNext = 0;
  }
}

std::pair<Outcome, std::string> RunState::Result(const std::string& broken) const {
  if (!broken.empty()) return {Outcome::Incomplete, broken};
  std::size_t without = 0;
  std::string first;
  bool hasFailure = false;
  bool hasRetry = false;
  for (const auto& [place, cell] : mCells) {
    if (!cell.problem.empty() && without++ == 0) {
      first.append(place.second).append(": ").append(cell.problem);
    }
    hasFailure = hasFailure || HasFailed(cell);
    hasRetry = hasRetry || cell.failures > 0;
  }
  if (without > 0) {
    const std::string more =
        without == 1 ? "" : "; " + std::to_string(without - 1) + " more without a result";
    return {Outcome::Incomplete, first + more};
  }
  if (hasFailure) return {Outcome::Failed, ""};
  return {hasRetry ? Outcome::PassedOnRetry : Outcome::Passed, ""};
}

std::size_t RunState::Done() const {
  return static_cast<std::size_t>(std::count_if(
      mCells.begin(), mCells.end(), [this](const auto& each) { return IsOver(each.second); }));
}

std::vector<client::TestItem> RunState::Left() const {
  std::vector<client::TestItem> left;
  for (std::int64_t round = mRound; round <= LastRound(); ++round) {
    std::copy_if(mItems.begin(), mItems.end(), std::back_inserter(left),
                 [&](const client::TestItem& item) { return !IsOver(round, item.path); });
  }
  return left;
}

}  // namespace station
