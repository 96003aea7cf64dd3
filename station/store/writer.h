// All writes of a store, on one connection and one thread: what waits is committed together. Only
// the store's own files include it.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "station/store/connection.h"

namespace station {

class Writer {
 public:
  using Work = std::function<void(Connection& connection)>;

  // Opens the database; StoreError.
  Writer(Place place, std::chrono::milliseconds busy);
  // Nobody may be waiting in Write any more.
  ~Writer();
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  // Returns when what the work wrote is on disk; StoreError, and nothing of it is kept. The work
  // may be done more than once, each time on what the time before had never been. On any thread.
  void Write(const Work& work);
  // For work with transactions of its own.
  void WriteAlone(const Work& work);

 private:
  struct Waiting {
    const Work& work;
    bool isAlone;
    std::condition_variable wake = {};  // one of its own: nobody is woken for another's end
    bool isDone = false;
    std::optional<StoreError> error = std::nullopt;
  };
  using Batch = std::vector<Waiting*>;

  void Submit(Waiting& waiting);
  void Loop();
  Batch TakeBatch();
  void Commit(const Batch& batch);
  std::optional<StoreError> CommitTogether(const Batch& batch);
  void Begin();
  void Reconnect();

  const Place mPlace;
  const std::chrono::milliseconds mBusy;
  std::unique_ptr<Connection> mConnection;  // the thread's; null after it was lost
  std::mutex mLock;
  std::condition_variable mCame;
  std::deque<Waiting*> mQueue;
  bool mIsStopped = false;
  std::thread mThread;
};

}  // namespace station
