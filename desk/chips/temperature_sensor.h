// A 16-bit temperature sensor: signed steps of 1/128 K above 273.16 K, most significant byte first.
#pragma once

#include "chips/chip.h"

namespace desk {

class TemperatureSensor : public Chip {
 public:
  explicit TemperatureSensor(const std::string& prefix);
  // The step nearest to the temperature, within what 16 bits hold.
  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  KnobSet* Knobs() override { return &mKnobs; }

 private:
  KnobSet mKnobs;
};

}  // namespace desk
