// IRDM test: does the video front-end's IRDM function report no fault?
// Needs "FVD1:".
#pragma once

#include "items/driver_handle.h"
#include "items/res_bit_item.h"

class CBitTask;

class CResBitIRDM : public CResBitItem {
 public:
  CResBitIRDM(const TARQ::CResourcePath& path, const char* description);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  Finding AskFrontEnd();

  DriverHandle mFvdHandle;
};

DWORD CreateIrdmGroup(CBitTask* task, DWORD platform);
