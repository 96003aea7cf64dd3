#include "tests/interactive/touch_screen.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
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

constexpr Failure kFailedInit = {0xC0, "Failed to init test"};
constexpr DWORD kTargetsMissing = 0x51;

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
  if (!RunOverTestWindow({dialog, TouchDialogProc, true, kLookTime})) return kFailedInit;
  if (gPendingMask == 0) return {0, "Segments OK"};
  std::string missing = "Segments missing: ";
  for (int target = 0; target < kTargets; ++target) {
    if ((gPendingMask & BitOf(target)) != 0) missing += FormatText("%d, ", target + 1);
  }
  return {kTargetsMissing, missing};
}

}  // namespace

CResBitTouchScreen::CResBitTouchScreen(const TARQ::CResourcePath& path, const char* description,
                                       LONG platform)
    : CResBitItem(path, description), mPlatform(platform) {}

DWORD CResBitTouchScreen::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [this] { return TouchTargets(DialogOf(mPlatform)); });
}

DWORD CreateTouchScreenGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("touchscreen", [platform](GroupBuilder& group) {
    group.Add(new CResBitTouchScreen("touchscreen", "Touch Screen", static_cast<LONG>(platform)));
  });
}
