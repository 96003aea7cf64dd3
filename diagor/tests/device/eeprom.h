// EEPROM tests: does the identity EEPROM of every board answer on its bus? Contents are not read.
// Needs "I2C1:" and, on some platforms, "I2C2:".
#pragma once

#include "items/res_bit_item_i2c.h"

class CBitTask;

// One EEPROM.
class CResBitEEPromItems : public CResBitItemI2C {
 public:
  // address: 8 bits. name: the EEPROM's display text, cut to 19 characters.
  CResBitEEPromItems(const TARQ::CResourcePath& path, const char* name, bool secondBus,
                     WORD address);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  WORD mAddress;
  char mTestName[20];
};

// All EEPROMs of a camera in one item; platform 0.
class CResBitEEPromN : public CResBitItemI2C {
 public:
  // platform: selects how many boards are checked.
  CResBitEEPromN(const TARQ::CResourcePath& path, const char* description, bool secondBus,
                 DWORD platform);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  DWORD mPlatform;
};

DWORD CreateEepromGroup(CBitTask* task, DWORD platform);
