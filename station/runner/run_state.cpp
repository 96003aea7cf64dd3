#include "station/runner/run_state.h"

#include <algorithm>
#include <numeric>

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
    ChangeCell({start.round, start.item}, [&](Cell& cell) { cell.problem = result.problem; });
  }
}

void RunState::AddResult(const AttemptStart& start, const AttemptResult& result) {
  ChangeCell({start.round, start.item}, [&](Cell& cell) {
    cell.problem.clear();
    if (result.passed) {
      cell.passed = true;
    } else {
      ++cell.failures;
    }
  });
}

template <typename Change>
void RunState::ChangeCell(const Place& place, const Change& change) {
  Cell& cell = mCells[place];
  Count(place, cell, false);
  change(cell);
  Count(place, cell, true);
  mLatest = std::max(mLatest, place.first);
}

void RunState::Count(const Place& place, const Cell& cell, bool isAdded) {
  const std::int64_t one = isAdded ? 1 : -1;
  if (IsOver(cell)) mOver[place.second] += one;
  if (HasFailed(cell)) mFailed += one;
  if (cell.failures > 0) mRetried += one;
  if (cell.problem.empty()) return;
  mWithout += one;
  if (mFirstWithout.empty()) {
    mFirstWithout = std::string(place.second).append(": ").append(cell.problem);
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

// Of a plan by hours the one under way: whether another follows is seen at its end.
std::int64_t RunState::LastRound() const {
  if (mPlan.hours == 0) return mPlan.rounds;
  return std::max(mRound, mLatest);
}

std::optional<RunState::Next> RunState::NextAttempt(bool isTimeOver) {
  if (mPlan.stopsOnFailure && mFailed > 0) return std::nullopt;
  while (true) {
    for (; mNext < mItems.size(); ++mNext) {
      const client::TestItem& item = mItems[mNext];
      if (IsOver(mRound, item.path)) continue;
      const auto cell = mCells.find({mRound, item.path});
      return Next{item, mRound, cell == mCells.end() ? 0 : cell->second.failures};
    }
    const bool isLast = mPlan.hours == 0 || isTimeOver;
    if (isLast && mRound >= LastRound()) return std::nullopt;
    ++mRound;
    mNext = 0;
    mCells.erase(mCells.begin(), mCells.lower_bound({mRound, ""}));
  }
}

std::pair<Outcome, std::string> RunState::Result(const std::string& broken) const {
  if (!broken.empty()) return {Outcome::Incomplete, broken};
  if (mWithout > 0) {
    const std::string more =
        mWithout == 1 ? "" : "; " + std::to_string(mWithout - 1) + " more without a result";
    return {Outcome::Incomplete, mFirstWithout + more};
  }
  if (mFailed > 0) return {Outcome::Failed, ""};
  return {mRetried > 0 ? Outcome::PassedOnRetry : Outcome::Passed, ""};
}

std::size_t RunState::Done() const {
  return std::accumulate(mOver.begin(), mOver.end(), std::size_t{0},
                         [](std::size_t sum, const auto& each) {
                           return sum + static_cast<std::size_t>(each.second);
                         });
}

std::map<std::string, std::size_t> RunState::Left() const {
  std::map<std::string, std::size_t> left;
  for (const client::TestItem& item : mItems) {
    const auto over = mOver.find(item.path);
    const std::int64_t rounds = LastRound() - (over == mOver.end() ? 0 : over->second);
    if (rounds > 0) left[item.path] = static_cast<std::size_t>(rounds);
  }
  return left;
}

}  // namespace station
