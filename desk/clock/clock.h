// The camera's time. Everything that sleeps, waits or reads the time does it here.
//
// Real: the machine's steady clock. Virtual: discrete events. Under virtual time the threads that
// take part run one at a time; when all of them wait, time jumps to the nearest deadline, equal
// deadlines in the order in which their waits began. It jumps only while somebody moves it (a
// delivery of a client's write, an advance); otherwise only deadlines already due still run. The
// same waits in the same order therefore always give the same course of events.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace desk {

using Duration = std::chrono::microseconds;
using TimePoint = std::chrono::microseconds;  // since the camera's start

constexpr TimePoint kNever = TimePoint::max();

inline double ToSeconds(Duration duration) {
  return std::chrono::duration<double>(duration).count();
}
inline double ToMilliseconds(Duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}
inline Duration FromSeconds(double seconds) {
  return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(seconds));
}

// 2013-08-29 12:00:00, when the virtual camera is switched on unless told otherwise.
constexpr std::int64_t kUsualStart = 1377777600;
// "2013-08-29T12:00:00", in the years that a camera's clock chip can tell: 2000 to 2099.
std::optional<std::int64_t> ParseCalendarTime(const std::string& text);

// The machine's own, whatever the camera's clock does.
TimePoint MachineTime();

struct CalendarTime {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

class Clock {
 public:
  enum class Kind { Real, Virtual };
  // Whether a thread that takes part lets virtual time pass.
  enum class Role { Follows, MovesTime };

  // start: of the virtual camera, seconds since 1970-01-01 of its calendar.
  explicit Clock(Kind kind, std::int64_t start = kUsualStart);
  ~Clock();
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;

  bool IsVirtual() const { return mKind == Kind::Virtual; }
  TimePoint Now() const;
  // Seconds since 1970-01-01 of the camera's calendar, and its local fields.
  std::int64_t UnixTime() const;
  CalendarTime Local(std::int64_t unixTime) const;

  // Blocks until ready() holds, true, or the deadline comes, false. ready runs under the clock's
  // lock, on any thread, and may take what it waited for; it must not call the clock.
  bool Wait(const std::function<bool()>& ready, TimePoint deadline);
  void SleepUntil(TimePoint deadline);
  // The same for a thread that does not take part, bounded by the machine's own time also when the
  // camera's stands still.
  bool WaitOutside(const std::function<bool()>& ready, Duration patience);
  // Makes a change that others may be waiting for, under the clock's lock, and wakes those for
  // whom it holds, in the order in which they began to wait.
  void Change(const std::function<void()>& change);

  // For a thread that takes part: returns after everything else that is due now.
  void Settle();
  // Whether the calling thread takes part.
  static bool TakesPart();
  // Lets time pass; returns after everything due up to and including that instant.
  void Advance(Duration duration);

  // Nobody wakes any more and nobody enters: the process is about to end, and threads that still
  // wait must not touch what it releases.
  void Halt();

  // A thread takes part from construction to destruction. Prepare reserves its turn before the
  // thread exists, so that the order does not depend on how soon it starts.
  class Ticket;
  std::shared_ptr<Ticket> Prepare(Role role);
  class Participation {
   public:
    Participation(Clock& clock, Role role);
    // firstWait: done once, under the clock's lock, when the thread is about to wait for the first
    // time.
    Participation(Clock& clock, std::shared_ptr<Ticket> ticket,
                  std::function<void()> firstWait = {});
    ~Participation();
    Participation(const Participation&) = delete;
    Participation& operator=(const Participation&) = delete;

   private:
    Clock& mClock;
    std::shared_ptr<Ticket> mTicket;
    std::function<void()> mFirstWait;
  };

 private:
  struct Waiter;

  bool WaitFor(const std::function<bool()>& ready, TimePoint deadline, bool last);
  bool WaitReal(Waiter& waiter, std::int64_t deadline);
  bool WaitVirtual(std::unique_lock<std::mutex>& lock, Waiter& waiter);
  Waiter* NearestDeadline();
  void Enqueue(Waiter& waiter, bool last);
  void Remove(Waiter& waiter);
  void GiveTurn();
  void Leave(Ticket& ticket);
  void PostWoken(std::unique_lock<std::mutex>& lock);

  const Kind mKind;
  const std::int64_t mStart;  // ns of the machine's steady clock
  const std::int64_t mCalendarStart;

  mutable std::mutex mLock;
  std::atomic<std::int64_t> mNow{0};  // virtual; us
  std::uint64_t mSequence = 0;
  std::vector<Waiter*> mWaiters;  // in the order in which their waits began
  std::deque<Waiter*> mReady;     // take part, and wait for their turn
  std::vector<Waiter*> mWoken;    // to be posted after the lock is released
  bool mTurnTaken = false;
  int mMovers = 0;
  bool mHalted = false;
};

}  // namespace desk
