// Battery tests: does the battery, or its fuel gauge, answer on its bus?
// Needs "I2C1:" or "I2C2:", by platform.
#pragma once

#include <cstdint>

#include "items/res_bit_item_i2c.h"

class CBitTask;

// Batteries without a readable gauge: one is there when it acknowledges. The platforms have classes
// of their own, so that a client can tell which battery a camera has.
class CResBitBattery : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

class CResBitBatteryR8 : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

class CResBitBatteryH : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

// A battery with a fuel gauge, whose readings go into the message.
class CResBitBatteryFG : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool ReadGauge(BYTE gaugeRegister, std::int16_t& reading);
};

DWORD CreateBatteryGroup(CBitTask* task, DWORD platform);
