// Clock tests: does the camera's clock advance as much as five seconds of sleep say?
// Needs the clock chip on "I2C1:", or "PMI1:". Each takes a little over five seconds.
#pragma once

#include "items/res_bit_item_i2c.h"

class CBitTask;

// The seconds of a clock chip.
class CResBitClock : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool ReadSeconds(int& seconds);
};

// The seconds counter of the power management.
class CResBitClockH : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateClockGroup(CBitTask* task, DWORD platform);
