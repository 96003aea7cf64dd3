#include "chips/chip.h"

#include "chips/battery.h"
#include "chips/clock_chip.h"
#include "chips/eeprom.h"
#include "chips/fuel_gauge.h"
#include "chips/sensor_block.h"
#include "chips/temperature_converter.h"
#include "chips/temperature_sensor.h"

namespace desk {

std::unique_ptr<Chip> MakeChip(std::string_view kind, const Clock& clock,
                               const std::string& prefix) {
  if (kind == "eeprom") return std::make_unique<Eeprom>();
  if (kind == "battery") return std::make_unique<Battery>();
  if (kind == "fuel_gauge") return std::make_unique<FuelGauge>(clock);
  if (kind == "clock_chip") return std::make_unique<ClockChip>(clock);
  if (kind == "sensor_block") return std::make_unique<SensorBlock>(prefix);
  if (kind == "temperature_sensor") return std::make_unique<TemperatureSensor>(prefix);
  if (kind == "temperature_converter") return std::make_unique<TemperatureConverter>(clock, prefix);
  return nullptr;
}

}  // namespace desk
