#include "operator/operator.h"

namespace desk {

namespace {

constexpr std::string_view kDisplayTest = "test.items.LCDMagnet.detect";

enum Row : std::size_t { kMode, kReaction, kMoves };

constexpr KnobRow kRows[] = {
    {"mode", KnobKind::Text, "", "", 0, 0,
     "none: nobody is there; auto: the automatic operator acts. Empty: auto on the virtual clock, "
     "none on the real one."},
    {"reaction", KnobKind::Number, "s", "0.7", 0, 1e6, "His time from one act to the next."},
    {"moves", KnobKind::Integer, "", "6", 0, 1000,
     "How often he moves the display in or out when its test runs."},
};

}  // namespace

std::span<const KnobRow> Operator::KnobRows() {
  return kRows;
}

Operator::Operator(Clock& clock, std::function<void(bool)> moveDisplay)
    : mClock(clock), mMoveDisplay(std::move(moveDisplay)), mKnobs(".desk.operator", kRows) {
  mKnobs[kMode].OnWrite([](const KnobValue& value) {
    const auto& mode = std::get<std::string>(value);
    return mode.empty() || mode == "none" || mode == "auto";
  });
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
  const std::string mode = mKnobs[kMode].Text();
  const bool acts = mode.empty() ? mClock.IsVirtual() : mode == "auto";
  if (!acts || path != kDisplayTest) return;
  mClock.Change([this] { mDisplayTestRuns = true; });
}

// False when he is called off.
bool Operator::Pause(Duration duration) {
  return !mClock.Wait([this] { return mStopped; }, mClock.Now() + duration);
}

void Operator::MoveDisplayInAndOut() {
  const auto reaction = std::chrono::duration_cast<Duration>(
      std::chrono::duration<double>(mKnobs[kReaction].Number()));
  const int moves = static_cast<int>(mKnobs[kMoves].Number());
  for (int move = 0; move < moves; ++move) {
    if (!Pause(reaction)) return;
    mMoveDisplay(move % 2 == 1);
  }
}

void Operator::Run() {
  for (;;) {
    bool stopped = false;
    mClock.Wait(
        [&] {
          stopped = mStopped;
          const bool called = stopped || mDisplayTestRuns;
          mDisplayTestRuns = false;
          return called;
        },
        kNever);
    if (stopped) return;
    MoveDisplayInAndOut();
  }
}

}  // namespace desk
