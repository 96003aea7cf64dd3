#include "chips/chip.h"

#include "chips/battery.h"
#include "chips/clock_chip.h"
#include "chips/eeprom.h"
#include "chips/fuel_gauge.h"

namespace desk {

std::unique_ptr<Chip> MakeChip(std::string_view kind, const Clock& clock) {
  if (kind == "eeprom") return std::make_unique<Eeprom>();
  if (kind == "battery") return std::make_unique<Battery>();
  if (kind == "fuel_gauge") return std::make_unique<FuelGauge>(clock);
  if (kind == "clock_chip") return std::make_unique<ClockChip>(clock);
  return nullptr;
}

}  // namespace desk
