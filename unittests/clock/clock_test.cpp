// The camera's time: who runs when, and when time moves.
#include "clock/clock.h"

#include <gtest/gtest.h>

#include <thread>

namespace test {
namespace {

using desk::Clock;
using namespace std::chrono_literals;

using Notes = std::vector<std::string>;

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

  Clock mClock{Clock::Kind::Virtual};
  Notes mNotes;

 private:
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
  EXPECT_EQ(mNotes, (Notes{"50 b", "100 a", "200 c", "200 b", "200 a", "200 c"}));
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
  EXPECT_EQ(mNotes, (Notes{"1000 tick"}));
  mClock.Advance(500ms);
  EXPECT_EQ(mClock.Now(), 1500ms);
  mClock.Advance(1500ms);
  EXPECT_EQ(mNotes, (Notes{"1000 tick", "2000 tick", "3000 tick"}));
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
  EXPECT_EQ(mNotes, (Notes{"5000 follower", "5000 mover"}));
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
  EXPECT_EQ(mNotes, (Notes{"0 first taken", "0 second taken", "1000 third timed out"}));
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
