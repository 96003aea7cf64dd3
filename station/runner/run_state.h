// Where a run stands: which attempt comes next and what the run came to, from its attempts alone.
// What it holds and does an attempt does not grow with the rounds: a soak has millions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/run_plan.h"
#include "station/runner/plan.h"
#include "station/store/types.h"

namespace station {

class RunState {
 public:
  RunState(Plan plan, std::vector<client::TestItem> items);

  // Attempts in their order. An earlier one, of before the run was taken up again, that has no
  // result is made anew; one of now is not.
  void AddEarlier(const AttemptRecord& attempt);
  void Add(const AttemptStart& start, const AttemptResult& result);

  struct Next {
    client::TestItem item;
    std::int64_t round = 1;
    std::int64_t retry = 0;
  };
  // None: the run is through. isTimeOver: of a plan by hours; its round under way is finished.
  std::optional<Next> NextAttempt(bool isTimeOver);

  // broken: why the run did not come to its end; empty: it did.
  std::pair<Outcome, std::string> Result(const std::string& broken) const;

  // Tests of all rounds that have come to their end, and of each item how many times it has not; of
  // a plan by hours those of its round.
  std::size_t Done() const;
  std::map<std::string, std::size_t> Left() const;

 private:
  // A test of a round.
  struct Cell {
    std::int64_t failures = 0;
    bool passed = false;
    std::string problem;  // of an attempt of now
  };
  using Place = std::pair<std::int64_t, std::string>;  // round, item

  void AddResult(const AttemptStart& start, const AttemptResult& result);
  // Every change of a cell goes through here, so that the counts below hold.
  template <typename Change>
  void ChangeCell(const Place& place, const Change& change);
  void Count(const Place& place, const Cell& cell, bool isAdded);
  bool HasFailed(const Cell& cell) const;
  bool IsOver(const Cell& cell) const;
  bool IsOver(std::int64_t round, const std::string& item) const;
  std::int64_t LastRound() const;

  const Plan mPlan;
  const std::vector<client::TestItem> mItems;
  std::map<Place, Cell> mCells;  // of the round under way and later ones; earlier ones are over
  std::int64_t mRound = 1;       // which is under way
  std::size_t mNext = 0;         // within it
  std::int64_t mLatest = 0;      // round that has a cell
  // Of all rounds, how many cells ...
  std::map<std::string, std::int64_t> mOver;  // are over, by item
  std::int64_t mFailed = 0;                   // have failed
  std::int64_t mRetried = 0;                  // have a failure in them, whatever came after
  std::int64_t mWithout = 0;                  // have no result
  std::string mFirstWithout;
};

}  // namespace station
