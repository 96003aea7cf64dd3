// A chip on an I2C bus: registers and behaviour. It knows no board and no address.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "clock/clock.h"
#include "knobs/knob.h"

namespace desk {

// Why no test reports a sensor that is broken.
inline constexpr char kOtherSensor[] =
    "where two sensors sit side by side, the other one makes up for it";

class Chip {
 public:
  virtual ~Chip() = default;
  // One transaction: the bytes sent, then the bytes read. False: not acknowledged.
  virtual bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) = 0;
  // Null: the chip has no knobs of its own.
  virtual KnobSet* Knobs() { return nullptr; }
  // Back to how the camera starts, after the knobs.
  virtual void Restore() {}
};

// The kinds that a variant can list: "eeprom", "battery", "fuel_gauge", "clock_chip",
// "sensor_block", "temperature_sensor", "temperature_converter". Null for any other. prefix: of the
// knobs of a chip that a camera may have several of.
std::unique_ptr<Chip> MakeChip(std::string_view kind, const Clock& clock,
                               const std::string& prefix);

}  // namespace desk
