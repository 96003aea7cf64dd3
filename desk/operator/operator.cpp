#include "operator/operator.h"

#include <algorithm>
#include <sstream>

#include "coredll/text.h"

namespace desk {

namespace {

constexpr std::string_view kDisplayTest = "test.items.LCDMagnet.detect";
constexpr std::wstring_view kTarget = L"Hit me!";
constexpr std::wstring_view kLaserTitle = L"Laser Test";
constexpr std::wstring_view kGoodVerdict = L"LCD Test OK";
constexpr std::wstring_view kFaultyVerdict = L"LCD Test FAILED";
constexpr int kLaserHeld = 1;  // s, at most

bool Lists(const std::string& list, const std::string& name) {
  const std::vector<std::string> names = SplitNames(list);
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool Shows(const SceneWindow& window, std::wstring_view label) {
  return std::any_of(window.controls.begin(), window.controls.end(),
                     [label](const Control& control) { return control.label == label; });
}

constexpr KnobRow kRows[] = {
    {"mode", KnobKind::Text, "", "", 0, 0,
     "none: nobody is there; auto: the automatic operator acts. Empty: auto on the virtual clock, "
     "none on the real one.",
     Condition("whether somebody is at the camera")},
    {"reaction", KnobKind::Number, "s", "0.7", 0, 1e6, "His time from one act to the next.",
     Condition("how quick the operator is").Within(0.3, 1.2)},
    {"moves", KnobKind::Integer, "", "6", 0, 1000,
     "How often he moves the display in or out when its test runs.",
     Condition("how often the operator moves the display").Within(6, 9)},
    {"misses", KnobKind::Text, "captions", "", 0, 0,
     "Keys that he does not press, as they are named in the dialog, separated by commas.",
     Condition("which keys the operator forgets")},
    {"twice", KnobKind::Text, "captions", "", 0, 0, "Keys that he presses twice.",
     Condition("which keys the operator presses twice")},
    {"others", KnobKind::Text, "keys", "", 0, 0,
     "What else he presses when a key dialog comes, before all others: names or codes, separated "
     "by commas.",
     Condition("which keys the operator presses besides")},
    {"targets", KnobKind::Text, "numbers", "1,2,3,4,5,6,7,8,9", 0, 0,
     "Targets that he touches, separated by commas.",
     Condition("which targets the operator touches")},
    {"laser", KnobKind::Number, "s", "0.7", -1, 1e6,
     "When he presses the laser button after its dialog came; below 0: never.",
     Condition("when the operator presses the laser button").Within(0.3, 6)},
    {"faulty", KnobKind::Integer, "", "0", 0, 1000,
     "The image of a run that he reports as faulty; 0: none.",
     Condition("which image the operator finds faulty")},
    {"unanswered", KnobKind::Integer, "", "0", 0, 1000,
     "The image of a run that he does not answer, nor the verdict after it; 0: none.",
     Condition("which image the operator does not answer")},
};
constexpr KnobFamily kFamily = {"Automatic operator", ".desk.operator", kRows};

}  // namespace

Operator::Operator(Clock& clock, WindowSystem& windows, CameraKeypad keypad, OperatorHands hands)
    : mClock(clock),
      mWindows(windows),
      mKeypad(std::move(keypad)),
      mHands(std::move(hands)),
      mKnobs(kFamily) {
  mKnobs[kMode].OnWrite([this](const KnobValue& value) {
    const auto& mode = std::get<std::string>(value);
    if (!mode.empty() && mode != "none" && mode != "auto") return false;
    mClock.Change([this, &mode] {
      mActs = mode.empty() ? mClock.IsVirtual() : mode == "auto";
      mIsCalled = true;
    });
    return true;
  });
  mKnobs[kOthers].OnWrite([this](const KnobValue& value) {
    const std::vector<std::string> names = SplitNames(std::get<std::string>(value));
    return std::all_of(names.begin(), names.end(), [this](const std::string& name) {
      return ParseKey(name, mKeypad).has_value();
    });
  });
  mKnobs[kTargets].OnWrite([](const KnobValue& value) {
    return std::get<std::string>(value).find_first_not_of("123456789, ") == std::string::npos;
  });
  mActs = mClock.IsVirtual();
  auto ticket = mClock.Prepare(Clock::Role::Follows);
  mThread = std::thread([this, ticket = std::move(ticket)] {
    const Clock::Participation participation(mClock, ticket);
    Run();
  });
}

Operator::~Operator() {
  mClock.Change([this] { mStopped = true; });
  mThread.join();
}

void Operator::DeliveryStarts(const std::string& path) {
  if (!mActs || path != kDisplayTest) return;
  mClock.Change([this] { mDisplayTestRuns = true; });
}

Operator::Sight Operator::Look() const {
  auto top = mWindows.TopOnScreen();
  return top ? Sight{true, std::move(*top)} : Sight{};
}

bool Operator::StillSees(const Sight& sight) const {
  const Sight now = Look();
  return now.hasWindow && now.window.number == sight.window.number &&
         now.window.drawn == sight.window.drawn;
}

// False when he is called off.
bool Operator::Pause(double seconds) {
  const auto duration = FromSeconds(seconds);
  return !mClock.Wait([this] { return mStopped || !mActs; }, mClock.Now() + duration);
}

void Operator::MoveDisplayInAndOut() {
  const int moves = static_cast<int>(mKnobs[kMoves].Number());
  for (int move = 0; move < moves; ++move) {
    if (!PauseBeforeAct()) return;
    mHands.moveDisplay(move % 2 == 1);
  }
}

// Every key that the dialog shows, the camera has and nobody hit yet, once, in the dialog's order.
void Operator::HitKeys(const Sight& sight) {
  for (const std::string& name : SplitNames(mKnobs[kOthers].Text())) {
    const auto code = ParseKey(name, mKeypad);
    if (!PauseBeforeAct() || !StillSees(sight)) return;
    if (code) Press(*code);
  }
  for (const Control& control : sight.window.controls) {
    const std::string caption = ToUtf8(control.label);
    const auto code = mKeypad.CodeOf(caption);
    const bool isKey = control.kind == Control::Kind::Button && code;
    if (!isKey || control.isHit || Lists(mKnobs[kMisses].Text(), caption)) continue;
    const int times = Lists(mKnobs[kTwice].Text(), caption) ? 2 : 1;
    for (int time = 0; time < times; ++time) {
      if (!PauseBeforeAct() || !StillSees(sight)) return;
      Press(*code);
    }
  }
}

void Operator::TouchTargets(const Sight& sight) {
  int target = 0;
  for (const Control& control : sight.window.controls) {
    if (control.label != kTarget) continue;
    if (!Lists(mKnobs[kTargets].Text(), std::to_string(++target)) || control.isHit) continue;
    if (!PauseBeforeAct() || !StillSees(sight)) return;
    const Area client = sight.window.Client();
    const int x = client.x + control.area.x + control.area.width / 2;
    const int y = client.y + control.area.y + control.area.height / 2;
    mWindows.Tap(x, y);
  }
}

void Operator::PressLaser(const Sight& sight) {
  const double after = mKnobs[kLaser].Number();
  if (after < 0 || !Pause(after) || !StillSees(sight)) return;
  mHands.pressLaser(true);
  // Until the dialog has seen it.
  const TimePoint deadline = mClock.Now() + std::chrono::seconds(kLaserHeld);
  while (StillSees(sight) && mClock.Now() < deadline) {
    const std::uint64_t seen = mWindows.Changes();
    mClock.Wait([this, seen] { return mStopped || !mActs || mWindows.Changes() != seen; },
                deadline);
    if (mStopped || !mActs) break;
  }
  mHands.pressLaser(false);
}

void Operator::AcknowledgeVerdict(const Sight& sight) {
  const bool keepsSilent = mImage != 0 && mImage == static_cast<int>(mKnobs[kUnanswered].Number());
  if (keepsSilent || !PauseBeforeAct() || !StillSees(sight)) return;
  Press(mKeypad.good);
}

// A picture on the screen is the question; where nobody asks, the key is dropped.
void Operator::JudgeImage(const Sight& sight) {
  ++mImage;
  if (mImage == static_cast<int>(mKnobs[kUnanswered].Number())) return;
  if (!PauseBeforeAct() || !StillSees(sight)) return;
  const bool isFaulty = mImage == static_cast<int>(mKnobs[kFaulty].Number()) || mHands.seesDamage();
  Press(isFaulty ? mKeypad.faulty : mKeypad.good);
}

void Operator::React() {
  const Sight sight = Look();
  if (!sight.hasWindow) {
    mImage = 0;
    return;
  }
  const SceneWindow& window = sight.window;
  if (window.number == mHandledWindow && window.drawn == mHandledPictures) return;
  mHandledWindow = window.number;
  mHandledPictures = window.drawn;
  if (!window.isDialog) {
    if (window.drawn > 0) JudgeImage(sight);
  } else if (Shows(window, kTarget)) {
    TouchTargets(sight);
  } else if (window.title == kLaserTitle) {
    PressLaser(sight);
  } else if (Shows(window, kGoodVerdict) || Shows(window, kFaultyVerdict)) {
    AcknowledgeVerdict(sight);
  } else {
    HitKeys(sight);
  }
}

void Operator::Run() {
  for (;;) {
    bool stopped = false;
    bool movesDisplay = false;
    mClock.Wait(
        [&] {
          const std::uint64_t changes = mWindows.Changes();
          stopped = mStopped;
          movesDisplay = mDisplayTestRuns;
          const bool called = stopped || movesDisplay || mIsCalled || changes != mSeenChanges;
          // Sent for, he looks at what is there with fresh eyes.
          if (mIsCalled) mHandledWindow = 0;
          mIsCalled = false;
          mDisplayTestRuns = false;
          mSeenChanges = changes;
          return called;
        },
        kNever);
    if (stopped) return;
    if (movesDisplay) MoveDisplayInAndOut();
    if (mActs) React();
  }
}

}  // namespace desk
