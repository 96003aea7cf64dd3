// Who is connected, who makes room when too many are, and whose time is over. All on one thread.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace http {

using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline kNoDeadline = Deadline::max();

class Connection {
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
  // Ends it, which is counted out already. It stays known for the moment.
  virtual void Drop() = 0;
  // Its stream has something to send.
  virtual void ContinueStream() = 0;
  // Its deadline has come while it takes a stream: whether it was only to be told that the stream
  // is there still, which happens now.
  virtual bool Beats() = 0;

 private:
  friend class Connections;
  Stage mStage = Stage::Gone;
  std::uint64_t mSilentSince = 0;  // a count of turns
  Deadline mDeadline = kNoDeadline;
};

class Connections {
 public:
  // nearer: told of each deadline that comes before all others.
  Connections(std::size_t most, std::size_t mostStreams, std::function<void(Deadline)> nearer)
      : mMost(most), mMostStreams(mostStreams), mNearer(std::move(nearer)) {}

  // Knows it from now on, and counts it in, silent. With no room left the one that has been silent
  // longest is dropped; false where none is silent: this one is not counted.
  bool Enter(Connection& connection);
  // To another stage. False, and nothing changed, for one that is gone, or when there are streams
  // enough.
  bool ComeTo(Connection& connection, Connection::Stage stage);
  // Before its end: it is not known any more.
  void Forget(Connection& connection);
  // Drops the one that has been silent longest; false where none is silent.
  bool MakeRoom();
  void DropAll();

  // When it is to be dropped, in place of an earlier moment.
  void SetDeadline(Connection& connection, Deadline deadline);
  // Drops those whose deadline has come; the nearest one that is left.
  Deadline DropOverdue(Deadline now);

  void ContinueStreams();
  // On any thread.
  bool HasStreams() const { return mStreams > 0; }

 private:
  std::size_t Counted() const;
  void SetStage(Connection& connection, Connection::Stage stage);

  const std::size_t mMost;
  const std::size_t mMostStreams;
  const std::function<void(Deadline)> mNearer;
  std::vector<Connection*> mConnections;
  std::atomic<std::size_t> mStreams{0};
  std::uint64_t mTurns = 0;
  Deadline mNearest = kNoDeadline;  // none is nearer
};

}  // namespace http
