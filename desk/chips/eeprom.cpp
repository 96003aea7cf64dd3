#include "chips/eeprom.h"

namespace desk {

Eeprom::Eeprom() {
  Eeprom::Restore();
}

// As it comes from the maker: all ones.
void Eeprom::Restore() {
  mContents.fill(0xFF);
}

bool Eeprom::Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) {
  if (!written.empty()) mCounter = written[0];
  for (std::size_t i = 1; i < written.size(); ++i) mContents[mCounter++] = written[i];
  for (std::uint8_t& byte : read) byte = mContents[mCounter++];
  return true;
}

}  // namespace desk
