// What happens at the station, for whoever watches: docs/station-api.md lists the kinds.
#pragma once

#include <string>
#include <string_view>

#include "client/camera_client.h"
#include "http/event_log.h"

namespace station {

struct StationEvent {
  std::uint64_t number;
  std::string kind;
  std::string data;  // JSON, in one line
};
std::size_t BytesOf(const StationEvent& event);

class Events : public http::EventLog<StationEvent> {
 public:
  Events();
  // With the time beside the fields.
  void Add(std::string_view kind, const client::Json& fields);
};

}  // namespace station
