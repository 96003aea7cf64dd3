#include "clock/clock.h"

#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <utility>

#include "clock/semaphore.h"

namespace desk {

namespace {

std::int64_t SteadyNanoseconds() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

thread_local bool tTakesPart = false;
thread_local const std::function<void()>* tFirstWait = nullptr;

// One of the participants runs at a time: on one processor a hand-over costs no wake-up of another.
void ShareOneProcessor() {
  static const int processor = sched_getcpu();
  if (processor < 0) return;
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(static_cast<std::size_t>(processor), &set);
  pthread_setaffinity_np(pthread_self(), sizeof set, &set);
}

}  // namespace

struct Clock::Waiter {
  const std::function<bool()>* ready = nullptr;
  TimePoint deadline = kNever;
  std::uint64_t sequence = 0;
  bool takesPart = false;
  bool isReady = false;  // for what it waited for, not for its deadline
  Semaphore wake;
};

class Clock::Ticket {
 public:
  explicit Ticket(Role role) : mRole(role) {}
  Role mRole;
  Waiter mEntry;
};

TimePoint MachineTime() {
  return std::chrono::duration_cast<TimePoint>(std::chrono::nanoseconds(SteadyNanoseconds()));
}

std::optional<std::int64_t> ParseCalendarTime(const std::string& text) {
  std::tm fields = {};
  const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &fields);
  const int year = fields.tm_year + 1900;
  if (end == nullptr || *end != '\0' || year < 2000 || year > 2099) return std::nullopt;
  const int day = fields.tm_mday;
  const std::time_t time = timegm(&fields);
  if (fields.tm_mday != day) return std::nullopt;  // the 30th of February
  return time;
}

Clock::Clock(Kind kind, std::int64_t start)
    : mKind(kind), mStart(SteadyNanoseconds()), mCalendarStart(start) {}

Clock::~Clock() = default;

TimePoint Clock::Now() const {
  if (IsVirtual()) return TimePoint(mNow.load(std::memory_order_acquire));
  return std::chrono::duration_cast<TimePoint>(
      std::chrono::nanoseconds(SteadyNanoseconds() - mStart));
}

std::int64_t Clock::UnixTime() const {
  if (IsVirtual()) {
    return mCalendarStart + std::chrono::duration_cast<std::chrono::seconds>(Now()).count();
  }
  return std::time(nullptr);
}

CalendarTime Clock::Local(std::int64_t unixTime) const {
  const std::time_t time = unixTime;
  std::tm fields = {};
  // The virtual camera's calendar has no zone: its local time is what it counts.
  if (IsVirtual()) {
    gmtime_r(&time, &fields);
  } else {
    localtime_r(&time, &fields);
  }
  return {fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
          fields.tm_hour,        fields.tm_min,     fields.tm_sec};
}

bool Clock::Wait(const std::function<bool()>& ready, TimePoint deadline) {
  return WaitFor(ready, deadline, false);
}

void Clock::SleepUntil(TimePoint deadline) {
  WaitFor([] { return false; }, deadline, false);
}

bool Clock::WaitFor(const std::function<bool()>& ready, TimePoint deadline, bool last) {
  Waiter waiter;
  waiter.ready = &ready;
  waiter.deadline = deadline;
  waiter.takesPart = tTakesPart && IsVirtual();
  if (tFirstWait != nullptr) Change(*std::exchange(tFirstWait, nullptr));

  std::unique_lock lock(mLock);
  if (!mHalted && ready()) return true;
  Enqueue(waiter, last);
  if (IsVirtual()) return WaitVirtual(lock, waiter);
  lock.unlock();
  if (deadline == kNever) {
    waiter.wake.Wait();
    return true;
  }
  constexpr TimePoint kFarthest(1LL << 52);  // more than a century; keeps nanoseconds in range
  return WaitReal(waiter, mStart + std::chrono::nanoseconds(std::min(deadline, kFarthest)).count());
}

bool Clock::WaitOutside(const std::function<bool()>& ready, Duration patience) {
  Waiter waiter;
  waiter.ready = &ready;
  std::unique_lock lock(mLock);
  if (ready()) return true;
  Enqueue(waiter, false);
  lock.unlock();
  return WaitReal(waiter, SteadyNanoseconds() + std::chrono::nanoseconds(patience).count());
}

// deadline: nanoseconds of the machine's steady clock.
bool Clock::WaitReal(Waiter& waiter, std::int64_t deadline) {
  const bool woken = waiter.wake.WaitUntil(deadline);
  std::unique_lock lock(mLock);
  if (woken) return true;
  // Woken in the last moment: the post is on its way.
  if (waiter.isReady) {
    lock.unlock();
    waiter.wake.Wait();
    return true;
  }
  if (mHalted) {
    lock.unlock();
    waiter.wake.Wait();
  }
  Remove(waiter);
  return false;
}

