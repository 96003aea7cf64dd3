#include "tests/interactive/key_dialogs.h"

#include <cstdio>
#include <cwchar>

#include "tests/interactive/dialog_frame.h"
#include "tests/interactive/test_window.h"

namespace {

// The time-out runs from the dialog's start, however many keys are hit.
constexpr UINT kKeyTimeout = 60000;      // ms
constexpr UINT kLcdKeyTimeout = 120000;  // ms; many keys, or an image to look at

constexpr DWORD kFaultyBit = 0x200;  // the key F1
constexpr DWORD kGoodBit = 0x400;    // the key F2

constexpr wchar_t kQuestionTitle[] = L"LCD Test";
constexpr int kTitleSize = 100;  // characters
constexpr int kOffScreen = 1000;

// Marks the key of that code. Null: no key of the keypad sends it.
const KeyRow* MarkKey(HWND dialog, const Keypad& keypad, WPARAM wParam) {
  const WPARAM code = LOWORD(wParam);
  for (const KeyRow& key : keypad.keys) {
    if (code == 0 || (key.codes[0] != code && key.codes[1] != code)) continue;
    SetDlgItemTextW(dialog, key.control, L"OK");
    gPendingMask &= ~key.bit;
    return &key;
  }
  return nullptr;
}

void PlaceLcdKeyDialog(HWND dialog) {
  wchar_t title[kTitleSize] = L"";
  GetWindowTextW(dialog, title, kTitleSize);
  if (wcscmp(title, kQuestionTitle) == 0) {
    SetWindowPos(dialog, nullptr, kOffScreen, kOffScreen, 0, 0, SWP_NOSIZE);
  } else {
    CentreDialog(dialog, dialog, SWP_NOSIZE);
  }
}

INT_PTR EndIfComplete(HWND dialog) {
  return gPendingMask == 0 ? EndCompleteDialog(dialog) : FALSE;
}

// What a key dialog does with all but its start.
INT_PTR HandleKeyDialog(HWND dialog, UINT message, WPARAM wParam, const Keypad& keypad) {
  if (message == WM_KEYUP) {
    MarkKey(dialog, keypad, wParam);
    return EndIfComplete(dialog);
  }
  if (message == WM_TIMER && IsTimeout(wParam)) return EndTimedOutDialog(dialog);
  return FALSE;
}

INT_PTR Answer(HWND dialog, LONG answer) {
  EndTimedOutDialog(dialog);  // at once: nothing is left to see
  gLcdAnswer = answer;
  return TRUE;
}

INT_PTR HandleLcdKey(HWND dialog, WPARAM wParam) {
  const bool isAsked = gLcdAnswer == kLcdWaiting;
  const KeyRow* const key = MarkKey(dialog, kKeypadK, wParam);
  if (key == nullptr) {
    printf("Unkown:0x%X\n", static_cast<unsigned>(wParam));
    fflush(stdout);  // whoever reads along sees it while the dialog is up
  }
  if (isAsked && key != nullptr && key->bit == kFaultyBit) return Answer(dialog, kLcdFaulty);
  if (isAsked && key != nullptr && key->bit == kGoodBit) return Answer(dialog, kLcdGood);
  return EndIfComplete(dialog);
}

}  // namespace

template <const Keypad& kKeypad>
INT_PTR WINAPI KeyTestDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) return StartCentredDialog(dialog, kKeyTimeout);
  return HandleKeyDialog(dialog, message, wParam, kKeypad);
}

template INT_PTR WINAPI KeyTestDialogProc<kKeypadN>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadKRem>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadR>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadR7>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadR7Bfs>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadR8>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadLQ>(HWND, UINT, WPARAM, LPARAM);
template INT_PTR WINAPI KeyTestDialogProc<kKeypadV8>(HWND, UINT, WPARAM, LPARAM);

INT_PTR WINAPI KyDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message != WM_INITDIALOG) return HandleKeyDialog(dialog, message, wParam, kKeypadKy);
  // Measured by the window that it lies over, it goes to that window's corner.
  CentreDialog(dialog, gTestWindow, SWP_NOSIZE | SWP_NOZORDER);
  SetTimer(dialog, kTimeoutTimer, kKeyTimeout, nullptr);
  return TRUE;
}

INT_PTR WINAPI LcdKeyDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  if (message == WM_INITDIALOG) {
    PlaceLcdKeyDialog(dialog);
    SetTimer(dialog, kTimeoutTimer, kLcdKeyTimeout, nullptr);
    return TRUE;
  }
  if (message == WM_KEYUP) return HandleLcdKey(dialog, wParam);
  if (message == WM_TIMER && IsTimeout(wParam)) return EndTimedOutDialog(dialog);
  return FALSE;
}
