// Touch-screen test: the operator touches nine targets, three by three.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

class CResBitTouchScreen : public CResBitItem {
 public:
  CResBitTouchScreen(const TARQ::CResourcePath& path, const char* description, LONG platform);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  LONG mPlatform;  // chooses the dialog's layout
};

DWORD CreateTouchScreenGroup(CBitTask* task, DWORD platform);
