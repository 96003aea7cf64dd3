// A window of the detector, as the front-end measures it.
#pragma once

#include <cstdint>

namespace desk {

struct FrameWindow {
  std::uint16_t x;  // of the top left pixel
  std::uint16_t y;
  std::uint16_t width;
  std::uint16_t height;
  std::uint32_t measurement;  // counts
};

}  // namespace desk
