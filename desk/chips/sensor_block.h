// The sensor block: three temperatures in one read, each a 32-bit word in 0.0001 K, most
// significant byte first, behind a status byte. It also answers as the identity memory of its
// board.
#pragma once

#include "chips/chip.h"

namespace desk {

class SensorBlock : public Chip {
 public:
  explicit SensorBlock(const std::string& prefix);
  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  KnobSet* Knobs() override { return &mKnobs; }

 private:
  std::uint8_t ByteAt(std::size_t address) const;

  KnobSet mKnobs;
  std::uint8_t mAddress = 0;
};

}  // namespace desk
