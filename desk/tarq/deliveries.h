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
  static constexpr std::size_t kMost = 32;  // at once

  enum class Start { Started, Busy, NoRoom };
  using Done = std::function<void(const Delivered&)>;
  using Starts = std::function<void(const std::string& path)>;

  // starts: told of each delivery on its thread, before the node is.
  Deliveries(Clock& clock, Starts starts);
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
  Starts mStarts;
  std::mutex mLock;
  std::list<Running> mRunning;
};

}  // namespace desk
