// A request's body as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace http {

constexpr int kMostJsonDepth = 32;

struct ParsedJson {
  nlohmann::ordered_json json;
  std::string problem;  // empty: none
};
ParsedJson ParseJson(const std::string& body);

}  // namespace http
