// Shutter tests: does the flag in front of the detector move in and out?
// Needs image.flow.shutter.position; by class its truePosition, or "FVD1:".
#pragma once

#include "items/res_bit_item_i2c.h"
#include "tests/optics/flag.h"

class CBitTask;

// Moves the shutter and checks nothing; platform N.
class CResBitShutterN : public CResBitItem {
 public:
  using CResBitItem::CResBitItem;
  DWORD RunTest(const TARQ::CResourceValue& written) override;
};

// A shutter with a sensor of its own; platform K.
class CResBitShutterK : public CResBitItem {
 public:
  CResBitShutterK(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  char mTestName[kDescriptionSize];
  LONG mMode;
};

// A shutter that the image judges.
class CResBitShutterRMV : public CResBitItemI2C {
 public:
  CResBitShutterRMV(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  // 0, or the driver's error; the values are unchanged then.
  DWORD MeasureCorners(CornerValues& values, WORD width, WORD height);

  char mTestName[kDescriptionSize];
  LONG mMode;
  DriverHandle mFvdHandle;
};

DWORD CreateShutterGroup(CBitTask* task, DWORD platform);
