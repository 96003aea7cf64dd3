// LCD and viewfinder tests: known pictures on the display, for a person to judge.
// Need image.state.recall.setW for the camera's own pictures, and the image folder.
#pragma once

#include "items/res_bit_item.h"

class CBitTask;

enum LcdMode : LONG { kLcdPatterns = 0, kLcdImages = 1, kLcdBitmaps = 2 };

// A timed show, without a verdict: the camera's own service shows test patterns or JPEG images, or
// this program shows bitmap files over the whole screen.
class CResBitLCD : public CResBitItem {
 public:
  // viewFinder: the pictures are for the viewfinder, and the LCD is off meanwhile.
  CResBitLCD(const TARQ::CResourcePath& path, const char* description, LONG platform, LONG mode,
             bool viewFinder);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 protected:
  // By platform; the camera may run from its second flash file system.
  void ChooseImageFolder();
  // Shows the bitmap files one by one; the operator confirms each with a key. One that he reports
  // as faulty ends the run and fails it. isKy: KY has more to set and to put back.
  DWORD RunInteractively(bool viewFinder, bool isKy);

  const char* mImageFolder = nullptr;  // of the current run; ends with a slash
  LONG mPlatform;
  LONG mMode;
  bool mViewFinder;

 private:
  bool ShowRecalled();
  void ShowBitmaps();
};

// An operator judges the bitmap files.
class CResBitLCD_I : public CResBitLCD {
 public:
  CResBitLCD_I(const TARQ::CResourcePath& path, const char* description, LONG platform,
               bool viewFinder);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool mForViewFinder;  // mViewFinder again
};

// The same on KY.
class CResBitLCD_I_Ky : public CResBitLCD {
 public:
  CResBitLCD_I_Ky(const TARQ::CResourcePath& path, const char* description, LONG platform,
                  bool viewFinder);
  DWORD RunTest(const TARQ::CResourceValue& written) override;

 private:
  bool mForViewFinder;  // mViewFinder again
};

// viewFinder: the viewfinder's groups in place of the LCD's.
DWORD CreateLcdGroup(CBitTask* task, DWORD platform, bool viewFinder);
DWORD CreateLcdInteractiveGroup(CBitTask* task, DWORD platform, bool viewFinder);
