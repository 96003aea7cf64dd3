#include "chips/temperature_sensor.h"

#include <algorithm>
#include <cmath>

namespace desk {

namespace {

constexpr double kOffset = 2731600;  // 0.0001 K
constexpr double kUnitsPerStep = 10000.0 / 128;

constexpr KnobRow kRows[] = {
    {"temperature", KnobKind::Number, "0.0001 K", "2981500", 0, 4294967295,
     "What the sensor measures.",
     Breaks({"3430000", "the sensor reads far too hot", "", "343 K and hotter, 243 K and colder",
             false, kOtherSensor},
            {"2000000", "the sensor reads far too cold", "", "", false, kOtherSensor})
         .Within(2730000, 3130000)},
};
constexpr KnobFamily kFamily = {"16-bit temperature sensor", ".desk.bus.<bus>.<address>", kRows};

}  // namespace

TemperatureSensor::TemperatureSensor(const std::string& prefix) : mKnobs(prefix, kFamily) {}

bool TemperatureSensor::Transfer(std::span<const std::uint8_t> /*written*/,
                                 std::span<std::uint8_t> read) {
  const double nearest = std::round((mKnobs[0].Number() - kOffset) / kUnitsPerStep);
  const auto steps = static_cast<std::int16_t>(std::clamp(nearest, -32768.0, 32767.0));
  for (std::size_t i = 0; i < read.size(); ++i) {
    read[i] = static_cast<std::uint8_t>(i % 2 == 0 ? steps >> 8 : steps);
  }
  return true;
}

}  // namespace desk
