// Deliveries of clients' writes to the program's tree, each on a thread of its own: a slow test
// blocks neither reads nor other nodes.
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "clock/clock.h"
#include "common_dll.h"
#include "trace/observation.h"

namespace desk {

struct Delivered {
  DWORD status;                // the framework's
  TARQ::CResourceValue value;  // as stored; the node is not read
  Duration elapsed;
  std::vector<std::string> records;  // log lines and system log records that came meanwhile
  Observation observation;
};

class Deliveries {
 public:
  enum class Start { Started, Busy, NoThread };
  using Done = std::function<void(const Delivered&)>;
  // Told of each delivery on its thread: before the node is, and when the node's test has ended.
  struct Watcher {
    std::function<void(const TARQ::CServerResource& node, const TARQ::CResourceValue& value)>
        starts;
    std::function<void(const TARQ::CServerResource& node, const TARQ::CResourceValue& value,
                       const Delivered& delivered)>
        ended;
  };

  Deliveries(Clock& clock, Watcher watcher);
  ~Deliveries();
  Deliveries(const Deliveries&) = delete;
  Deliveries& operator=(const Deliveries&) = delete;

  // done is called on the delivery's thread when the test has ended and the node is free again.
  Start Deliver(TARQ::CServerResource& node, const TARQ::CResourceValue& value, bool traced,
                Done done);
  // Waits for all that run.
  void JoinAll();

 private:
  struct Running {
    std::thread thread;
    TARQ::CServerResource* node;
    bool finished = false;  // its thread is about to end
  };

  void Run(TARQ::CServerResource& node, const TARQ::CResourceValue& value, bool traced,
           const Done& done, const std::shared_ptr<Clock::Ticket>& ticket);
  void JoinFinished();

  Clock& mClock;
  const Watcher mWatcher;
  std::mutex mLock;
  std::list<Running> mRunning;
};

}  // namespace desk
