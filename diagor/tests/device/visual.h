// Visual camera tests: is the daylight camera active, and does it work in its two modes?
// Needs "CAM1:"; the modes also "FVD1:".
#pragma once

#include "items/driver_handle.h"
#include "items/res_bit_item.h"

class CBitTask;

// One mode.
class CResBitVisualMode : public CResBitItem {
 public:
  // mode: 0 draft, anything else still.
  CResBitVisualMode(const TARQ::CResourcePath& path, const char* description, DWORD mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool Initialise();
  Finding TakePicture();

  DriverHandle mFvdHandle;
  DriverHandle mCamHandle;
  DWORD mMode;
};

// The camera as such. Without its driver the run stores nothing and returns 0xF0.
class CResBitVisual : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateVisualGroup(CBitTask* task, DWORD platform);
