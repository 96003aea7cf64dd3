// What the camera's power task serves: the GPS receiver's supply and state, the display's position.
#pragma once

#include <mutex>

#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class Gps : public Peripheral {
 public:
  explicit Gps(const Clock& clock);
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

 private:
  bool IsReady() const;
  void Switch(bool on);

  const Clock& mClock;
  mutable std::mutex mLock;
  TimePoint mPoweredAt = kNever;  // never: it has no power
  DeviceNode* mSupply = nullptr;  // the tree's
  DeviceNode* mState = nullptr;
};

class Display : public Peripheral {
 public:
  Display();
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override {}
  // Whoever holds the camera moves its display.
  void Move(bool out);

 private:
  DeviceNode* mSensor = nullptr;  // the tree's
};

}  // namespace desk
