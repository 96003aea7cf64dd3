// What the interactive tests share: a full-screen window that covers the camera's own user
// interface, dialogs from the program's resources over it, and the picture of a bitmap file on it.
// An operator stands in front of the camera.
#pragma once

#include <windows.h>

extern HWND gTestWindow;    // the one created last; still named after its destruction
extern DWORD gPendingMask;  // a bit for each key or target that has not been hit yet
extern LONG gLcdAnswer;     // to the question about an image: kLcdWaiting, kLcdGood or kLcdFaulty

constexpr LONG kLcdWaiting = 1;
constexpr LONG kLcdGood = 0;
constexpr LONG kLcdFaulty = -1;

// One interactive test at a time: they share the screen, the keys and the variables above, and each
// waits for a person. Whoever comes second waits for its turn. It is the system's own lock because
// it is held while a dialog waits.
class InteractiveTurn {
 public:
  InteractiveTurn();
  ~InteractiveTurn();
  InteractiveTurn(const InteractiveTurn&) = delete;
  InteractiveTurn& operator=(const InteractiveTurn&) = delete;
};

// 1 created, 0 failed. A class left registered from an earlier window keeps its background.
int CreateTestWindow(bool redBackground);
// Of gTestWindow; posts the quit message that PumpUntilQuit takes.
void DestroyTestWindow();
// Dispatches whatever is queued for this thread, up to the quit message.
void PumpUntilQuit();

// Runs the dialog over the test window until it ends: what its procedure gave to EndDialog, or -1
// when it cannot be shown.
INT_PTR RunTestDialog(WORD templateNumber, DLGPROC procedure);

// Freezes the camera's image, or shows it live again. Nodes that cannot be opened are skipped.
DWORD SetImageFreeze(bool freeze);
// Freezes it and waits until it stands.
void FreezeImage();

// "WideToCharError" for a text that does not fit. Valid until the next call.
const char* WideToChar(const wchar_t* text);

// 0 done, 1 failed. A file that cannot be loaded shows the empty window. holdTime in ms; 0 leaves
// the window with the picture on the screen.
int ShowBitmapFile(const wchar_t* path, DWORD holdTime);
