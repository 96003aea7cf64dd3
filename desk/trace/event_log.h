// What happens on the camera, for whoever watches.
#pragma once

#include <cstdint>
#include <string>

#include "http/event_log.h"
#include "trace/observation.h"

namespace desk {

struct CameraEvent {
  std::uint64_t number;
  std::string kind;
  TimePoint at;  // of the camera's clock
  TraceFields fields;
};
std::size_t BytesOf(const CameraEvent& event);  // of names and texts

class EventLog : public http::EventLog<CameraEvent> {
 public:
  explicit EventLog(const Clock& clock);
  void Add(std::string_view kind, TraceFields fields);

 private:
  const Clock& mClock;
};

}  // namespace desk
