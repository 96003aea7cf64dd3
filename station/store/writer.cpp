#include "station/store/writer.h"

#include <utility>

namespace station {

using Kind = StoreError::Kind;

Writer::Writer(Place place, std::chrono::milliseconds busy)
    : mPlace(std::move(place)), mBusy(busy) {
  Reconnect();
  mThread = std::thread([this] { Loop(); });
}

Writer::~Writer() {
  {
    const std::lock_guard lock(mLock);
    mIsStopped = true;
  }
  mCame.notify_one();
  mThread.join();
}

void Writer::Write(const Work& work) {
  Waiting waiting{work, false};
  Submit(waiting);
}

void Writer::WriteAlone(const Work& work) {
  Waiting waiting{work, true};
  Submit(waiting);
}

void Writer::Submit(Waiting& waiting) {
  std::unique_lock lock(mLock);
  mQueue.push_back(&waiting);
  if (mQueue.size() == 1) mCame.notify_one();  // else it was told already
  waiting.wake.wait(lock, [&waiting] { return waiting.isDone; });
  if (waiting.error) throw StoreError(*waiting.error);
}

// Up to a work that wants to be alone.
Writer::Batch Writer::TakeBatch() {
  std::unique_lock lock(mLock);
  mCame.wait(lock, [this] { return mIsStopped || !mQueue.empty(); });
  Batch batch;
  while (!mQueue.empty() && (batch.empty() || !mQueue.front()->isAlone)) {
    batch.push_back(mQueue.front());
    mQueue.pop_front();
    if (batch.back()->isAlone) break;
  }
  return batch;
}

void Writer::Loop() {
  for (;;) {
    const Batch batch = TakeBatch();
    if (batch.empty()) return;
    Commit(batch);
    // Whoever sees that it is done takes it away: not before it was notified.
    const std::lock_guard lock(mLock);
    for (Waiting* each : batch) {
      each->isDone = true;
      each->wake.notify_one();
    }
  }
}

// A bad one fails the transaction of all: then each gets one of its own. But where another process
// holds the database (of a server: a row of it, which one of them alone wants), or the server is
// gone, each would only wait as long again.
void Writer::Commit(const Batch& batch) {
  const std::optional<StoreError> error = CommitTogether(batch);
  const bool isOfAll = error && ((error->kind == Kind::Busy && !mPlace.isPostgresql) ||
                                 error->kind == Kind::Lost || error->kind == Kind::CannotOpen);
  const bool isOfOne = batch.size() > 1 && error && !isOfAll;
  for (Waiting* each : batch) each->error = isOfOne ? CommitTogether({each}) : error;
}

std::optional<StoreError> Writer::CommitTogether(const Batch& batch) {
  try {
    const bool isAlone = batch.front()->isAlone;
    if (!mConnection) Reconnect();
    if (!isAlone) Begin();
    Explained(*mConnection, [&] {
      for (const Waiting* each : batch) each->work(*mConnection);
      if (!isAlone) mConnection->Commit();
    });
  } catch (const StoreError& error) {
    if (error.kind == Kind::Lost) mConnection.reset();
    if (mConnection) mConnection->Rollback();
    return error;
  }
  return std::nullopt;
}

// A server may have gone and come back since the last write.
void Writer::Begin() {
  const auto begin = [this] { mConnection->Begin(); };
  try {
    Explained(*mConnection, begin);
  } catch (const StoreError& error) {
    if (error.kind != Kind::Lost) throw;
    Reconnect();
    Explained(*mConnection, begin);
  }
}

void Writer::Reconnect() {
  mConnection.reset();
  mConnection = std::make_unique<Connection>(mPlace, Connection::Role::Writes, mBusy);
}

}  // namespace station
