// The camera's events as a client takes them: server-sent events.
#pragma once

#include <cstdint>

#include "http/message.h"
#include "trace/event_log.h"

namespace desk {

class EventStream : public http::Stream {
 public:
  // last: the id of the event that the client saw last; "0": it wants all that is kept; empty: what
  // comes from now on.
  EventStream(const EventLog& events, const std::string& last);

  // A slow client takes what is still kept when its turn comes, and is told how much it missed.
  std::string Next() override;

 private:
  const EventLog& mEvents;
  std::uint64_t mPosition = 0;  // the event that was sent last
  bool mMissedUnknown = false;  // the client comes from another camera
};

}  // namespace desk
