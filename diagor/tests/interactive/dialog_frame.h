// What every dialog of the interactive tests does alike: find its place, run out of time, end.
#pragma once

#include <windows.h>

#include <cstdint>

constexpr std::uintptr_t kTimeoutTimer = 3;
constexpr DWORD kLastOkShows = 500;  // ms; the operator sees the last "OK" before the dialog goes

// Centres the dialog over its parent's client area, as far as that is larger than the window
// measured; never at a negative position. flags: of SetWindowPos.
void CentreDialog(HWND dialog, HWND measured, UINT flags);

// The whole start of a dialog that lies in the middle: place and time-out (ms).
INT_PTR StartCentredDialog(HWND dialog, UINT timeout);

// Ends a dialog in which everything was hit, a moment later.
INT_PTR EndCompleteDialog(HWND dialog);
// Ends a dialog that has run out of time.
INT_PTR EndTimedOutDialog(HWND dialog);

// Whether a WM_TIMER is that of the time-out.
inline bool IsTimeout(WPARAM wParam) {
  return LOWORD(wParam) == kTimeoutTimer;
}
