#include "http/message.h"

#include <nlohmann/json.hpp>

namespace http {

Reply Problem(unsigned status, const std::string& title, const std::string& detail) {
  using Json = nlohmann::ordered_json;
  const Json json = {
      {"type", "about:blank"}, {"title", title}, {"status", status}, {"detail", detail}};
  return {status, "application/problem+json",
          json.dump(-1, ' ', false, Json::error_handler_t::replace)};
}

}  // namespace http
