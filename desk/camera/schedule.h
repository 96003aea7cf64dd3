// Acts at a camera time: writes to camera-wide nodes, made by a participant of the clock while a
// test waits.
#pragma once

#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "clock/clock.h"

namespace desk {

class Schedule {
 public:
  using Write = std::function<bool(const std::string& path, const std::string& value)>;

  Schedule(Clock& clock, Write write);
  ~Schedule();
  Schedule(const Schedule&) = delete;
  Schedule& operator=(const Schedule&) = delete;

  // "seconds path=value; seconds path=value; ...", counted from the next delivery. Replaces what
  // was there; empty clears it. False: not of that form.
  bool Set(const std::string& text);
  // A delivery starts, on its own thread: acts at its very beginning are made first.
  void DeliveryStarts();

 private:
  struct Act {
    TimePoint due;
    std::string path;
    std::string value;
  };

  void Run();

  Clock& mClock;
  Write mWrite;
  // Under the clock's lock.
  std::vector<Act> mPlanned;  // due counts from the next delivery
  std::vector<Act> mArmed;    // by time
  bool mRearmed = false;
  bool mStopped = false;
  std::thread mThread;
};

}  // namespace desk
