// GPS test: is a receiver there, and is it connected once it has power?
// Needs image.sysimg.gps, power.settings.gpsPower and power.states.gpsOK.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

class CResBitGps : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateGpsGroup(CBitTask* task, DWORD platform);
