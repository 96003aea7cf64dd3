// "PMI1:": the power management's registers, read one 32-bit word at a time.
#pragma once

#include "clock/clock.h"
#include "clock/running_count.h"
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

  KnobSet mCounterKnobs;
  RunningCount mCount;
};

}  // namespace desk
