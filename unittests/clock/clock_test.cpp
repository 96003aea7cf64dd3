// The camera's time: who runs when, and when time moves.
#include "clock/clock.h"

#include <gtest/gtest.h>

#include <thread>

namespace test {
namespace {

using desk::Clock;
using namespace std::chrono_literals;

// Threads that take part, and what they did in which order.
class VirtualClockTest : public ::testing::Test {
 public:
  ~VirtualClockTest() override { Join(); }

 protected:
  void Start(Clock::Role role, std::function<void()> body) {
    auto ticket = mClock.Prepare(role);
    mThreads.emplace_back([this, ticket, body = std::move(body)] {
      const Clock::Participation participation(mClock, ticket);
      body();
    });
  }
  void Join() {
    for (std::thread& thread : mThreads) thread.join();
    mThreads.clear();
  }
  void Note(const std::string& what) {
    mClock.Change([&] { mNotes.push_back(std::to_string(mClock.Now() / 1ms) + " " + what); });
  }
  using Notes = std::vector<std::string>;
  Notes TakenNotes() {
    Notes notes;
    mClock.Change([&] { notes = mNotes; });
    return notes;
  }

  Clock mClock{Clock::Kind::Virtual};

 private:
  Notes mNotes;
  std::vector<std::thread> mThreads;
};

TEST_F(VirtualClockTest, JumpsToTheNearestDeadlineAndRunsEqualOnesInTheOrderOfTheirWaits) {
  bool go = false;
  const auto sleeper = [this, &go](const std::string& name, std::chrono::milliseconds first,
                                   std::chrono::milliseconds second) {
    return [this, &go, name, first, second] {
      mClock.Wait([&go] { return go; }, desk::kNever);
      for (const auto length : {first, second}) {
        mClock.SleepUntil(mClock.Now() + length);
        Note(name);
      }
    };
  };
  Start(Clock::Role::MovesTime, sleeper("a", 100ms, 100ms));
  Start(Clock::Role::MovesTime, sleeper("b", 50ms, 150ms));
  Start(Clock::Role::MovesTime, sleeper("c", 200ms, 0ms));
  mClock.Change([&go] { go = true; });
  Join();
  // At 200 ms: c began to wait at 0, b at 50, a at 100; c's second wait came last of all.
  EXPECT_EQ(TakenNotes(), (Notes{"50 b", "100 a", "200 c", "200 b", "200 a", "200 c"}));
}

TEST_F(VirtualClockTest, StandsStillWhileNobodyMovesIt) {
  Start(Clock::Role::Follows, [this] {
    for (int i = 0; i < 3; ++i) {
      mClock.SleepUntil(mClock.Now() + 1s);
      Note("tick");
    }
  });
  EXPECT_FALSE(mClock.WaitOutside([] { return false; }, 1ms));
  EXPECT_EQ(mClock.Now(), 0s);
  mClock.Advance(1s);  // what is due at its very end has run
  EXPECT_EQ(TakenNotes(), (Notes{"1000 tick"}));
  mClock.Advance(500ms);
  EXPECT_EQ(mClock.Now(), 1500ms);
  mClock.Advance(1500ms);
  EXPECT_EQ(TakenNotes(), (Notes{"1000 tick", "2000 tick", "3000 tick"}));
}

TEST_F(VirtualClockTest, DeadlinesAlreadyDueStillRunWhenTheMoverLeaves) {
  Start(Clock::Role::Follows, [this] {
    mClock.SleepUntil(5s);
    Note("follower");
  });
  Start(Clock::Role::MovesTime, [this] {
    mClock.SleepUntil(5s);
    Note("mover");
  });
  Join();
  EXPECT_EQ(TakenNotes(), (Notes{"5000 follower", "5000 mover"}));
}

TEST_F(VirtualClockTest, ChangeWakesWaitersInTheOrderOfTheirWaitsAndOnlyThoseItConcerns) {
  int signals = 0;
  const auto taker = [&signals] {
    if (signals == 0) return false;
    --signals;
    return true;
  };
  for (const char* const name : {"first", "second", "third"}) {
    Start(Clock::Role::Follows, [this, taker, name] {
      const bool taken = mClock.Wait(taker, 1s);
      Note(std::string(name) + (taken ? " taken" : " timed out"));
    });
  }
  mClock.Advance(0s);  // all three wait
  mClock.Change([&signals] { signals = 2; });
  mClock.Advance(1s);
  Join();
  EXPECT_EQ(TakenNotes(), (Notes{"0 first taken", "0 second taken", "1000 third timed out"}));
}

TEST_F(VirtualClockTest, OutsidersWaitWithoutATurn) {
  bool done = false;
  std::thread outsider([&] {
    mClock.Wait([&done] { return done; }, desk::kNever);
    Note("outsider");
  });
  Start(Clock::Role::MovesTime, [&] {
    mClock.SleepUntil(1s);
    mClock.Change([&done] { done = true; });
  });
  Join();
  outsider.join();
  EXPECT_EQ(TakenNotes(), (Notes{"1000 outsider"}));
}

TEST_F(VirtualClockTest, HasOneParticipantRunningAtATime) {
  int running = 0;  // unguarded: the hand-over alone orders it
  int most = 0;
  bool go = false;
  for (int i = 0; i < 4; ++i) {
    Start(Clock::Role::MovesTime, [&] {
      mClock.Wait([&go] { return go; }, desk::kNever);
      for (int step = 0; step < 500; ++step) {
        ++running;
        std::this_thread::yield();
        most = std::max(most, running);
        --running;
        mClock.SleepUntil(mClock.Now() + 1ms);
      }
    });
  }
  mClock.Change([&go] { go = true; });
  Join();
  EXPECT_EQ(most, 1);
  EXPECT_EQ(mClock.Now(), 500ms);
}

TEST_F(VirtualClockTest, CalendarStartsAtNoonAndCountsWithTheClock) {
  const auto fields = [this] {
    const desk::CalendarTime now = mClock.Local(mClock.UnixTime());
    return std::vector<int>{now.year, now.month, now.day, now.hour, now.minute, now.second};
  };
  EXPECT_EQ(fields(), (std::vector<int>{2013, 8, 29, 12, 0, 0}));
  mClock.Advance(std::chrono::hours(60) + 61s);
  EXPECT_EQ(fields(), (std::vector<int>{2013, 9, 1, 0, 1, 1}));
}

TEST(RealClockTest, WakesAtTheDeadlineOrTheChangeWhicheverComesFirst) {
  Clock clock(Clock::Kind::Real);
  const desk::TimePoint start = clock.Now();
  EXPECT_FALSE(clock.Wait([] { return false; }, start + 2ms));
  EXPECT_GE(clock.Now(), start + 2ms);
  bool set = false;
  std::thread changer([&] { clock.Change([&set] { set = true; }); });
  EXPECT_TRUE(clock.Wait([&set] { return set; }, desk::kNever));
  changer.join();
}

}  // namespace
}  // namespace test
