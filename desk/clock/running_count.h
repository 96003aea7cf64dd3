// A count that goes on by itself, at a rate that may change.
#pragma once

#include <mutex>

#include "clock/clock.h"

namespace desk {

class RunningCount {
 public:
  explicit RunningCount(const Clock& clock) : mClock(clock) {}

  // From now on.
  void Set(double count) {
    const std::lock_guard lock(mLock);
    mSet = count;
    mSetAt = mClock.Now();
  }
  // rate: counts a second since it was set. Before the rate changes, what was counted is set.
  double At(double rate) const {
    // What a product of doubles may lack to a whole count.
    constexpr double kForgiven = 1e-6;
    const std::lock_guard lock(mLock);
    return mSet + rate * ToSeconds(mClock.Now() - mSetAt) + (rate == 0 ? 0 : kForgiven);
  }

 private:
  const Clock& mClock;
  mutable std::mutex mLock;
  double mSet = 0;
  TimePoint mSetAt{};
};

}  // namespace desk
