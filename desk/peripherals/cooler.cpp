#include "peripherals/cooler.h"

#include <algorithm>
#include <cmath>

#include "peripherals/device_node.h"
#include "peripherals/scatter.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t {
  kSurroundings,
  kSetPoint,
  kReach,
  kLoad,
  kCoolingTime,
  kWarmingTime,
  kRipple,
  kStarts,
  kTrip,
};
constexpr KnobRow kRows[] = {
    {"surroundings", KnobKind::Number, "0.01 K", "29800", 0, 100000,
     "The temperature to which the detector warms up while the cooler is off.",
     Condition("how warm it is around the camera").Within(28300, 31300)},
    {"setpoint", KnobKind::Number, "0.01 K", "7000", 0, 100000,
     "The temperature that the cooler holds (state 2).",
     Condition("the temperature that the cooler is set to").Within(6900, 7300)},
    {"reach", KnobKind::Number, "0.01 K", "4000", 0, 100000,
     "The lowest temperature that the cooler reaches without a heat load; a worn one reaches less "
     "low.",
     Breaks({"7500", "the cooler is worn and does not become cold enough", "cooler",
             "warmer than the set point"})
         .Within(3500, 6000)},
    {"load", KnobKind::Number, "0.01 K", "0", 0, 100000,
     "Heat load, as the temperature by which it lifts what the cooler reaches. Lifted above the "
     "set point it never holds.",
     Breaks({"7500", "the detector's vacuum is lost", "detector",
             "as much as lifts the cooler above its set point"})
         .Within(0, 500)},
    {"coolingtime", KnobKind::Number, "s", "190", 0.001, 1e6, "Time constant of cooling down.",
     Breaks({"1500", "the cooler is weak and takes far too long", "cooler", "more than 1000 s",
             false, "the test waits an hour for the cold and judges nothing below that"})
         .Within(150, 260)},
    {"warmingtime", KnobKind::Number, "s", "1200", 0.001, 1e6, "Time constant of warming up.",
     Condition("how well the detector is insulated").Within(900, 1800)},
    {"ripple", KnobKind::Number, "0.01 K", "12", 0, 10000,
     "How far the temperature that is held swings at most, either way.",
     Breaks({"400", "the cooler's control swings", "cooler", "more than 100 hundredths", false,
             "the test logs the temperature and judges none of it"})
         .Within(2, 40)},
    {"starts", KnobKind::Bool, "", "true", 0, 0,
     "False: the cooler does not start when it is switched on.",
     Breaks({"false", "the cooler does not start", "cooler"})},
    {"trip", KnobKind::Trigger, "", "false", 0, 0, "The cooler stops by itself.",
     Breaks({"true", "the cooler stopped by itself before the test", "cooler", "", false,
             "the test switches the cooler on again"})},
};
constexpr KnobFamily kFamily = {"Detector cooler", ".desk.cooler", kRows};

// The same second always swings the same way: -1 to 1.
double Swing(std::int64_t second) {
  const std::uint64_t scattered = Scatter(static_cast<std::uint64_t>(second));
  return 2 * (static_cast<double>(scattered >> 11) / 9007199254740992.0) - 1;
}

// From a temperature towards another, so many time constants later.
double Approach(double from, double to, double constants) {
  return to + (from - to) * std::exp(-constants);
}

}  // namespace

Cooler::Cooler(const Clock& clock) : Peripheral(kFamily), mClock(clock) {
  // What was cooled or warmed under the old conditions stays so.
  for (const Row row :
       {kSurroundings, kSetPoint, kReach, kLoad, kCoolingTime, kWarmingTime, kStarts}) {
    mKnobs[row].OnWrite([this](const KnobValue& /*value*/) {
      Settle();
      return true;
    });
  }
  mKnobs[kTrip].OnWrite([this](const KnobValue& /*value*/) {
    Switch(false);
    return true;
  });
}

