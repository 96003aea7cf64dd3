#include "peripherals/moved_part.h"

namespace desk {

namespace {

constexpr double kOut = 0;
constexpr double kHalf = 0.5;
constexpr double kIn = 1;

}  // namespace

MovedPart::MovedPart(Knob& stuck, Knob& sticks) : mStuck(stuck), mSticks(sticks) {
  mStuck.OnWrite([this](const KnobValue& value) {
    const auto& where = std::get<std::string>(value);
    const std::lock_guard lock(mLock);
    if (where == "in") {
      mCover = kIn;
    } else if (where == "out") {
      mCover = kOut;
    } else if (where == "half") {
      mCover = kHalf;
    } else if (!where.empty()) {
      return false;
    }
    mMoved = -kNever;
    return true;
  });
}

void MovedPart::Move(bool in, TimePoint now) {
  if (mSticks.ShouldFail() || !mStuck.Text().empty()) return;
  const double cover = in ? kIn : kOut;
  const std::lock_guard lock(mLock);
  if (cover == mCover) return;
  mCover = cover;
  mMoved = now;
}

void MovedPart::Restore() {
  const std::lock_guard lock(mLock);
  mCover = kOut;
  mMoved = -kNever;
}

double MovedPart::Cover() const {
  const std::lock_guard lock(mLock);
  return mCover;
}

std::string MovedPart::End(TimePoint now, double travel) const {
  const std::lock_guard lock(mLock);
  const bool arrived = ToSeconds(now) >= ToSeconds(mMoved) + travel;
  if (!arrived || mCover == kHalf) return "between";
  return mCover == kIn ? "in" : "out";
}

}  // namespace desk
