// A battery that only says that it is there: its one status register reads 0.
#pragma once

#include <algorithm>

#include "chips/chip.h"

namespace desk {

class Battery : public Chip {
 public:
  bool Transfer(std::span<const std::uint8_t> /*written*/, std::span<std::uint8_t> read) override {
    std::fill(read.begin(), read.end(), std::uint8_t{0});
    return true;
  }
};

}  // namespace desk