bool Clock::WaitVirtual(std::unique_lock<std::mutex>& lock, Waiter& waiter) {
  if (waiter.takesPart) mTurnTaken = false;
  if (!mTurnTaken) GiveTurn();
  // Whoever owns the nearest deadline goes on without a switch.
  const auto self = std::find(mWoken.begin(), mWoken.end(), &waiter);
  const bool goesOn = self != mWoken.end();
  if (goesOn) mWoken.erase(self);
  PostWoken(lock);
  if (!goesOn) waiter.wake.Wait();
  return waiter.isReady;
}

void Clock::Enqueue(Waiter& waiter, bool last) {
  waiter.sequence = last ? std::numeric_limits<std::uint64_t>::max() : ++mSequence;
  mWaiters.push_back(&waiter);
}

void Clock::Remove(Waiter& waiter) {
  mWaiters.erase(std::find(mWaiters.begin(), mWaiters.end(), &waiter));
}

// A handful of threads wait at any time: looking at each beats keeping a heap that removals break.
Clock::Waiter* Clock::NearestDeadline() {
  const auto nearest =
      std::min_element(mWaiters.begin(), mWaiters.end(), [](const Waiter* a, const Waiter* b) {
        return a->deadline != b->deadline ? a->deadline < b->deadline : a->sequence < b->sequence;
      });
  return nearest == mWaiters.end() || (*nearest)->deadline == kNever ? nullptr : *nearest;
}

// Under the lock, while nobody has the turn: gives it to who is next, if anybody may run now.
void Clock::GiveTurn() {
  while (!mHalted) {
    if (!mReady.empty()) {
      mWoken.push_back(mReady.front());
      mReady.pop_front();
      mTurnTaken = true;
      return;
    }
    Waiter* const next = NearestDeadline();
    if (next == nullptr) return;
    if (next->deadline > Now()) {
      if (mMovers == 0) return;
      mNow.store(next->deadline.count(), std::memory_order_release);
    }
    Remove(*next);
    mWoken.push_back(next);
    if (next->takesPart) {
      mTurnTaken = true;
      return;
    }
  }
}

void Clock::PostWoken(std::unique_lock<std::mutex>& lock) {
  const std::vector<Waiter*> woken = std::move(mWoken);
  mWoken.clear();
  lock.unlock();
  for (Waiter* const waiter : woken) waiter->wake.Post();
}

void Clock::Change(const std::function<void()>& change) {
  std::unique_lock lock(mLock);
  if (mHalted && TakesPart()) {
    lock.unlock();
    Semaphore never;
    never.Wait();
  }
  change();
  if (mHalted) return;
  for (std::size_t i = 0; i < mWaiters.size();) {
    Waiter* const waiter = mWaiters[i];
    if (!(*waiter->ready)()) {
      ++i;
      continue;
    }
    waiter->isReady = true;
    mWaiters.erase(mWaiters.begin() + static_cast<std::ptrdiff_t>(i));
    if (waiter->takesPart) {
      mReady.push_back(waiter);
    } else {
      mWoken.push_back(waiter);
    }
  }
  if (IsVirtual() && !mTurnTaken) GiveTurn();
  PostWoken(lock);
}

void Clock::Settle() {
  if (IsVirtual()) WaitFor([] { return false; }, Now(), true);
}

bool Clock::TakesPart() {
  return tTakesPart;
}

void Clock::Advance(Duration duration) {
  if (!IsVirtual() || TakesPart()) {
    SleepUntil(Now() + duration);
    return;
  }
  const Participation mover(*this, Role::MovesTime);
  WaitFor([] { return false; }, Now() + duration, true);
}

void Clock::Halt() {
  const std::lock_guard lock(mLock);
  mHalted = true;
}

std::shared_ptr<Clock::Ticket> Clock::Prepare(Role role) {
  auto ticket = std::make_shared<Ticket>(role);
  if (!IsVirtual()) return ticket;
  std::unique_lock lock(mLock);
  if (role == Role::MovesTime) ++mMovers;
  ticket->mEntry.takesPart = true;
  mReady.push_back(&ticket->mEntry);
  if (!mTurnTaken) GiveTurn();
  PostWoken(lock);
  return ticket;
}

void Clock::Leave(Ticket& ticket) {
  if (!IsVirtual()) return;
  std::unique_lock lock(mLock);
  if (ticket.mRole == Role::MovesTime) --mMovers;
  mTurnTaken = false;
  GiveTurn();
  PostWoken(lock);
}

Clock::Participation::Participation(Clock& clock, Role role)
    : Participation(clock, clock.Prepare(role)) {}

Clock::Participation::Participation(Clock& clock, std::shared_ptr<Ticket> ticket,
                                    std::function<void()> firstWait)
    : mClock(clock), mTicket(std::move(ticket)), mFirstWait(std::move(firstWait)) {
  tTakesPart = true;
  if (mFirstWait) tFirstWait = &mFirstWait;
  if (!mClock.IsVirtual()) return;
  ShareOneProcessor();
  mTicket->mEntry.wake.Wait();
}

Clock::Participation::~Participation() {
  tTakesPart = false;
  if (mFirstWait) tFirstWait = nullptr;
  mClock.Leave(*mTicket);
}

}  // namespace desk
