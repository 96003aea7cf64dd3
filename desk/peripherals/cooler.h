// The detector's cooler: temperature along exponential curves, down while it runs and up to the
// surroundings while it is off; at its set point it holds.
#pragma once

#include <mutex>

#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class Cooler : public Peripheral {
 public:
  explicit Cooler(const Clock& clock);
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

 private:
  enum class State : LONG { Off = 0, Cooling = 1, Holding = 2 };

  // All temperatures in 0.01 K.
  struct Physics {
    double surroundings;
    double setPoint;
    double lowest;       // what the cooler would reach at last
    double coolingTime;  // time constants, s
    double warmingTime;
  };
  Physics Read() const;
  double Temperature(const Physics& physics, double seconds) const;
  bool Holds(const Physics& physics, double temperature) const;
  double Now(const Physics& physics) const;

  void Switch(bool on);
  void Settle();
  TARQ::CResourceValue MeasuredTemperature() const;
  TARQ::CResourceValue CurrentState() const;

  const Clock& mClock;
  mutable std::mutex mLock;
  // Since the last change of any condition; the rest follows from the clock.
  bool mOn = true;
  double mFrom = 0;  // 0.01 K
  TimePoint mSince{};
  DeviceNode* mActive = nullptr;  // the tree's
  DeviceNode* mTemperature = nullptr;
  DeviceNode* mState = nullptr;
};

}  // namespace desk
