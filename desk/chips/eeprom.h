// A board's identity EEPROM: 256 bytes behind an address counter.
#pragma once

#include <array>

#include "chips/chip.h"

namespace desk {

class Eeprom : public Chip {
 public:
  Eeprom();
  // The first byte sent sets the address counter, which reads advance and which wraps.
  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  void Restore() override;

 private:
  std::array<std::uint8_t, 256> mContents;
  std::uint8_t mCounter = 0;
};

}  // namespace desk
