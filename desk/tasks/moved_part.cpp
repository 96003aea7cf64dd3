#include "tasks/moved_part.h"

namespace desk {

MovedPart::MovedPart(Knob& stuck, Knob& sticks) : mStuck(stuck), mSticks(sticks) {
  mStuck.OnWrite([](const KnobValue& value) {
    const auto& where = std::get<std::string>(value);
    return where.empty() || where == "in" || where == "out" || where == "half";
  });
}

void MovedPart::Move(bool in, TimePoint now) {
  if (mSticks.Strikes()) return;
  const std::lock_guard lock(mLock);
  if (in == mIn) return;
  mIn = in;
  mMoved = now;
}

void MovedPart::Restore() {
  const std::lock_guard lock(mLock);
  mIn = false;
  mMoved = -kNever;
}

double MovedPart::Cover() const {
  const std::string stuck = mStuck.Text();
  if (stuck == "half") return 0.5;
  if (!stuck.empty()) return stuck == "in" ? 1 : 0;
  const std::lock_guard lock(mLock);
  return mIn ? 1 : 0;
}

std::string MovedPart::End(TimePoint now, double travel) const {
  const std::string stuck = mStuck.Text();
  if (stuck == "half") return "between";
  if (!stuck.empty()) return stuck;
  const std::lock_guard lock(mLock);
  const bool arrived = std::chrono::duration<double>(now).count() >=
                       std::chrono::duration<double>(mMoved).count() + travel;
  if (!arrived) return "between";
  return mIn ? "in" : "out";
}

}  // namespace desk
