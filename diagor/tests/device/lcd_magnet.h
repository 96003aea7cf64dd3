// LCD magnet test: does the sensor see the operator move the display in and out?
// Needs .power.states.lcdOut; the operator has about ten seconds.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

class CResBitLCDMagnet : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateLcdMagnetGroup(CBitTask* task, DWORD platform);
