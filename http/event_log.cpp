#include "http/event_log.h"

#include <array>
#include <cstdio>
#include <random>

namespace http {

std::string RandomName() {
  std::random_device device;
  std::array<char, 9> name{};
  std::snprintf(name.data(), name.size(), "%08X", device());
  return name.data();
}

}  // namespace http
