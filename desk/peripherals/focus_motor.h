// The focus motor: a lens that takes its time from where it is to where it is sent.
#pragma once

#include <mutex>

#include "peripherals/peripheral.h"

namespace desk {

class DeviceNode;

class FocusMotor : public Peripheral {
 public:
  explicit FocusMotor(const Clock& clock);
  void Publish(TARQ::CServerResource& root) override;
  void Restore() override;

 private:
  double Position() const;
  void MoveTo(double target);
  void GoOnFromHere(bool stops);

  const Clock& mClock;
  mutable std::mutex mLock;
  // The move that was begun last; the position in between follows from the clock. Position units.
  double mFrom = 0;
  double mEnd = 0;
  TimePoint mBegun{};
  int mDirection = -1;              // of that move
  DeviceNode* mPosition = nullptr;  // the tree's
};

}  // namespace desk
