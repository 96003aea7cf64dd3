// Focus tests: does the lens travel to where it is sent?
// Needs system.focus with position, maxPos and minPos.
#pragma once

#include "items/res_bit_item.h"
#include "items/resource_access.h"

class CBitTask;

enum FocusMode : LONG {
  kFocusDetect = 0,
  kFocusFar = 1,
  kFocusNear = 2,
  kFocusFull = 3,    // detect, far, near, until the first that fails
  kFocusManual = 6,  // nobody looks at it
};

// A motor that reports the ends of its travel.
class CResBitFocus : public CResBitItem {
 public:
  CResBitFocus(const TARQ::CResourcePath& path, const char* description, LONG mode, DWORD platform);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  Finding RunMotor() const;
  // Each 0 when it passed, else its error code. The far and the near step leave the lens where they
  // sent it.
  DWORD CheckDetect(const OpenedResource& position) const;
  DWORD CheckFar(const OpenedResource& position, const OpenedResource& minPos,
                 const OpenedResource& maxPos) const;
  DWORD CheckNear(const OpenedResource& position, const OpenedResource& minPos,
                  const OpenedResource& maxPos) const;

  char mTestName[kDescriptionSize];
  LONG mMode;
  DWORD mPlatform;
};

// A motor whose travel is taken as 0 to 65535, with far at the low end and near at the high one.
class CResBitFocusM7 : public CResBitItem {
 public:
  CResBitFocusM7(const TARQ::CResourcePath& path, const char* description, LONG mode,
                 DWORD platform);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  Finding RunMotor() const;
  DWORD CheckDetect(const OpenedResource& position) const;
  DWORD CheckFar(const OpenedResource& position) const;
  DWORD CheckNear(const OpenedResource& position) const;

  char mTestName[kDescriptionSize];
  LONG mMode;
  [[maybe_unused]] DWORD mPlatform;
};

// A lens that is focused by hand: its position can be read, and nothing more.
class CResBitFocusManual : public CResBitItem {
 public:
  CResBitFocusManual(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  Finding ReadMotor() const;

  char mTestName[kDescriptionSize];
  [[maybe_unused]] LONG mMode;
};

DWORD CreateFocusGroup(CBitTask* task, DWORD platform);
