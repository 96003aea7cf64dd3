#include "tests/interactive/test_window.h"

#include <cwchar>

#include "app/instance.h"
#include "items/resource_access.h"
#include "tests/interactive/shell.h"

HWND gTestWindow = nullptr;
DWORD gPendingMask = 0;
LONG gLcdAnswer = 0;

namespace {

constexpr wchar_t kClassName[] = L"MainWindow";
constexpr COLORREF kDarkRed = RGB(128, 0, 0);

constexpr int kConversionSize = 512;  // bytes
char gConversion[kConversionSize] = "";

// Freezes the camera's image, or shows it live again. Nodes that cannot be opened are skipped.
DWORD SetImageFreeze(bool freeze) {
  const char* const node = freeze ? ".image.state.freeze.set" : ".image.state.live.set";
  WriteTo(Tree::Camera, node, TARQ::CResourceValue(true, 0));
  return 0;
}

// Freezes it and waits until it stands.
void FreezeImage() {
  constexpr DWORD kFreezeTime = 1000;  // ms
  SetImageFreeze(true);
  Sleep(kFreezeTime);
}

LRESULT WINAPI TestWindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message != WM_DESTROY) return DefWindowProcW(window, message, wParam, lParam);
  PostQuitMessage(0);
  return 0;
}

// The bitmap and the contexts that its drawing needs; the paint that was begun first ends last.
class Drawing {
 public:
  explicit Drawing(HBITMAP bitmap) : mBitmap(bitmap) {
    InvalidateRect(gTestWindow, nullptr, FALSE);
    mContext = BeginPaint(gTestWindow, &mPaint);
    mMemory = CreateCompatibleDC(mContext);
    SelectObject(mMemory, mBitmap);
  }
  ~Drawing() {
    DeleteDC(mMemory);
    DeleteObject(mBitmap);
    EndPaint(gTestWindow, &mPaint);
  }
  Drawing(const Drawing&) = delete;
  Drawing& operator=(const Drawing&) = delete;

  bool Stretch(const RECT& window) const {
    BITMAP record = {};
    GetObjectW(mBitmap, sizeof record, &record);
    return StretchBlt(mContext, 0, 0, window.right - window.left, window.bottom - window.top,
                      mMemory, 0, 0, record.bmWidth, record.bmHeight, SRCCOPY) != FALSE;
  }

 private:
  HBITMAP mBitmap;
  PAINTSTRUCT mPaint = {};
  HDC mContext;
  HDC mMemory;
};

void Hold(DWORD holdTime) {
  if (holdTime != 0) Sleep(holdTime);
}

// Draws the picture and leaves it for the hold time; false when it could not be drawn. In place of
// a file that cannot be loaded the empty window stays for that time.
bool DrawPicture(const wchar_t* path, const RECT& window, DWORD holdTime) {
  const HBITMAP bitmap = SHLoadDIBitmap(path);
  if (bitmap == nullptr) {
    Hold(holdTime);
    return true;
  }
  const Drawing drawing(bitmap);
  if (!drawing.Stretch(window)) return false;
  Hold(holdTime);
  return true;
}

}  // namespace

TurnLock& ScreenTurns() {
  static TurnLock lock;
  return lock;
}

int CreateTestWindow(bool redBackground) {
  WNDCLASSW windowClass = {};
  windowClass.style = CS_HREDRAW | CS_VREDRAW;
  windowClass.lpfnWndProc = TestWindowProc;
  windowClass.hInstance = gInstance;
  windowClass.hbrBackground =
      redBackground ? CreateSolidBrush(kDarkRed) : static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
  windowClass.lpszClassName = kClassName;
  const bool isNew = RegisterClassW(&windowClass) != 0;
  // A class that is registered keeps its own brush; this one would be nobody's.
  if (!isNew && redBackground) DeleteObject(windowClass.hbrBackground);

  gTestWindow = CreateWindowExW(0, kClassName, kClassName, WS_VISIBLE, CW_USEDEFAULT, CW_USEDEFAULT,
                                CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr, gInstance, nullptr);
  if (gTestWindow == nullptr) return 0;
  ShowWindow(gTestWindow, SW_SHOW);
  UpdateWindow(gTestWindow);
  SetForegroundWindow(gTestWindow);
  SetWindowPos(gTestWindow, HWND_TOPMOST, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE);
  return 1;
}

void DestroyTestWindow() {
  DestroyWindow(gTestWindow);
  UnregisterClassW(kClassName, gInstance);
}

void PumpUntilQuit() {
  MSG message = {};
  while (GetMessageW(&message, nullptr, 0, 0) != FALSE) {
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
}

INT_PTR RunTestDialog(WORD templateNumber, DLGPROC procedure) {
  const HRSRC found = FindResourceW(gInstance, MAKEINTRESOURCEW(templateNumber), RT_DIALOG);
  const auto dialogTemplate = static_cast<LPCDLGTEMPLATEW>(LoadResource(gInstance, found));
  return DialogBoxIndirectParamW(gInstance, dialogTemplate, gTestWindow, procedure, 0);
}

std::optional<INT_PTR> RunOverTestWindow(const WindowedDialog& run) {
  if (run.freezes) FreezeImage();
  std::optional<INT_PTR> result;
  if (CreateTestWindow(false) != 0) {
    if (run.waitBeforeDialog != 0) Sleep(run.waitBeforeDialog);
    result = RunTestDialog(run.dialog, run.procedure);
    DestroyTestWindow();
    PumpUntilQuit();
  }
  if (run.freezes) SetImageFreeze(false);
  return result;
}

const char* WideToChar(const wchar_t* text) {
  if (*text == L'\0') return "";
  const int converted = wcslen(text) >= kConversionSize
                            ? 0
                            : WideCharToMultiByte(CP_ACP, 0, text, -1, gConversion, kConversionSize,
                                                  nullptr, nullptr);
  return converted > 0 ? gConversion : "WideToCharError";
}

int ShowBitmapFile(const wchar_t* path, DWORD holdTime) {
  if (CreateTestWindow(false) == 0) return 1;
  // A window whose rectangle cannot be read has no size to draw in.
  RECT window = {};
  const bool drawn =
      GetWindowRect(gTestWindow, &window) != FALSE && DrawPicture(path, window, holdTime);
  if (holdTime != 0) {
    DestroyTestWindow();
    PumpUntilQuit();
  }
  return drawn ? 0 : 1;
}
