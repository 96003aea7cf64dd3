// A thread that does one piece of work after the other, in the order in which they came: what takes
// a while, and ends.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace http {

class Lane {
 public:
  explicit Lane(std::function<void(const std::string& what)> complain);
  // Finishes the piece under way; what waits behind it is left undone.
  ~Lane();
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  void Run(std::function<void()> work);

 private:
  void Loop();

  const std::function<void(const std::string&)> mComplain;
  std::mutex mLock;
  std::condition_variable mCame;
  std::deque<std::function<void()>> mWork;
  bool mIsStopped = false;
  std::thread mThread;
};

}  // namespace http
