// Events of a log as a client takes them: server-sent events, which begin where the client's last
// ones ended.
#pragma once

#include <charconv>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "http/message.h"

namespace http {

// Log: keeps the latest events, numbered from 1. Name() is another one for each log; Newest() is a
// number; After(number, most) has the events behind that one, pointers to number and kind, and how
// many before them are not kept any more.
template <typename Log>
class EventStream : public Stream {
 public:
  using Event = typename Log::Event;
  using Text = std::function<std::string(const Event&)>;

  // last: the id of the event that the client saw last; "0": it wants all that is kept; empty: what
  // comes from now on. text: an event's data, in one line.
  EventStream(const Log& log, const std::string& last, Text text)
      : mLog(log), mText(std::move(text)) {
    if (last.empty()) {
      mPosition = log.Newest();
    } else if (last != "0") {
      // An id is the log's name and a number: one of another log says nothing of what was missed.
      const std::string ours = log.Name() + "-";
      const char* const end = last.data() + last.size();
      const bool isOurs = last.starts_with(ours);
      const auto parsed = isOurs ? std::from_chars(last.data() + ours.size(), end, mPosition)
                                 : std::from_chars_result{};
      mMissedUnknown =
          !isOurs || parsed.ec != std::errc() || parsed.ptr != end || mPosition > log.Newest();
      if (mMissedUnknown) mPosition = 0;
    }
  }

  // A slow client takes what is still kept when its turn comes, and is told how much it missed.
  std::string Next() override {
    constexpr std::size_t kEventsAtOnce = 64;  // in one send
    std::string text;
    if (std::exchange(mMissedUnknown, false)) text = GapText("null");
    const auto reading = mLog.After(mPosition, kEventsAtOnce);
    if (reading.events.empty()) return text;
    mPosition = reading.events.back()->number;
    if (reading.missed > 0) text += GapText(std::to_string(reading.missed));
    for (const auto& event : reading.events) {
      text.append("id: ").append(mLog.Name()).append("-");
      text.append(std::to_string(event->number)).append("\nevent: ").append(event->kind);
      text.append("\ndata: ").append(mText(*event)).append("\n\n");
    }
    return text;
  }

  std::string Beat() const override { return "event: beat\ndata: {}\n\n"; }

 private:
  static std::string GapText(const std::string& missed) {
    return "event: gap\ndata: {\"missed\":" + missed + "}\n\n";
  }

  const Log& mLog;
  const Text mText;
  std::uint64_t mPosition = 0;  // the event that was sent last
  bool mMissedUnknown = false;  // the client comes from another log
};

}  // namespace http
