// Laser test: the operator presses the laser button, the camera sees its laser.
// Needs power.settings.laserEnable and power.states.laser.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

// The laser stays enabled afterwards.
class CResBitLaser : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateLaserGroup(CBitTask* task, DWORD platform);
