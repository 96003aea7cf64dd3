#include "trace/event_log.h"

#include <algorithm>
#include <random>

namespace desk {

namespace {

std::string RandomName() {
  std::random_device device;
  return HexNumber(device()).substr(2);
}

std::size_t BytesOf(const TraceValue& value) {
  if (const auto* const text = std::get_if<std::string>(&value)) return text->size();
  const auto* const json = std::get_if<TraceJson>(&value);
  return json == nullptr ? 0 : json->text.size();
}

std::size_t BytesOf(const CameraEvent& event) {
  std::size_t bytes = sizeof event;
  for (const auto& [name, value] : event.fields) bytes += name.size() + BytesOf(value);
  return bytes;
}

}  // namespace

EventLog::EventLog(const Clock& clock) : mClock(clock), mName(RandomName()) {}

void EventLog::Add(std::string_view kind, TraceFields fields) {
  {
    const std::lock_guard lock(mLock);
    mEvents.push_back(std::make_shared<const CameraEvent>(
        CameraEvent{++mNewest, std::string(kind), mClock.Now(), std::move(fields)}));
    mBytes += BytesOf(*mEvents.back());
    while (mEvents.size() > kMostKept || (mBytes > kMostKeptBytes && mEvents.size() > 1)) {
      mBytes -= BytesOf(*mEvents.front());
      mEvents.pop_front();
    }
  }
  const std::lock_guard lock(mAddedLock);
  if (mAdded) mAdded();
}

EventLog::Reading EventLog::After(std::uint64_t number, std::size_t most) const {
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

std::uint64_t EventLog::Newest() const {
  const std::lock_guard lock(mLock);
  return mNewest;
}

void EventLog::OnAdd(std::function<void()> added) {
  const std::lock_guard lock(mAddedLock);
  mAdded = std::move(added);
}

}  // namespace desk
