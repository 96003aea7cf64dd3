#include "server/event_stream.h"

#include <charconv>

#include "server/json.h"

namespace desk {

namespace {

constexpr std::size_t kEventsAtOnce = 64;  // in one send

std::string GapText(const std::string& missed) {
  return "event: gap\ndata: {\"missed\":" + missed + "}\n\n";
}

}  // namespace

// An id is the camera's name and a number: one of another camera says nothing of what was missed
// here.
EventStream::EventStream(const EventLog& events, const std::string& last) : mEvents(events) {
  if (last.empty()) {
    mPosition = events.Newest();
  } else if (last != "0") {
    const std::string ours = events.Name() + "-";
    const char* const end = last.data() + last.size();
    const bool isOurs = last.starts_with(ours);
    const auto parsed = isOurs ? std::from_chars(last.data() + ours.size(), end, mPosition)
                               : std::from_chars_result{};
    mMissedUnknown =
        !isOurs || parsed.ec != std::errc() || parsed.ptr != end || mPosition > events.Newest();
    if (mMissedUnknown) mPosition = 0;
  }
}

std::string EventStream::Next() {
  std::string text;
  if (std::exchange(mMissedUnknown, false)) text = GapText("null");
  const EventLog::Reading reading = mEvents.After(mPosition, kEventsAtOnce);
  if (reading.events.empty()) return text;
  mPosition = reading.events.back()->number;
  if (reading.missed > 0) text += GapText(std::to_string(reading.missed));
  for (const auto& event : reading.events) {
    text.append("id: ").append(mEvents.Name()).append("-");
    text.append(std::to_string(event->number)).append("\nevent: ").append(event->kind);
    text.append("\ndata: ").append(EventText(*event)).append("\n\n");
  }
  return text;
}

}  // namespace desk
