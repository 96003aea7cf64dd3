// What waits for one thread that owns windows: the operator's input, a quit, its timers. Of what
// waits the order is: input, quit, paint (which the windows themselves know), timers; of two due
// timers the earlier first. A timer does not add up.
#pragma once

#include <windows.h>

#include <deque>
#include <optional>
#include <vector>

#include "clock/clock.h"

namespace desk {

class MessageQueue {
 public:
  void AddInput(const MSG& message) { mInput.push_back(message); }
  // However often it is posted, a thread is told once.
  void PostQuit(int exitCode) { mQuit = exitCode; }
  // A timer that is set again starts anew.
  void SetTimer(HWND window, std::uintptr_t timer, Duration period, TimePoint due);
  bool StopTimer(HWND window, std::uintptr_t timer);
  // A destroyed window gets nothing more.
  void ForgetWindow(HWND window);

  bool HasInput() const { return !mInput.empty(); }
  bool HasQuit() const { return mQuit.has_value(); }
  bool IsIdle() const { return !HasInput() && !HasQuit() && mTimers.empty(); }
  std::optional<TimePoint> NearestTimer() const;
  // When the slowest timer of a window is due.
  std::optional<TimePoint> SlowestTimer(HWND window) const;

  std::optional<MSG> TakeInput();
  std::optional<MSG> TakeQuit();
  std::optional<MSG> TakeTimer(TimePoint now);

 private:
  struct Timer {
    HWND window;
    std::uintptr_t id;
    Duration period;
    TimePoint due;
  };

  std::deque<MSG> mInput;
  std::optional<int> mQuit;  // the exit code
  std::vector<Timer> mTimers;
};

}  // namespace desk
