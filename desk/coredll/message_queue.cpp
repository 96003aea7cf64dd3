#include "coredll/message_queue.h"

#include <algorithm>

namespace desk {

void MessageQueue::SetTimer(HWND window, std::uintptr_t timer, Duration period, TimePoint due) {
  StopTimer(window, timer);
  mTimers.push_back({window, timer, period, due});
}

bool MessageQueue::StopTimer(HWND window, std::uintptr_t timer) {
  return std::erase_if(mTimers, [&](const Timer& each) {
           return each.window == window && each.id == timer;
         }) > 0;
}

void MessageQueue::ForgetWindow(HWND window) {
  std::erase_if(mTimers, [window](const Timer& timer) { return timer.window == window; });
  std::erase_if(mInput, [window](const MSG& message) { return message.hwnd == window; });
}

std::optional<TimePoint> MessageQueue::NearestTimer() const {
  std::optional<TimePoint> nearest;
  for (const Timer& timer : mTimers) {
    if (!nearest || timer.due < *nearest) nearest = timer.due;
  }
  return nearest;
}

std::optional<TimePoint> MessageQueue::SlowestTimer(HWND window) const {
  const Timer* slowest = nullptr;
  for (const Timer& timer : mTimers) {
    if (timer.window != window) continue;
    if (slowest == nullptr || timer.period > slowest->period) slowest = &timer;
  }
  return slowest == nullptr ? std::nullopt : std::optional(slowest->due);
}

std::optional<MSG> MessageQueue::TakeInput() {
  if (mInput.empty()) return std::nullopt;
  const MSG message = mInput.front();
  mInput.pop_front();
  return message;
}

std::optional<MSG> MessageQueue::TakeQuit() {
  if (!mQuit) return std::nullopt;
  const MSG message = {nullptr, WM_QUIT, static_cast<WPARAM>(*mQuit), 0, 0, {}};
  mQuit.reset();
  return message;
}

std::optional<MSG> MessageQueue::TakeTimer(TimePoint now) {
  Timer* next = nullptr;
  for (Timer& timer : mTimers) {
    if (timer.due <= now && (next == nullptr || timer.due < next->due)) next = &timer;
  }
  if (next == nullptr) return std::nullopt;
  next->due = now + next->period;
  return MSG{next->window, WM_TIMER, next->id, 0, 0, {}};
}

}  // namespace desk
