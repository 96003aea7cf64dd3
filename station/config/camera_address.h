// Where a camera is reached.
#pragma once

#include <cstdint>
#include <string>

namespace station {

struct CameraAddress {
  std::string name;  // as people call it; may be empty
  std::string host;
  std::uint16_t port = 0;

  std::string Text() const;  // "127.0.0.1:22143"
};
// "HOST:PORT", "[::1]:PORT". std::runtime_error: it is none.
CameraAddress AddressOf(const std::string& text);

}  // namespace station
