// Compass and accelerometer tests: does the direction sensor say what type it is?
// Needs system.direction.compass.type, system.direction.sensorAccel.type.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

class CResBitCompass : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

class CResBitAccel : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateCompassGroup(CBitTask* task, DWORD platform);
DWORD CreateAccelGroup(CBitTask* task, DWORD platform);
