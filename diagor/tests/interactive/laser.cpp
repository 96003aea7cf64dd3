#include "tests/interactive/laser.h"

#include <cstdint>

#include "items/group_builder.h"
#include "items/resource_access.h"
#include "tests/interactive/dialog_frame.h"
#include "tests/interactive/test_window.h"

namespace {

constexpr WORD kDialog = 102;
constexpr int kButton = 1003;

constexpr std::uintptr_t kLaserTimeoutTimer = 1;
constexpr UINT kLaserTimeout = 20000;  // ms
constexpr std::uintptr_t kPollTimer = 2;
constexpr UINT kPollPeriod = 50;  // ms

constexpr Failure kFailedInit = {0x40, "Failed to init test"};
constexpr Failure kNotDetected = {0x41, "Laser not detected"};

constexpr INT_PTR kSeen = 0;
constexpr INT_PTR kNotSeen = 1;

// What cannot be read is not seen.
bool LaserIsOn() {
  TARQ::CResourceValue value(false, 0);
  OpenedResource(Tree::Camera, "power.states.laser").ReadInto(value);
  return value.GetBool();
}

void KillTimers(HWND dialog) {
  KillTimer(dialog, kPollTimer);
  KillTimer(dialog, kLaserTimeoutTimer);
}

INT_PTR Poll(HWND dialog) {
  if (!LaserIsOn()) return TRUE;
  KillTimers(dialog);
  SetDlgItemTextW(dialog, kButton, L"OK");
  Sleep(kLastOkShows);
  EndDialog(dialog, kSeen);
  return TRUE;
}

INT_PTR WINAPI LaserDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) {
    CentreDialog(dialog, dialog, SWP_NOSIZE | SWP_NOZORDER);
    SetTimer(dialog, kLaserTimeoutTimer, kLaserTimeout, nullptr);
    SetTimer(dialog, kPollTimer, kPollPeriod, nullptr);
    return TRUE;
  }
  if (message != WM_TIMER) return FALSE;
  if (LOWORD(wParam) == kPollTimer) return Poll(dialog);
  if (LOWORD(wParam) != kLaserTimeoutTimer) return FALSE;
  KillTimers(dialog);
  EndDialog(dialog, kNotSeen);
  return TRUE;
}

Finding WatchLaser() {
  WriteTo(Tree::Camera, "power.settings.laserEnable", TARQ::CResourceValue(true, 0));
  const auto result = RunOverTestWindow({kDialog, LaserDialogProc, true, 0});
  if (!result) return kFailedInit;
  if (*result != kSeen) return kNotDetected;
  return {0, "Laser OK"};
}

}  // namespace

DWORD CResBitLaser::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), WatchLaser);
}

DWORD CreateLaserGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitLaser>("laser", "laser", "Laser");
}
