// What stands behind the window, message, timer and drawing functions of windows.h: the windows of
// the camera's screen, the queues of the threads that own them, and the operator's input.
//
// Input reaches the top dialog alone and is dropped while there is none.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "clock/clock.h"
#include "coredll/dialog_layout.h"
#include "coredll/gdi_objects.h"
#include "coredll/message_queue.h"
#include "knobs/knob.h"
#include "picture/picture.h"

namespace desk {

// The dialog that takes keys and touches.
struct WaitingDialog {
  SceneWindow window;
  std::optional<TimePoint> timesOut;  // none: it waits for ever, or has seen all that it waits for
};

class WindowSystem {
 public:
  WindowSystem(Clock& clock, int width, int height);
  WindowSystem(const WindowSystem&) = delete;
  WindowSystem& operator=(const WindowSystem&) = delete;

  int Width() const { return mWidth; }
  int Height() const { return mHeight; }
  KnobSet& Knobs() { return mKnobs; }

  // The operator. False when nothing takes it.
  bool ReleaseKey(WPARAM code);
  // A finger's tap in one; the pair is the mouse's, which may slide.
  bool Tap(int x, int y);
  void PressPointer(int x, int y);
  bool ReleasePointer(int x, int y);

  // What is broken: keys that send nothing, all of them or some; the part of the touch panel that
  // feels nothing.
  void LoseKeys(bool all, std::set<WPARAM> some);
  void LosePanel(const Area& part);

  // From the lowest to the top.
  std::vector<SceneWindow> Scene() const;
  // The uppermost window of which something lies on the screen.
  std::optional<SceneWindow> TopOnScreen() const;
  // Wherever it lies: the one that asks about a picture lies beside the screen.
  std::optional<WaitingDialog> DialogNow() const;
  // Grows with whatever can be seen. Others may wait for it.
  std::uint64_t Changes() const;

  // The functions of windows.h, on the calling thread.
  bool Register(const WNDCLASSW& windowClass);
  bool Unregister(const std::wstring& name);
  HWND Create(const std::wstring& className, const std::wstring& title, Area area);
  bool Destroy(HWND window);
  bool Show(HWND window);
  bool Move(HWND window, std::optional<POINT> to, std::optional<POINT> size);
  bool Rectangle(HWND window, RECT& rectangle) const;
  bool ClientRectangle(HWND window, RECT& rectangle) const;
  HWND Parent(HWND window) const;
  std::optional<std::wstring> Title(HWND window) const;
  bool Exists(HWND window) const;

  INT_PTR RunDialog(const DialogTemplate& dialog, HWND parent, DLGPROC procedure, LPARAM parameter);
  bool DialogsAreShown() const;
  bool End(HWND dialog, INT_PTR result);
  bool SetText(HWND dialog, int control, const std::wstring& text);

  bool Take(MSG& message);
  LRESULT Dispatch(const MSG& message);
  void PostQuit(int exitCode);
  bool StartTimer(HWND window, std::uintptr_t timer, Duration period);
  bool StopTimer(HWND window, std::uintptr_t timer);
  void Invalidate(HWND window, bool erase);
  // The window is painted: it waits for no WM_PAINT any more.
  bool Validate(HWND window);
  bool Draw(HWND window, const Picture& picture, const Area& from, const Area& to);

  GdiObjects& Gdi() { return mGdi; }
  // What the program has not given back.
  std::size_t Objects() const { return mGdi.Count(); }
  std::size_t Windows() const;
  bool HasQuit() const;  // waiting in the calling thread's queue

 private:
  struct WindowClass {
    WNDPROC procedure;
    HGDIOBJ brush;
  };
  struct Window {
    HWND handle = nullptr;
    std::wstring className;
    HWND parent = nullptr;
    std::thread::id thread;
    WNDPROC procedure = nullptr;
    DLGPROC dialogProcedure = nullptr;
    bool visible = false;
    bool needsPaint = false;
    bool ended = false;
    INT_PTR result = 0;
    SceneWindow scene;
  };
  enum Row : std::size_t { kWindows, kDialogs, kTitle, kText };

  Window* Find(HWND window);
  const Window* Find(HWND window) const;
  Window* TopDialog();
  const Window* TopDialog() const;
  Control* ButtonAt(Window* dialog, int x, int y) const;
  void Command(const Window& dialog, const Control& button);
  void LiftPointer();
  HWND GiveHandle(Window& window);
  HWND MakeDialog(const DialogTemplate& dialog, HWND parent, DLGPROC procedure);
  std::optional<INT_PTR> ResultOfDialog(HWND dialog) const;
  MessageQueue& OwnQueue();
  std::optional<MSG> TakeWaiting();
  void ForgetIdleQueue();
  void Erase(Window& window, const Area& area);
  void Remove(HWND window);
  void Changed();
  std::string TopTitle() const;
  std::string TopText() const;

  Clock& mClock;
  const int mWidth;
  const int mHeight;
  KnobSet mKnobs;
  bool mLosesAllKeys = false;
  std::set<WPARAM> mLostKeys;
  Area mLostPanel = {};
  mutable std::mutex mLock;  // never held while the clock is asked, or a procedure runs
  std::uintptr_t mNextHandle = 0x10000;
  unsigned mWindowsMade = 0;
  std::uint64_t mChanges = 0;
  std::map<std::wstring, WindowClass> mClasses;
  std::vector<std::unique_ptr<Window>> mWindows;  // from the lowest to the top
  std::map<std::thread::id, MessageQueue> mQueues;
  GdiObjects mGdi;
};

}  // namespace desk
