#include "station/service/events.h"

#include "station/runner/run.h"
#include "station/service/json.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr std::size_t kMostKept = 4096;
constexpr std::size_t kMostKeptBytes = 4UL * 1024 * 1024;

}  // namespace

std::size_t BytesOf(const StationEvent& event) {
  return sizeof event + event.kind.size() + event.data.size();
}

Events::Events() : http::EventLog<StationEvent>(kMostKept, kMostKeptBytes) {}

void Events::Add(std::string_view kind, const client::Json& fields) {
  AddMade([&](std::uint64_t number) {
    client::Json data = {{"at", TimeText(Now())}};
    data.update(fields);
    return StationEvent{number, std::string(kind), TextOf(data)};
  });
}

}  // namespace station
