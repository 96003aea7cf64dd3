#include "tarq/deliveries.h"

#include <algorithm>
#include <cstdio>
#include <system_error>

#include "tarq/node_access.h"

namespace desk {

Deliveries::Deliveries(Clock& clock, Watcher watcher)
    : mClock(clock), mWatcher(std::move(watcher)) {}

Deliveries::~Deliveries() {
  JoinAll();
}

// Nobody starts one meanwhile; those that run take the lock to end.
void Deliveries::JoinAll() {
  for (Running& running : mRunning) {
    if (running.thread.joinable()) running.thread.join();
  }
  mRunning.clear();
}

Deliveries::Start Deliveries::Deliver(TARQ::CServerResource& node,
                                      const TARQ::CResourceValue& value, bool traced, Done done) {
  std::unique_lock lock(mLock);
  JoinFinished();
  for (const Running& running : mRunning) {
    if (running.node == &node) return Start::Busy;
  }

  // Its turn is its place in the order of arrival.
  auto ticket = mClock.Prepare(Clock::Role::MovesTime);
  Running& running = mRunning.emplace_back(Running{{}, &node, false});
  const auto run = [this, &running, &node, value, traced, done = std::move(done), ticket] {
    Run(
        node, value, traced,
        [&](const Delivered& delivered) {
          {
            const std::lock_guard busy(mLock);
            running.node = nullptr;
          }
          done(delivered);
        },
        ticket);
    const std::lock_guard ending(mLock);
    running.finished = true;
  };
  try {
    running.thread = std::thread(run);
  } catch (const std::system_error&) {
    // The machine has no thread left: its turn is given back.
    mRunning.pop_back();
    lock.unlock();
    const Clock::Participation withdrawn(mClock, ticket);
    return Start::NoThread;
  }
  return Start::Started;
}

void Deliveries::Run(TARQ::CServerResource& node, const TARQ::CResourceValue& value, bool traced,
                     const Done& done, const std::shared_ptr<Clock::Ticket>& ticket) {
  auto participation = std::make_unique<Clock::Participation>(mClock, ticket);
  if (mWatcher.starts) mWatcher.starts(node, value);
  Delivered delivered = {0, TARQ::CResourceValue(""), {}, {}, Observation(mClock, traced)};
  {
    const Observation::Scope scope(delivered.observation);
    try {
      delivered.status = TARQ::NodeAccess::Write(node, value);
    } catch (const std::exception& error) {
      fprintf(stderr, "diagor: a write ended by an exception: %s\n", error.what());
      delivered.status = TARQ::kStatusFailed;
    }
  }
  delivered.elapsed = delivered.observation.Elapsed();
  delivered.value = TARQ::NodeAccess::Stored(node);
  delivered.records = delivered.observation.Records();
  if (mWatcher.ended) mWatcher.ended(node, value, delivered);
  // What else is due runs before the client hears of it.
  mClock.Settle();
  participation.reset();
  done(delivered);
}

// Under the lock.
void Deliveries::JoinFinished() {
  for (auto running = mRunning.begin(); running != mRunning.end();) {
    if (running->finished) {
      running->thread.join();
      running = mRunning.erase(running);
    } else {
      ++running;
    }
  }
}

}  // namespace desk
