#include "tests/interactive/touch_screen.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "task/platform.h"
#include "tests/interactive/dialog_frame.h"
#include "tests/interactive/test_window.h"

namespace {

constexpr int kTargets = 9;
constexpr int kFirstTarget = 1029;  // control; the others follow, row by row
constexpr DWORD kAllTargets = 0x1FF;

constexpr WORD kDialog = 106;
constexpr WORD kTallDialog = 109;
constexpr WORD kLargeDialog = 120;  // with a larger font

constexpr UINT kTouchTimeout = 60000;  // ms

constexpr DWORD BitOf(int target) {
  return DWORD{1} << target;
}

INT_PTR MarkTarget(HWND dialog, int control) {
  const int target = control - kFirstTarget;
  if (target < 0 || target >= kTargets) return FALSE;
  SetDlgItemTextW(dialog, control, L"OK");
  gPendingMask &= ~BitOf(target);
  return gPendingMask == 0 ? EndCompleteDialog(dialog) : FALSE;
}

INT_PTR WINAPI TouchDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) return StartCentredDialog(dialog, kTouchTimeout);
  if (message == WM_COMMAND) return MarkTarget(dialog, LOWORD(wParam));
  if (message == WM_TIMER && IsTimeout(wParam)) return EndTimedOutDialog(dialog);
  return FALSE;
}

WORD DialogOf(LONG platform) {
  if (platform == kPlatformN7) return kTallDialog;
  if (platform == kPlatformKY) return kLargeDialog;
  return kDialog;
}

Finding TouchTargets(WORD dialog) {
  gPendingMask = kAllTargets;
  if (!RunOverTestWindow({dialog, TouchDialogProc, true, kLookTime})) {
    return {0xC0, "Failed to init test"};
  }
  if (gPendingMask == 0) return {0, "Segments OK"};
  std::string missing = "Segments missing: ";
  for (int target = 0; target < kTargets; ++target) {
    if ((gPendingMask & BitOf(target)) != 0) missing += FormatText("%d, ", target + 1);
  }
  return {0x51, missing};
}

}  // namespace

CResBitTouchScreen::CResBitTouchScreen(const TARQ::CResourcePath& path, const char* description,
                                       LONG platform)
    : CResBitItem(path, description), mPlatform(platform) {}

DWORD CResBitTouchScreen::RunTest(const TARQ::CResourceValue& /*written*/) {
  const InteractiveTurn turn;
  EmptyMessage();
  return SetResult(TouchTargets(DialogOf(mPlatform)));
}

DWORD CreateTouchScreenGroup(CBitTask* /*task*/, DWORD platform) {
  GroupBuilder group("touchscreen");
  if (group.Status() != 0) return group.Status();
  group.Add(new CResBitTouchScreen("touchscreen", "Touch Screen", static_cast<LONG>(platform)));
  return 0;
}
