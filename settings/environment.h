// What the surroundings of a program set.
#pragma once

#include <cstdlib>
#include <string>

namespace settings {

// otherwise: of a variable that is not set, or empty.
inline std::string FromEnvironment(const char* name, const std::string& otherwise = "") {
  const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nobody sets any
  return value == nullptr || *value == '\0' ? otherwise : value;
}

}  // namespace settings
