// Flash and torch tests: switch the visual camera's lamps in a pattern that a person can see.
// Needs system.vcam.torch; the flash also system.vcam.flash.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

class CResBitFlash : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

class CResBitTorch : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateFlashGroup(CBitTask* task, DWORD platform);
DWORD CreateTorchGroup(CBitTask* task, DWORD platform);
