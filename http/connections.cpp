#include "http/connections.h"

#include <algorithm>

namespace http {

using Stage = Connection::Stage;

std::size_t Connections::CountIn(Stage stage) const {
  return static_cast<std::size_t>(
      std::count_if(mConnections.begin(), mConnections.end(),
                    [stage](const Connection* each) { return each->mStage == stage; }));
}

bool Connections::MakeRoom() {
  std::shared_ptr<Connection> dropped;
  {
    const std::lock_guard lock(mLock);
    Connection* longest = nullptr;
    for (Connection* const each : mConnections) {
      if (each->mStage != Stage::Silent) continue;
      if (longest == nullptr || each->mSilentSince < longest->mSilentSince) longest = each;
    }
    if (longest == nullptr) return false;
    longest->mStage = Stage::Gone;
    dropped = longest->weak_from_this().lock();
  }
  if (dropped != nullptr) dropped->Drop();
  return true;
}

// One at a time: there is one acceptor.
bool Connections::Enter(Connection& connection) {
  const auto isFull = [this] {
    const std::lock_guard lock(mLock);
    return mConnections.size() - CountIn(Stage::Gone) >= mMost;
  };
  if (isFull() && !MakeRoom()) return false;
  const std::lock_guard lock(mLock);
  connection.mStage = Stage::Silent;
  connection.mSilentSince = ++mTurns;
  mConnections.push_back(&connection);
  return true;
}

bool Connections::ComeTo(Connection& connection, Stage stage) {
  const std::lock_guard lock(mLock);
  if (connection.mStage == Stage::Gone) return false;
  if (stage == Stage::Streaming && CountIn(stage) >= mMostStreams) return false;
  if (stage == Stage::Silent) connection.mSilentSince = ++mTurns;
  connection.mStage = stage;
  return true;
}

void Connections::Forget(Connection& connection) {
  const std::lock_guard lock(mLock);
  std::erase(mConnections, &connection);
}

void Connections::ContinueStreams() {
  const std::lock_guard lock(mLock);
  for (Connection* const each : mConnections) {
    if (each->mStage != Stage::Streaming) continue;
    if (const auto streaming = each->weak_from_this().lock()) streaming->ContinueStream();
  }
}

}  // namespace http
