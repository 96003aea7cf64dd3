#include "tests/device/lcd_magnet.h"

#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

constexpr Failure kFailedInit = {0x100, "Failed to init test"};
constexpr Failure kNotDetected = {0x101, "LCD Magnet not detected"};

constexpr int kReadings = 20;
constexpr DWORD kReadingPause = 500;  // ms
constexpr int kChangesNeeded = 5;

// A first reading of false counts as a change: the display is expected to be in the position that
// reads true.
bool SeesTheDisplayMove(const OpenedResource& lcdOut) {
  bool previous = true;
  int changes = 0;
  for (int reading = 0; reading < kReadings; ++reading) {
    TARQ::CResourceValue value(previous, 0);
    lcdOut.ReadInto(value);
    if (value.GetBool() != previous) {
      previous = !previous;
      if (++changes >= kChangesNeeded) return true;
    }
    Sleep(kReadingPause);
  }
  return false;
}

}  // namespace

DWORD CResBitLCDMagnet::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  bool moved = false;
  {
    const OpenedResource lcdOut(Tree::Camera, ".power.states.lcdOut");
    if (!lcdOut) return SetResultError(kFailedInit);
    moved = SeesTheDisplayMove(lcdOut);
  }
  // The text is the filter test's too: the technicians' sheets know it so.
  return moved ? SetResultTested("FILTER tested") : SetResultError(kNotDetected);
}

DWORD CreateLcdMagnetGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitLCDMagnet>("LCDMagnet", "detect", "detect");
}
