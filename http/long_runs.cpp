#include "http/long_runs.h"

#include <exception>
#include <system_error>

namespace http {

LongRuns::~LongRuns() {
  for (Run& run : mRuns) run.thread.join();
}

bool LongRuns::Start(std::function<void()> work) {
  const std::lock_guard lock(mLock);
  for (auto run = mRuns.begin(); run != mRuns.end();) {
    if (run->finished) {
      run->thread.join();
      run = mRuns.erase(run);
    } else {
      ++run;
    }
  }
  Run& run = mRuns.emplace_back();
  try {
    run.thread = std::thread([this, &run, work = std::move(work)] {
      try {
        work();
      } catch (const std::exception& error) {
        mComplain(std::string("a request ended by an exception: ") + error.what());
      }
      run.finished = true;
    });
  } catch (const std::system_error&) {
    mRuns.pop_back();
    return false;
  }
  return true;
}

}  // namespace http
