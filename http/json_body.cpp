#include "http/json_body.h"

namespace http {

using Json = nlohmann::ordered_json;

ParsedJson ParseJson(const std::string& body) {
  bool tooDeep = false;
  Json json = Json::parse(
      body,
      [&](int depth, Json::parse_event_t /*event*/, Json& /*parsed*/) {
        tooDeep = tooDeep || depth > kMostJsonDepth;
        return !tooDeep;
      },
      false);
  if (tooDeep) return {{}, "JSON nested deeper than 32 levels"};
  // The reader takes a NUL for the end.
  if (json.is_discarded() || body.find('\0') != std::string::npos) {
    return {{}, "the body is no JSON"};
  }
  return {std::move(json), ""};
}

}  // namespace http
