#include "camera/schedule.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>

namespace desk {

namespace {

constexpr double kMostSeconds = 1e9;

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace

Schedule::Schedule(Clock& clock, Write write) : mClock(clock), mWrite(std::move(write)) {
  auto ticket = mClock.Prepare(Clock::Role::Follows);
  mThread = std::thread([this, ticket = std::move(ticket)] {
    const Clock::Participation participation(mClock, ticket);
    Run();
  });
}

Schedule::~Schedule() {
  mClock.Change([this] { mStopped = true; });
  mThread.join();
}

bool Schedule::Set(const std::string& text) {
  std::vector<Act> acts;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    const std::string_view entry = Trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (entry.empty()) continue;
    double seconds = 0;
    const auto parsed = std::from_chars(entry.data(), entry.data() + entry.size(), seconds);
    const std::string_view write =
        Trimmed(entry.substr(static_cast<std::size_t>(parsed.ptr - entry.data())));
    const std::size_t equals = write.find('=');
    const bool timed = parsed.ec == std::errc() && seconds >= 0 && seconds <= kMostSeconds;
    if (!timed || equals == 0 || equals == std::string_view::npos) return false;
    acts.push_back({FromSeconds(seconds), std::string(Trimmed(write.substr(0, equals))),
                    std::string(Trimmed(write.substr(equals + 1)))});
  }
  std::stable_sort(acts.begin(), acts.end(),
                   [](const Act& a, const Act& b) { return a.due < b.due; });
  mClock.Change([&] {
    mPlanned = std::move(acts);
    mArmed.clear();
    mRearmed = true;
  });
  return true;
}

void Schedule::DeliveryStarts() {
  bool armed = false;
  const TimePoint now = mClock.Now();
  mClock.Change([&] {
    if (mPlanned.empty()) return;
    mArmed = std::move(mPlanned);
    mPlanned.clear();
    for (Act& act : mArmed) act.due += now;
    mRearmed = true;
    armed = true;
  });
  // Lets the schedule's thread begin its wait before the test begins its own.
  if (armed) mClock.SleepUntil(now);
}

void Schedule::Run() {
  for (;;) {
    std::optional<Act> due;
    TimePoint deadline = kNever;
    bool stopped = false;
    const TimePoint now = mClock.Now();
    mClock.Change([&] {
      stopped = mStopped;
      mRearmed = false;
      if (mArmed.empty()) return;
      deadline = mArmed.front().due;
      if (deadline > now) return;
      due = std::move(mArmed.front());
      mArmed.erase(mArmed.begin());
    });
    if (stopped) return;
    if (!due) {
      mClock.Wait([this] { return mRearmed || mStopped; }, deadline);
    } else if (!mWrite(due->path, due->value)) {
      fprintf(stderr, "diagor: the scheduled write %s=%s was refused\n", due->path.c_str(),
              due->value.c_str());
    }
  }
}

}  // namespace desk
