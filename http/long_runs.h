// Threads for work that may wait for ever, one each while it runs.
#pragma once

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace http {

class LongRuns {
 public:
  explicit LongRuns(std::function<void(const std::string& what)> complain)
      : mComplain(std::move(complain)) {}
  // Waits for all of them.
  ~LongRuns();
  LongRuns(const LongRuns&) = delete;
  LongRuns& operator=(const LongRuns&) = delete;

  // False: the machine has no thread left.
  bool Start(std::function<void()> work);

 private:
  struct Run {
    std::thread thread;
    std::atomic<bool> finished{false};
  };

  const std::function<void(const std::string&)> mComplain;
  std::mutex mLock;
  std::list<Run> mRuns;
};

}  // namespace http
