#include "tests/interactive/dialog_frame.h"

#include <algorithm>

void CentreDialog(HWND dialog, HWND measured, UINT flags) {
  RECT window = {};
  if (GetWindowRect(measured, &window) == FALSE) return;
  RECT parent = {};
  GetClientRect(GetParent(dialog), &parent);
  const LONG x = ((parent.right - parent.left) - (window.right - window.left)) / 2;
  const LONG y = ((parent.bottom - parent.top) - (window.bottom - window.top)) / 2;
  SetWindowPos(dialog, nullptr, std::max<LONG>(x, 0), std::max<LONG>(y, 0), 0, 0, flags);
}

INT_PTR StartCentredDialog(HWND dialog, UINT timeout) {
  CentreDialog(dialog, dialog, SWP_NOSIZE | SWP_NOZORDER);
  SetTimer(dialog, kTimeoutTimer, timeout, nullptr);
  return TRUE;
}

INT_PTR EndCompleteDialog(HWND dialog) {
  KillTimer(dialog, kTimeoutTimer);
  Sleep(kLastOkShows);
  EndDialog(dialog, 0);
  return TRUE;
}

INT_PTR EndTimedOutDialog(HWND dialog) {
  KillTimer(dialog, kTimeoutTimer);
  EndDialog(dialog, 0);
  return TRUE;
}
