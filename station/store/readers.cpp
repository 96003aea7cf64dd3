#include "station/store/readers.h"

#include <utility>

namespace station {

Readers::Readers(Place place, std::chrono::milliseconds busy, std::size_t count)
    : mPlace(std::move(place)), mBusy(busy), mFree(count) {}

void Readers::Read(const Work& work) {
  try {
    TryRead(work);
  } catch (const StoreError& error) {
    if (error.kind != StoreError::Kind::Lost) throw;
    TryRead(work);
  }
}

void Readers::TryRead(const Work& work) {
  Lease lease = Take();
  try {
    if (!lease) lease = std::make_unique<Connection>(mPlace, Connection::Role::Reads, mBusy);
    Explained(*lease, [&] {
      lease->Begin();
      work(*lease);
      lease->Commit();
    });
  } catch (const StoreError& error) {
    if (error.kind == StoreError::Kind::Lost) {
      // So are those that were idle.
      lease.reset();
      const std::lock_guard lock(mLock);
      mIdle.clear();
    }
    if (lease) lease->Rollback();
    GiveBack(std::move(lease));
    throw;
  }
  GiveBack(std::move(lease));
}

// Null: to be connected.
Readers::Lease Readers::Take() {
  std::unique_lock lock(mLock);
  mIsFree.wait(lock, [this] { return mFree > 0; });
  --mFree;
  if (mIdle.empty()) return nullptr;
  Lease lease = std::move(mIdle.back());
  mIdle.pop_back();
  return lease;
}

void Readers::GiveBack(Lease lease) {
  {
    const std::lock_guard lock(mLock);
    ++mFree;
    if (lease) mIdle.push_back(std::move(lease));
  }
  mIsFree.notify_one();
}

}  // namespace station
