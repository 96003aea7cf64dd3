// What happens on the camera, for whoever watches: the latest events, numbered from 1.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "trace/observation.h"

namespace desk {

struct CameraEvent {
  std::uint64_t number;
  std::string kind;
  TimePoint at;  // of the camera's clock
  TraceFields fields;
};

class EventLog {
 public:
  static constexpr std::size_t kMostKept = 1024;
  static constexpr std::size_t kMostKeptBytes = 4UL * 1024 * 1024;  // of names and texts

  explicit EventLog(const Clock& clock);

  // Another one for each camera: a number counts with it only.
  const std::string& Name() const { return mName; }

  void Add(std::string_view kind, TraceFields fields);

  struct Reading {
    std::vector<std::shared_ptr<const CameraEvent>> events;
    std::uint64_t missed = 0;  // that came before them and are not kept any more
  };
  // The events after that number, the oldest first, at most so many.
  Reading After(std::uint64_t number, std::size_t most) const;
  std::uint64_t Newest() const;

  // Called after each event, on whichever thread it came; nothing: nobody. It must not block.
  void OnAdd(std::function<void()> added);

 private:
  const Clock& mClock;
  const std::string mName;
  mutable std::mutex mLock;
  std::deque<std::shared_ptr<const CameraEvent>> mEvents;
  std::size_t mBytes = 0;
  std::uint64_t mNewest = 0;
  std::mutex mAddedLock;
  std::function<void()> mAdded;
};

}  // namespace desk
