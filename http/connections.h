// Who is connected, and who makes room when too many are.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace http {

class Connection : public std::enable_shared_from_this<Connection> {
 public:
  enum class Stage {
    Silent,     // its request has not come, or not whole
    Served,     // its request is being answered
    Streaming,  // takes a stream
    Gone,       // has left, or was dropped
  };

  Connection() = default;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  virtual ~Connection() = default;
  // On any thread, without blocking: ends it, which is counted out already.
  virtual void Drop() = 0;
  // On any thread, without blocking: its stream has something to send.
  virtual void ContinueStream() = 0;

 private:
  friend class Connections;
  Stage mStage = Stage::Gone;
  std::uint64_t mSilentSince = 0;  // a count of turns
};

class Connections {
 public:
  Connections(std::size_t most, std::size_t mostStreams) : mMost(most), mMostStreams(mostStreams) {}

  // Counts it in, silent. With no room left the one that has been silent longest is dropped; false
  // where none is silent: this one stays out.
  bool Enter(Connection& connection);
  // To another stage. False, and nothing changed, for one that is gone, or when there are streams
  // enough.
  bool ComeTo(Connection& connection, Connection::Stage stage);
  // Before its end: it is not known any more.
  void Forget(Connection& connection);
  void ContinueStreams();
  // Drops the one that has been silent longest; false where none is silent.
  bool MakeRoom();

 private:
  std::size_t CountIn(Connection::Stage stage) const;

  const std::size_t mMost;
  const std::size_t mMostStreams;
  std::mutex mLock;
  std::vector<Connection*> mConnections;
  std::uint64_t mTurns = 0;
};

}  // namespace http