Cooler::Physics Cooler::Read() const {
  return {mKnobs[kSurroundings].Number(), mKnobs[kSetPoint].Number(),
          mKnobs[kReach].Number() + mKnobs[kLoad].Number(), mKnobs[kCoolingTime].Number(),
          mKnobs[kWarmingTime].Number()};
}

// Under the lock: the temperature that many seconds after the last change.
double Cooler::Temperature(const Physics& physics, double seconds) const {
  if (!mOn) return Approach(mFrom, physics.surroundings, seconds / physics.warmingTime);
  const double free = Approach(mFrom, physics.lowest, seconds / physics.coolingTime);
  if (physics.lowest >= physics.setPoint) return free;
  if (mFrom >= physics.setPoint) return std::max(free, physics.setPoint);
  // Colder than it is to be: regulated, the cooler lets the surroundings warm the detector.
  return std::min(Approach(mFrom, physics.surroundings, seconds / physics.warmingTime),
                  physics.setPoint);
}

bool Cooler::Holds(const Physics& physics, double temperature) const {
  return mOn && physics.lowest < physics.setPoint && temperature == physics.setPoint;
}

double Cooler::Now(const Physics& physics) const {
  return Temperature(physics, ToSeconds(mClock.Now() - mSince));
}

void Cooler::Settle() {
  const Physics physics = Read();
  const std::lock_guard lock(mLock);
  mFrom = Now(physics);
  mSince = mClock.Now();
}

void Cooler::Switch(bool on) {
  const bool starts = mKnobs[kStarts].Bool();
  const Physics physics = Read();
  {
    const std::lock_guard lock(mLock);
    const bool next = on && (mOn || starts);
    if (next != mOn) {
      mFrom = Now(physics);
      mSince = mClock.Now();
      mOn = next;
    }
  }
  mActive->DeviceChanged();
  mState->DeviceChanged();
}

TARQ::CResourceValue Cooler::MeasuredTemperature() const {
  const Physics physics = Read();
  const double ripple = mKnobs[kRipple].Number();
  const std::lock_guard lock(mLock);
  double temperature = Now(physics);
  if (Holds(physics, temperature)) {
    const auto second = std::chrono::duration_cast<std::chrono::seconds>(mClock.Now()).count();
    temperature += ripple * Swing(second);
  }
  return TARQ::CResourceValue(static_cast<LONG>(std::lround(temperature)));
}

TARQ::CResourceValue Cooler::CurrentState() const {
  const Physics physics = Read();
  const std::lock_guard lock(mLock);
  const State state = !mOn                           ? State::Off
                      : Holds(physics, Now(physics)) ? State::Holding
                                                     : State::Cooling;
  return TARQ::CResourceValue(static_cast<LONG>(state));
}

void Cooler::Publish(TARQ::CServerResource& root) {
  mTemperature = new DeviceNode("temperature", TARQ::CResourceValue(0));
  mTemperature->OnRead([this] { return MeasuredTemperature(); });
  mActive = new DeviceNode("active", TARQ::CResourceValue(true));
  mActive->OnRead([this] {
    const std::lock_guard lock(mLock);
    return TARQ::CResourceValue(mOn);
  });
  mActive->OnWritten([this](const TARQ::CResourceValue& on) { Switch(on.GetBool()); });
  mState = new DeviceNode("state", TARQ::CResourceValue(0));
  mState->OnRead([this] { return CurrentState(); });
  TARQ::CServerResource& branch = TARQ::NodeAccess::MakeBranch(root, "system.cooler");
  for (DeviceNode* const node : {mTemperature, mActive, mState}) branch.AddChild(node, nullptr);
  Restore();
}

// A camera in use: it is cold, and the cooler holds.
void Cooler::Restore() {
  const std::lock_guard lock(mLock);
  mOn = true;
  mFrom = mKnobs[kSetPoint].Number();
  mSince = mClock.Now();
}

}  // namespace desk
