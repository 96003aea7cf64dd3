// "PMI1:": the power management's registers, read one 32-bit word at a time.
#pragma once

#include <mutex>

#include "clock/clock.h"
#include "drivers/driver_port.h"

namespace desk {

class PowerManagement : public DriverPort {
 public:
  explicit PowerManagement(const Clock& clock);
  KnobSet& CounterKnobs() { return mCounterKnobs; }

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  double Counter() const;
  void Rebase(double counter);

  const Clock& mClock;
  KnobSet mCounterKnobs;
  mutable std::mutex mLock;
  double mSetCounter = 0;
  TimePoint mSetAt{};
};

}  // namespace desk
