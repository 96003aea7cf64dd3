// What the tests of shutter and aperture have in common. Both are flags that the image pipeline
// moves into the detector's view ("in") or out of it ("out"); they differ in tables of paths, texts
// and codes.
// Needs image.flow.<flag>.position; by class its truePosition, or what corners.h says.
#pragma once

#include "items/group_builder.h"
#include "items/res_bit_item.h"
#include "items/resource_access.h"
#include "items/turn.h"
#include "tests/optics/corners.h"

enum FlagMode : LONG {
  kFlagDetect = 0,
  kFlagIn = 1,
  kFlagOut = 2,
  kFlagFull = 3,
};

using FlagItemRow = ItemRow<FlagMode>;

// Switches the pipeline's own compensation, which moves the shutter too. What it was before; true
// when it cannot be opened, which is no error: a test then runs with it as it is.
bool SetTcompActive(bool active);

// The compensation rests while a test moves a flag, and is as before afterwards, on every path. One
// such pause at a time: of two that overlap, the second would take the first one's rest for the
// camera's own setting.
class TcompPause {
 public:
  TcompPause();
  ~TcompPause() { SetTcompActive(mWasActive); }
  TcompPause(const TcompPause&) = delete;
  TcompPause& operator=(const TcompPause&) = delete;

 private:
  Turn mTurn;
  bool mWasActive;
};

// The codes of the items detect, in and out.
struct FlagCodes {
  DWORD notDetected;
  DWORD notIn;
  DWORD notOut;
};

// A flag that a sensor of its own judges: a second after each move truePosition has to say where it
// was sent.
struct SensedFlag {
  const char* position;
  const char* truePosition;
  Failure failedInit;
  FlagCodes items;
  DWORD fullNotIn;
  DWORD fullNotOut;
};
Finding RunSensedFlag(const SensedFlag& flag, LONG mode, const char* name);

// In and out three times, a second each way; nothing is read back.
void MoveThreeTimes(const OpenedResource& position);

// A flag whose position is all there is: the items read back what they have just written, the full
// test only moves it.
struct UnsensedFlag {
  const char* position;
  Failure failedInit;
  FlagCodes items;
};
Finding RunUnsensedFlag(const UnsensedFlag& flag, LONG mode, const char* name);

// A flag that the image judges in the full test; its other items read back the position.
struct ImagedFlag {
  UnsensedFlag flag;
  CornerVerdicts verdicts;
  bool restsFirst;     // the compensation, also before it is known whether the flag is there
  Passed itemsPassed;  // how a detect, in or out ends that is good
  const char* tested;  // the full test's message, and that of items that end so
};

// One item of such a flag.
struct ImagedItem {
  CResBitItem& item;
  LONG mode;
  const char* name;  // in its messages
  bool hasFrontEnd;  // "FVD1:" is open
};
Finding RunImagedFlag(const ImagedFlag& flag, const ImagedItem& item,
                      const MeasureFunction& measure);
