#include "peripherals/focus_motor.h"

#include <algorithm>
#include <cmath>

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kMin, kMax, kSpeed, kBacklash, kOvershoot, kStuck };
constexpr char kByHand[] = "this camera's lens is moved by hand: its test only asks where it is";

constexpr KnobRow kRows[] = {
    {"min", KnobKind::Integer, "position", "0", -2147483648.0, 2147483647,
     "The low end of the travel (minPos).", Condition("where the lens type has its near end")},
    {"max", KnobKind::Integer, "position", "8000", -2147483648.0, 2147483647,
     "The high end of the travel (maxPos).", Condition("where the lens type has its far end")},
    {"speed", KnobKind::Number, "position/s", "4000", 0, 1e9, "How fast the lens travels.",
     Breaks({"500", "the lens is slow", "lens", "it needs more than 3 s from end to end", false,
             kByHand})},
    {"backlash", KnobKind::Number, "position", "0", 0, 1e9,
     "By how much a move falls short that goes the other way than the one before.",
     Breaks({"600", "the lens drive has play", "lens", "250 positions, 500 on lenses to 65535",
             false, kByHand})
         .Within(0, 60)},
    {"overshoot", KnobKind::Number, "position", "0", 0, 1e9,
     "By how much a move goes beyond its target; never beyond the ends of the travel.",
     Breaks({"600", "the lens goes too far", "lens", "250 positions, 500 on lenses to 65535", false,
             "this camera's lens is moved by hand: its test only asks where it is"})
         .Within(0, 60)},
    {"stuck", KnobKind::Bool, "", "false", 0, 0, "True: the lens stays where it is now.",
     Breaks({"true", "the lens is stuck", "lens", "", false, kByHand})},
};
constexpr KnobFamily kFamily = {"Focus motor", ".desk.focus", kRows};

TARQ::CResourceValue Rounded(double position) {
  return TARQ::CResourceValue(static_cast<LONG>(std::lround(position)));
}

}  // namespace

FocusMotor::FocusMotor(const Clock& clock) : Peripheral(kFamily), mClock(clock) {
  // A lens on its way goes on from where it is then; one that sticks stays there.
  for (const Row row : {kMin, kMax, kSpeed}) {
    mKnobs[row].OnWrite([this](const KnobValue& /*value*/) {
      GoOnFromHere(false);
      return true;
    });
  }
  mKnobs[kStuck].OnWrite([this](const KnobValue& stuck) {
    GoOnFromHere(std::get<bool>(stuck));
    return true;
  });
}

double FocusMotor::Position() const {
  const double speed = mKnobs[kSpeed].Number();
  const double low = mKnobs[kMin].Number();
  const double high = std::max(low, mKnobs[kMax].Number());
  const std::lock_guard lock(mLock);
  const double way = speed * ToSeconds(mClock.Now() - mBegun);
  // It stops at an end of its travel, also at one that has moved since.
  if (mFrom < mEnd) return std::min({mFrom + way, mEnd, std::max(high, mFrom)});
  return std::max({mFrom - way, mEnd, std::min(low, mFrom)});
}

void FocusMotor::GoOnFromHere(bool stops) {
  const double here = Position();
  const std::lock_guard lock(mLock);
  mFrom = here;
  mBegun = mClock.Now();
  if (stops) mEnd = here;
}

void FocusMotor::MoveTo(double target) {
  if (mKnobs[kStuck].Bool()) return;
  const double here = Position();
  const double low = mKnobs[kMin].Number();
  const double high = std::max(low, mKnobs[kMax].Number());
  target = std::clamp(target, low, high);
  const int direction = target > here ? 1 : target < here ? -1 : 0;
  const std::lock_guard lock(mLock);
  double way = std::abs(target - here);
  if (direction * mDirection < 0) way = std::max(0.0, way - mKnobs[kBacklash].Number());
  if (direction != 0) way += mKnobs[kOvershoot].Number();
  mFrom = here;
  mEnd = std::clamp(here + direction * way, std::min(low, here), std::max(high, here));
  mBegun = mClock.Now();
  if (direction != 0) mDirection = direction;
}

void FocusMotor::Publish(TARQ::CServerResource& root) {
  TARQ::CServerResource& motor = TARQ::NodeAccess::MakeBranch(root, "system.focus");
  mPosition = new DeviceNode("position", TARQ::CResourceValue(0));
  mPosition->OnRead([this] { return Rounded(Position()); });
  mPosition->OnWritten([this](const TARQ::CResourceValue& target) {
    MoveTo(target.GetInt());
    mPosition->DeviceChanged();  // what is read is where the lens is, not where it was sent
  });
  motor.AddChild(mPosition, nullptr);
  for (const Row row : {kMax, kMin}) {
    auto* const limit =
        new DeviceNode(row == kMax ? "maxPos" : "minPos", Rounded(mKnobs[row].Number()));
    limit->OnRead([this, row] { return Rounded(mKnobs[row].Number()); });
    motor.AddChild(limit, nullptr);
  }
  Restore();
}

// The lens rests at the low end, where a move down has brought it.
void FocusMotor::Restore() {
  const double low = mKnobs[kMin].Number();
  const std::lock_guard lock(mLock);
  mFrom = low;
  mEnd = low;
  mDirection = -1;
}

}  // namespace desk
