#include "station/config/camera_address.h"

#include <charconv>
#include <stdexcept>

namespace station {

std::string CameraAddress::Text() const {
  const bool isAddress6 = host.find(':') != std::string::npos;
  return (isAddress6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

CameraAddress AddressOf(const std::string& text) {
  const std::size_t colon = text.rfind(':');
  CameraAddress address;
  if (colon != std::string::npos) {
    address.host = text.substr(0, colon);
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data() + colon + 1, end, address.port);
    if (read.ec != std::errc() || read.ptr != end) address.port = 0;
  }
  if (address.host.starts_with("[") && address.host.ends_with("]")) {
    address.host = address.host.substr(1, address.host.size() - 2);
  }
  if (address.host.empty() || address.port == 0 || text.find('/') != std::string::npos) {
    throw std::runtime_error("\"" + text + "\" is no camera's address, as 127.0.0.1:22143");
  }
  return address;
}

}  // namespace station
