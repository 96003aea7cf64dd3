// Connections for reads, as many at once as there are; each read is a snapshot. Only the store's
// own files include it.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "station/store/connection.h"

namespace station {

class Readers {
 public:
  using Work = std::function<void(Connection& connection)>;

  // They connect when they are first needed. count: that many at most; others wait.
  Readers(Place place, std::chrono::milliseconds busy, std::size_t count);

  // StoreError. A server that went away since the last read is looked for once more: then the work
  // is done twice. On any thread.
  void Read(const Work& work);

 private:
  using Lease = std::unique_ptr<Connection>;
  Lease Take();
  void GiveBack(Lease lease);
  void TryRead(const Work& work);

  const Place mPlace;
  const std::chrono::milliseconds mBusy;
  std::mutex mLock;
  std::condition_variable mIsFree;
  std::vector<Lease> mIdle;
  std::size_t mFree;  // that many more may be taken
};

}  // namespace station
