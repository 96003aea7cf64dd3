// A part that a motor moves into the image path or out of it, and what can keep it from moving.
#pragma once

#include <mutex>

#include "clock/clock.h"
#include "knobs/knob.h"

namespace desk {

class MovedPart {
 public:
  // stuck: a text, "" or "in", "out", "half"; sticks: "skip,count" of its moves.
  MovedPart(Knob& stuck, Knob& sticks);

  // A part that is stuck stays, and stays there when it comes free, until it is moved again.
  void Move(bool in, TimePoint now);
  void Restore();

  // How much of the detector's width it covers, from the left: 0 to 1. As the next frame shows it.
  double Cover() const;
  // "in", "out"; "between" where it hangs in the middle, and until a travel (s) after a move began.
  std::string End(TimePoint now, double travel) const;

 private:
  Knob& mStuck;
  FaultCounter mSticks;
  mutable std::mutex mLock;
  double mCover = 0;
  TimePoint mMoved = -kNever;  // when it began to move last
};

}  // namespace desk
