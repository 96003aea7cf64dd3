#include "trace/event_log.h"

namespace desk {

namespace {

constexpr std::size_t kMostKept = 1024;
constexpr std::size_t kMostKeptBytes = 4UL * 1024 * 1024;

}  // namespace

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

EventLog::EventLog(const Clock& clock)
    : http::EventLog<CameraEvent>(kMostKept, kMostKeptBytes), mClock(clock) {}

void EventLog::Add(std::string_view kind, TraceFields fields) {
  AddMade([&](std::uint64_t number) {
    return CameraEvent{number, std::string(kind), mClock.Now(), std::move(fields)};
  });
}

}  // namespace desk
