#include "http/connections.h"

#include <algorithm>

namespace http {

using Stage = Connection::Stage;

std::size_t Connections::Counted() const {
  return static_cast<std::size_t>(
      std::count_if(mConnections.begin(), mConnections.end(),
                    [](const Connection* each) { return each->mStage != Stage::Gone; }));
}

void Connections::SetStage(Connection& connection, Stage stage) {
  if (connection.mStage == Stage::Streaming) --mStreams;
  if (stage == Stage::Streaming) ++mStreams;
  connection.mStage = stage;
}

bool Connections::MakeRoom() {
  Connection* longest = nullptr;
  for (Connection* const each : mConnections) {
    if (each->mStage != Stage::Silent) continue;
    if (longest == nullptr || each->mSilentSince < longest->mSilentSince) longest = each;
  }
  if (longest == nullptr) return false;
  SetStage(*longest, Stage::Gone);
  longest->Drop();
  return true;
}

bool Connections::Enter(Connection& connection) {
  const bool hasRoom = Counted() < mMost || MakeRoom();
  mConnections.push_back(&connection);
  if (!hasRoom) return false;
  connection.mStage = Stage::Silent;
  connection.mSilentSince = ++mTurns;
  return true;
}

bool Connections::ComeTo(Connection& connection, Stage stage) {
  if (connection.mStage == Stage::Gone) return false;
  if (stage == Stage::Streaming && mStreams >= mMostStreams) return false;
  if (stage == Stage::Silent) connection.mSilentSince = ++mTurns;
  SetStage(connection, stage);
  return true;
}

void Connections::Forget(Connection& connection) {
  SetStage(connection, Stage::Gone);
  std::erase(mConnections, &connection);
}

void Connections::DropAll() {
  const std::vector<Connection*> all = mConnections;
  for (Connection* const each : all) {
    SetStage(*each, Stage::Gone);
    each->Drop();
  }
}

void Connections::SetDeadline(Connection& connection, Deadline deadline) {
  connection.mDeadline = deadline;
  if (deadline >= mNearest) return;
  mNearest = deadline;
  mNearer(deadline);
}

Deadline Connections::DropOverdue(Deadline now) {
  mNearest = kNoDeadline;
  for (Connection* const each : mConnections) {
    if (each->mDeadline > now) {
      mNearest = std::min(mNearest, each->mDeadline);
    } else {
      each->mDeadline = kNoDeadline;
      if (each->mStage == Stage::Streaming && each->Beats()) continue;
      SetStage(*each, Stage::Gone);
      each->Drop();
    }
  }
  return mNearest;
}

void Connections::ContinueStreams() {
  for (Connection* const each : mConnections) {
    if (each->mStage == Stage::Streaming) each->ContinueStream();
  }
}

}  // namespace http
