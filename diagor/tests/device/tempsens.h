// Temperature sensor tests: does each sensor answer, with a plausible temperature?
// Needs "I2C1:" or "I2C2:", by platform.
#pragma once

#include "items/res_bit_item_i2c.h"
#include "tests/device/temperature.h"

class CBitTask;

// One sensor.
class CResBitTempsensItems : public CResBitItemI2C {
 public:
  // kind: 0 to 2, a word of the sensor block; 3 to 8, a 16-bit sensor; 9 to 11, a 24-bit converter.
  // address: 8 bits; the block has its own.
  CResBitTempsensItems(const TARQ::CResourcePath& path, const char* description, bool secondBus,
                       LONG kind, DWORD address);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool Read(Temperature& temperature);
  bool ReadConverter(Temperature& temperature);

  char mTestName[20];
  LONG mKind;
  DWORD mAddress;
};

// A place with two sensors, of which one suffices. Their records are the log's; the item has none.
class CResBitDualTempsensItems : public CResBitItem {
 public:
  struct Sensor {
    LONG kind;
    DWORD address;
  };
  CResBitDualTempsensItems(const TARQ::CResourcePath& path, const char* description, Sensor first,
                           Sensor second, bool secondBus);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  LONG mFirstKind;
  DWORD mFirstAddress;
  LONG mSecondKind;
  DWORD mSecondAddress;
  BYTE mBus;  // not 0: the second one
};

// The three temperatures of the sensor block in one item; platform 0.
class CResBitTempsensN : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateTempsensGroup(CBitTask* task, DWORD platform);
