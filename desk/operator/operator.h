// The automatic operator: does at the camera what a person would, after a person's time. He is told
// which test was started.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "clock/clock.h"
#include "knobs/knob.h"

namespace desk {

class Operator {
 public:
  // moveDisplay: into the position given, out or in.
  Operator(Clock& clock, std::function<void(bool out)> moveDisplay);
  ~Operator();
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;

  KnobSet& Knobs() { return mKnobs; }
  // A delivery to that node of the program's tree starts, on its own thread.
  void DeliveryStarts(const std::string& path);

  static std::span<const KnobRow> KnobRows();

 private:
  void Run();
  void MoveDisplayInAndOut();
  bool Pause(Duration duration);

  Clock& mClock;
  std::function<void(bool)> mMoveDisplay;
  KnobSet mKnobs;
  // Under the clock's lock.
  bool mDisplayTestRuns = false;
  bool mStopped = false;
  std::thread mThread;
};

}  // namespace desk
