// Video memory tests: random words into the platform's address ranges, read back and compared.
// Needs "FVD1:".
#pragma once

#include "items/driver_handle.h"
#include "items/res_bit_item.h"

class CBitTask;

class CResBitVDDR : public CResBitItem {
 public:
  CResBitVDDR(const TARQ::CResourcePath& path, const char* description, DWORD platform);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  // One block of words, at the driver's address; each request has a data area of its own. 0, or 1
  // when the area cannot be made or the driver fails.
  DWORD WriteMemory(HANDLE fvd, DWORD address, DWORD words, const DWORD* source);
  DWORD ReadMemory(HANDLE fvd, DWORD address, DWORD words, DWORD* destination);
  Finding TestBlock(DWORD address, DWORD* pattern, DWORD* readBack);
  Finding TestRanges();

  DWORD mPlatform;
  DriverHandle mFvdHandle;
};

// The same again every ten seconds until the application stops: its write never returns.
class CResBitLoopVDDR : public CResBitVDDR {
 public:
  using CResBitVDDR::CResBitVDDR;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

DWORD CreateVddrGroup(CBitTask* task, DWORD platform);
