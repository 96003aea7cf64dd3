// What the interactive tests share: a full-screen window that covers the camera's own user
// interface, dialogs from the program's resources over it, and the picture of a bitmap file on it.
// An operator stands in front of the camera.
#pragma once

#include <optional>

#include "items/turn.h"

extern HWND gTestWindow;    // the one created last; still named after its destruction
extern DWORD gPendingMask;  // a bit for each key or target that has not been hit yet
extern LONG gLcdAnswer;     // to the question about an image: kLcdWaiting, kLcdGood or kLcdFaulty

constexpr LONG kLcdWaiting = 1;
constexpr LONG kLcdGood = 0;
constexpr LONG kLcdFaulty = -1;

// One interactive test at a time: they share the screen, the keys and the variables above, and each
// waits for a person. Held for the whole run, record included: an item may be run by a client and
// by a marker file at once.
TurnLock& ScreenTurns();

// 1 created, 0 failed. A class left registered from an earlier window keeps its background.
int CreateTestWindow(bool redBackground);
// Of gTestWindow; posts the quit message that PumpUntilQuit takes.
void DestroyTestWindow();
// Dispatches whatever is queued for this thread, up to the quit message.
void PumpUntilQuit();

// Runs the dialog over the test window until it ends: what its procedure gave to EndDialog, or -1
// when it cannot be shown.
INT_PTR RunTestDialog(WORD templateNumber, DLGPROC procedure);

constexpr DWORD kLookTime = 2000;  // ms; the operator sees the window before the dialog comes

// A dialog over a test window of its own, which covers the camera's user interface.
struct WindowedDialog {
  WORD dialog;
  DLGPROC procedure;
  bool freezes;            // the camera's image, meanwhile
  DWORD waitBeforeDialog;  // ms
};
// What the dialog ended with; nothing when there was no window. The image is live again either way.
std::optional<INT_PTR> RunOverTestWindow(const WindowedDialog& run);

// "WideToCharError" for a text that does not fit. Valid until the next call.
const char* WideToChar(const wchar_t* text);

// 0 done, 1 failed. A file that cannot be loaded shows the empty window. holdTime in ms; 0 leaves
// the window with the picture on the screen.
int ShowBitmapFile(const wchar_t* path, DWORD holdTime);
