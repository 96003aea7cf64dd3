// The automatic operator: does at the camera what a person would, after a person's time. He reads
// what is on the screen and knows the camera's keypad; of tests that show nothing he is told.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

#include "clock/clock.h"
#include "coredll/window_system.h"
#include "knobs/knob.h"
#include "operator/key_names.h"

namespace desk {

// What he can do and see besides keys, touches and dialogs.
struct OperatorHands {
  std::function<void(bool out)> moveDisplay;
  std::function<void(bool pressed)> pressLaser;
  std::function<bool()> seesDamage;  // of the pictures that the display shows
};

class Operator {
 public:
  Operator(Clock& clock, WindowSystem& windows, CameraKeypad keypad, OperatorHands hands);
  ~Operator();
  Operator(const Operator&) = delete;
  Operator& operator=(const Operator&) = delete;

  KnobSet& Knobs() { return mKnobs; }
  // A delivery to that node of the program's tree starts, on its own thread.
  void DeliveryStarts(const std::string& path);

 private:
  // What he sees: the uppermost window that lies on the screen.
  struct Sight {
    bool hasWindow = false;
    SceneWindow window;
  };
  Sight Look() const;
  bool StillSees(const Sight& sight) const;

  void Run();
  void React();
  bool Pause(double seconds);
  bool PauseBeforeAct() { return Pause(mKnobs[kReaction].Number()); }
  void Press(KeyCode code) { mWindows.ReleaseKey(code); }

  void MoveDisplayInAndOut();
  void HitKeys(const Sight& sight);
  void TouchTargets(const Sight& sight);
  void PressLaser(const Sight& sight);
  void AcknowledgeVerdict(const Sight& sight);
  void JudgeImage(const Sight& sight);

  enum Row : std::size_t {
    kMode,
    kReaction,
    kMoves,
    kMisses,
    kTwice,
    kOthers,
    kTargets,
    kLaser,
    kFaulty,
    kUnanswered,
  };

  Clock& mClock;
  WindowSystem& mWindows;
  const CameraKeypad mKeypad;
  const OperatorHands mHands;
  KnobSet mKnobs;
  // His own thread's.
  std::uint64_t mSeenChanges = 0;
  unsigned mHandledWindow = 0;
  unsigned mHandledPictures = 0;
  int mImage = 0;  // since the screen was last the camera's own
  // Changed under the clock's lock.
  std::atomic<bool> mActs{false};
  std::atomic<bool> mStopped{false};
  bool mIsCalled = false;
  bool mDisplayTestRuns = false;
  std::thread mThread;
};

}  // namespace desk
