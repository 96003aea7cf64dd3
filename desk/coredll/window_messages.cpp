// What a thread is told: the operator's input, a quit, paint, timers.
#include <algorithm>
#include <utility>

#include "coredll/window_system.h"

namespace desk {

WindowSystem::Window* WindowSystem::TopDialog() {
  for (auto window = mWindows.rbegin(); window != mWindows.rend(); ++window) {
    if ((*window)->scene.isDialog && (*window)->visible && !(*window)->ended) return window->get();
  }
  return nullptr;
}
const WindowSystem::Window* WindowSystem::TopDialog() const {
  return const_cast<WindowSystem*>(this)->TopDialog();
}

bool WindowSystem::ReleaseKey(WPARAM code) {
  {
    const std::lock_guard lock(mLock);
    const Window* const dialog = TopDialog();
    if (dialog == nullptr || mLosesAllKeys || mLostKeys.contains(code)) return false;
    mQueues[dialog->thread].AddInput({dialog->handle, WM_KEYUP, code, 0, 0, {}});
  }
  Changed();
  return true;
}

void WindowSystem::LoseKeys(bool all, std::set<WPARAM> some) {
  const std::lock_guard lock(mLock);
  mLosesAllKeys = all;
  mLostKeys = std::move(some);
}

void WindowSystem::LosePanel(const Area& part) {
  const std::lock_guard lock(mLock);
  mLostPanel = part;
}

// The dialog's enabled button at a point of the screen; null: there is none, or no dialog.
Control* WindowSystem::ButtonAt(Window* dialog, int x, int y) const {
  if (dialog == nullptr || mLostPanel.Contains(x, y)) return nullptr;
  const Area client = dialog->scene.Client();
  for (Control& control : dialog->scene.controls) {
    const bool takes = control.kind == Control::Kind::Button && control.enabled;
    if (takes && control.area.Contains(x - client.x, y - client.y)) return &control;
  }
  return nullptr;
}

bool WindowSystem::Tap(int x, int y) {
  bool isTap = false;
  {
    const std::lock_guard lock(mLock);
    Window* const dialog = TopDialog();
    const Control* const button = ButtonAt(dialog, x, y);
    isTap = button != nullptr;
    if (isTap) Command(*dialog, *button);
  }
  if (isTap) Changed();
  return isTap;
}

// Under the lock.
void WindowSystem::Command(const Window& dialog, const Control& button) {
  mQueues[dialog.thread].AddInput(
      {dialog.handle, WM_COMMAND, static_cast<WPARAM>(button.id), 0, 0, {}});
}

// Under the lock.
void WindowSystem::LiftPointer() {
  for (const auto& window : mWindows) {
    for (Control& control : window->scene.controls) control.isPressed = false;
  }
}

void WindowSystem::PressPointer(int x, int y) {
  {
    const std::lock_guard lock(mLock);
    LiftPointer();
    Control* const button = ButtonAt(TopDialog(), x, y);
    if (button != nullptr) button->isPressed = true;
  }
  Changed();
}

// A tap counts where it was pressed and released within the same button.
bool WindowSystem::ReleasePointer(int x, int y) {
  bool isTap = false;
  {
    const std::lock_guard lock(mLock);
    Window* const dialog = TopDialog();
    const Control* const button = ButtonAt(dialog, x, y);
    isTap = button != nullptr && button->isPressed;
    if (isTap) Command(*dialog, *button);
    LiftPointer();
  }
  Changed();
  return isTap;
}

MessageQueue& WindowSystem::OwnQueue() {
  return mQueues[std::this_thread::get_id()];
}

// Under the lock: what waits already, but for timers.
std::optional<MSG> WindowSystem::TakeWaiting() {
  MessageQueue& queue = OwnQueue();
  if (const auto input = queue.TakeInput()) return input;
  if (const auto quit = queue.TakeQuit()) return quit;
  for (const auto& window : mWindows) {
    const bool isOwn = window->thread == std::this_thread::get_id();
    if (isOwn && window->needsPaint && window->visible) {
      return MSG{window->handle, WM_PAINT, 0, 0, 0, {}};
    }
  }
  return std::nullopt;
}

// Under the lock: threads come and go, and leave no queue behind.
void WindowSystem::ForgetIdleQueue() {
  const std::thread::id self = std::this_thread::get_id();
  const bool hasWindow = std::any_of(mWindows.begin(), mWindows.end(),
                                     [self](const auto& window) { return window->thread == self; });
  if (!hasWindow && mQueues[self].IsIdle()) mQueues.erase(self);
}

// False for the quit message.
bool WindowSystem::Take(MSG& message) {
  const std::thread::id self = std::this_thread::get_id();
  for (;;) {
    std::optional<TimePoint> nearest;
    {
      const std::lock_guard lock(mLock);
      if (const auto waiting = TakeWaiting()) {
        message = *waiting;
        if (message.message != WM_QUIT) return true;
        ForgetIdleQueue();
        return false;
      }
      nearest = OwnQueue().NearestTimer();
    }
    if (nearest && *nearest <= mClock.Now()) {
      // A key released in the same instant as the time-out still counts.
      mClock.Settle();
      const TimePoint now = mClock.Now();
      const std::lock_guard lock(mLock);
      if (OwnQueue().HasInput()) continue;
      if (const auto timer = OwnQueue().TakeTimer(now)) {
        message = *timer;
        return true;
      }
      continue;
    }
    mClock.Wait(
        [this, self] {
          const std::lock_guard lock(mLock);
          const MessageQueue& queue = mQueues[self];
          return queue.HasInput() || queue.HasQuit();
        },
        nearest.value_or(kNever));
  }
}

LRESULT WindowSystem::Dispatch(const MSG& message) {
  WNDPROC procedure = nullptr;
  DLGPROC dialogProcedure = nullptr;
  {
    const std::lock_guard lock(mLock);
    const Window* const window = Find(message.hwnd);
    if (window == nullptr) return 0;
    procedure = window->procedure;
    dialogProcedure = window->dialogProcedure;
  }
  if (procedure != nullptr) {
    return procedure(message.hwnd, message.message, message.wParam, message.lParam);
  }
  if (message.message == WM_PAINT) Validate(message.hwnd);
  return dialogProcedure(message.hwnd, message.message, message.wParam, message.lParam);
}

void WindowSystem::PostQuit(int exitCode) {
  const std::lock_guard lock(mLock);
  OwnQueue().PostQuit(exitCode);
}

bool WindowSystem::HasQuit() const {
  const std::lock_guard lock(mLock);
  const auto queue = mQueues.find(std::this_thread::get_id());
  return queue != mQueues.end() && queue->second.HasQuit();
}

bool WindowSystem::StartTimer(HWND window, std::uintptr_t id, Duration period) {
  period = std::max<Duration>(period, std::chrono::milliseconds(1));
  const TimePoint due = mClock.Now() + period;
  const std::lock_guard lock(mLock);
  if (Find(window) == nullptr) return false;
  OwnQueue().SetTimer(window, id, period, due);
  return true;
}

bool WindowSystem::StopTimer(HWND window, std::uintptr_t id) {
  const std::lock_guard lock(mLock);
  return OwnQueue().StopTimer(window, id);
}

}  // namespace desk
