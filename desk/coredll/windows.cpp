// Windows, messages, timers, dialogs: the functions of windows.h on the camera's window system.
#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "coredll/machine.h"
#include "coredll/resources.h"
#include "coredll/window_system.h"
#include "trace/observation.h"

namespace {

desk::WindowSystem& System() {
  return *desk::TheMachine().windows;
}

}  // namespace

WORD WINAPI RegisterClassW(const WNDCLASSW* windowClass) {
  return System().Register(*windowClass) ? 1 : 0;
}

BOOL WINAPI UnregisterClassW(LPCWSTR name, HINSTANCE /*instance*/) {
  return System().Unregister(name) ? TRUE : FALSE;
}

HWND WINAPI CreateWindowExW(DWORD /*extendedStyle*/, LPCWSTR className, LPCWSTR title,
                            DWORD /*style*/, int x, int y, int width, int height, HWND /*parent*/,
                            HMENU /*menu*/, HINSTANCE /*instance*/, void* /*parameter*/) {
  const bool anywhere = x == CW_USEDEFAULT;
  const bool anySize = width == CW_USEDEFAULT;
  const desk::Area area = {anywhere ? 0 : x, anywhere ? 0 : y, anySize ? System().Width() : width,
                           anySize ? System().Height() : height};
  const HWND window = System().Create(className, title, area);
  if (desk::Observation::IsTraced()) {
    bool red = false;
    for (const desk::SceneWindow& each : System().Scene()) red = each.red;
    desk::Observation::Step("window",
                            {{"red", window != nullptr && red}, {"ok", window != nullptr}});
  }
  return window;
}

BOOL WINAPI DestroyWindow(HWND window) {
  if (System().Exists(window)) desk::Observation::Step("destroy", {});
  return System().Destroy(window) ? TRUE : FALSE;
}

BOOL WINAPI ShowWindow(HWND window, int /*show*/) {
  return System().Show(window) ? TRUE : FALSE;
}

BOOL WINAPI UpdateWindow(HWND window) {
  System().Dispatch({window, WM_PAINT, 0, 0, 0, {}});
  return TRUE;
}

BOOL WINAPI SetForegroundWindow(HWND window) {
  return System().Exists(window) ? TRUE : FALSE;
}

// The order of windows is that of their making: the newest is the top one anyway.
BOOL WINAPI SetWindowPos(HWND window, HWND /*after*/, int x, int y, int width, int height,
                         UINT flags) {
  std::optional<POINT> to;
  std::optional<POINT> size;
  if ((flags & SWP_NOMOVE) == 0) to = POINT{x, y};
  if ((flags & SWP_NOSIZE) == 0) size = POINT{width, height};
  return System().Move(window, to, size) ? TRUE : FALSE;
}

BOOL WINAPI GetWindowRect(HWND window, RECT* rectangle) {
  return System().Rectangle(window, *rectangle) ? TRUE : FALSE;
}

BOOL WINAPI GetClientRect(HWND window, RECT* rectangle) {
  return System().ClientRectangle(window, *rectangle) ? TRUE : FALSE;
}

HWND WINAPI GetParent(HWND window) {
  return System().Parent(window);
}

int WINAPI GetWindowTextW(HWND window, LPWSTR text, int size) {
  if (size <= 0) return 0;
  const std::wstring title = System().Title(window).value_or(L"");
  const std::size_t length = std::min(title.size(), static_cast<std::size_t>(size) - 1);
  wmemcpy(text, title.data(), length);
  text[length] = L'\0';
  return static_cast<int>(length);
}

LRESULT WINAPI DefWindowProcW(HWND window, UINT message, WPARAM /*wParam*/, LPARAM /*lParam*/) {
  if (message == WM_PAINT) System().Validate(window);
  return 0;
}

BOOL WINAPI GetMessageW(MSG* message, HWND /*window*/, UINT /*first*/, UINT /*last*/) {
  return System().Take(*message) ? TRUE : FALSE;
}

BOOL WINAPI TranslateMessage(const MSG* /*message*/) {
  return FALSE;
}

LRESULT WINAPI DispatchMessageW(const MSG* message) {
  return System().Dispatch(*message);
}

void WINAPI PostQuitMessage(int exitCode) {
  System().PostQuit(exitCode);
}

std::uintptr_t WINAPI SetTimer(HWND window, std::uintptr_t timer, UINT period,
                               TIMERPROC /*procedure*/) {
  return System().StartTimer(window, timer, std::chrono::milliseconds(period)) ? timer : 0;
}

BOOL WINAPI KillTimer(HWND window, std::uintptr_t timer) {
  return System().StopTimer(window, timer) ? TRUE : FALSE;
}

INT_PTR WINAPI DialogBoxIndirectParamW(HINSTANCE /*module*/, LPCDLGTEMPLATEW dialogTemplate,
                                       HWND parent, DLGPROC procedure, LPARAM parameter) {
  const auto entry = desk::TheModuleResources().StartingAt(dialogTemplate);
  std::optional<desk::DialogTemplate> dialog;
  if (entry) dialog = desk::ReadDialogTemplate(entry->data);
  if (dialog) dialog->number = entry->name;
  // The step stands where the dialog began; how it ended is added then.
  desk::Observation::OpenStep step("dialog", {{"template", std::int64_t{entry ? entry->name : 0}}});
  INT_PTR result = -1;
  if (dialog && System().DialogsAreShown()) {
    result = System().RunDialog(*dialog, parent, procedure, parameter);
  }
  step.End({{"result", static_cast<std::int64_t>(result)}});
  return result;
}

BOOL WINAPI EndDialog(HWND dialog, INT_PTR result) {
  return System().End(dialog, result) ? TRUE : FALSE;
}

BOOL WINAPI SetDlgItemTextW(HWND dialog, int control, LPCWSTR text) {
  return System().SetText(dialog, control, text) ? TRUE : FALSE;
}
