// What happens, for whoever watches: the latest events, numbered from 1.
#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace http {

// Another one each time, of eight hexadecimal digits.
std::string RandomName();

// Kept: an event with its number and kind; BytesOf(event) is its size in memory.
template <typename Kept>
class EventLog {
 public:
  using Event = Kept;

  // The latest are kept, at most so many, and so many bytes of them.
  EventLog(std::size_t most, std::size_t mostBytes)
      : mMost(most), mMostBytes(mostBytes), mName(RandomName()) {}

  // Another one for each log: a number counts with it only.
  const std::string& Name() const { return mName; }

  struct Reading {
    std::vector<std::shared_ptr<const Event>> events;
    std::uint64_t missed = 0;  // that came before them and are not kept any more
  };
  // The events after that number, the oldest first, at most so many.
  Reading After(std::uint64_t number, std::size_t most) const {
    const std::lock_guard lock(mLock);
    Reading reading;
    if (number >= mNewest) return reading;
    const std::uint64_t oldest = mEvents.front()->number;
    const std::uint64_t first = std::max(oldest, number + 1);
    reading.missed = first - number - 1;
    const auto from = mEvents.begin() + static_cast<std::ptrdiff_t>(first - oldest);
    const auto left = static_cast<std::size_t>(mEvents.end() - from);
    reading.events.assign(from, from + static_cast<std::ptrdiff_t>(std::min(most, left)));
    return reading;
  }
  std::uint64_t Newest() const {
    const std::lock_guard lock(mLock);
    return mNewest;
  }

  // Called after each event, on whichever thread it came; nothing: nobody. It must not block.
  void OnAdd(std::function<void()> added) {
    const std::lock_guard lock(mAddedLock);
    mAdded = std::move(added);
  }

 protected:
  // make(number): the event; events are made in the order of their numbers.
  template <typename Make>
  void AddMade(const Make& make) {
    {
      const std::lock_guard lock(mLock);
      mEvents.push_back(std::make_shared<const Event>(make(++mNewest)));
      mBytes += BytesOf(*mEvents.back());
      while (mEvents.size() > mMost || (mBytes > mMostBytes && mEvents.size() > 1)) {
        mBytes -= BytesOf(*mEvents.front());
        mEvents.pop_front();
      }
    }
    const std::lock_guard lock(mAddedLock);
    if (mAdded) mAdded();
  }

 private:
  const std::size_t mMost;
  const std::size_t mMostBytes;
  const std::string mName;
  mutable std::mutex mLock;
  std::deque<std::shared_ptr<const Event>> mEvents;
  std::size_t mBytes = 0;
  std::uint64_t mNewest = 0;
  std::mutex mAddedLock;
  std::function<void()> mAdded;
};

}  // namespace http
