// The dialogs in which an operator hits keys. Every release of a key comes as WM_KEYUP with its
// virtual-key code; the key's button then says "OK" and its bit leaves gPendingMask.
#pragma once

#include "tests/interactive/keypads.h"

// The dialog of a keypad, in the middle of the test window.
template <const Keypad& kKeypad>
INT_PTR WINAPI KeyTestDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

// KY's, at the window's corner.
INT_PTR WINAPI KyDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);

// That of K and H, and of the question about an image: while gLcdAnswer waits, F1 (or F3) says that
// the image is faulty and F2 (or F4) that it is good. "LCD Test" itself lies off the screen, so as
// not to cover the image.
INT_PTR WINAPI LcdKeyDialogProc(HWND dialog, UINT message, WPARAM wParam, LPARAM lParam);
