#include "http/lane.h"

#include <exception>

namespace http {

Lane::Lane(std::function<void(const std::string& what)> complain)
    : mComplain(std::move(complain)), mThread([this] { Loop(); }) {}

Lane::~Lane() {
  {
    const std::lock_guard lock(mLock);
    mIsStopped = true;
  }
  mCame.notify_one();
  mThread.join();
}

void Lane::Run(std::function<void()> work) {
  {
    const std::lock_guard lock(mLock);
    mWork.push_back(std::move(work));
  }
  mCame.notify_one();
}

void Lane::Loop() {
  for (;;) {
    std::function<void()> work;
    {
      std::unique_lock lock(mLock);
      mCame.wait(lock, [this] { return mIsStopped || !mWork.empty(); });
      if (mIsStopped) return;
      work = std::move(mWork.front());
      mWork.pop_front();
    }
    try {
      work();
    } catch (const std::exception& error) {
      mComplain(std::string("a request ended by an exception: ") + error.what());
    }
  }
}

}  // namespace http
