// Aperture tests: does the aperture move in and out? As the shutter's, on its own resources.
// Needs image.flow.aperture.position; by class its truePosition, or "FVD1:".
#pragma once

#include "items/res_bit_item_i2c.h"
#include "tests/optics/flag.h"

class CBitTask;

// An aperture with a sensor of its own; platform K.
class CResBitApertureK : public CResBitItem {
 public:
  CResBitApertureK(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  char mTestName[kDescriptionSize];
  LONG mMode;
};

// An aperture whose full test only moves it.
class CResBitAperture : public CResBitItem {
 public:
  CResBitAperture(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  char mTestName[kDescriptionSize];
  LONG mMode;
};

// An aperture that the image judges; platform R8.
class CResBitApertureR8 : public CResBitItemI2C {
 public:
  CResBitApertureR8(const TARQ::CResourcePath& path, const char* description, LONG mode);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  // 0, or the driver's error; the values are unchanged then.
  DWORD MeasureCorners(CornerValues& values, WORD width, WORD height);

  char mTestName[kDescriptionSize];
  LONG mMode;
  DriverHandle mFvdHandle;
};

DWORD CreateApertureGroup(CBitTask* task, DWORD platform);
