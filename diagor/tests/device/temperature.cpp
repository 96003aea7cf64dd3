#include "tests/device/temperature.h"

#include <cstdint>

#include "app/framework.h"
#include "items/format.h"

namespace {

constexpr Temperature kPlausibleMin = 2430001;
constexpr Temperature kPlausibleMax = 3429999;
constexpr int kTriplePoint = 2731600;  // of water
constexpr int kUnitsPerKelvin = 10000;
constexpr int kSensorStepsPerKelvin = 128;

// Single precision, bit for bit: the camera's own arithmetic.
constexpr float kOhmPerStep = 2.9802324e-5F;
constexpr float kReferenceRatio = 4.7F;
constexpr float kOhmAtZeroCelsius = 1000.0F;
constexpr float kKelvinPerOhm = 0.25974026F;
constexpr float kZeroCelsius = 273.15F;

}  // namespace

Temperature BlockTemperature(const BYTE (&answer)[kBlockBytes], DWORD word) {
  const BYTE* const bytes = answer + 1 + sizeof(Temperature) * word;
  const DWORD assembled = bytes[0] | static_cast<DWORD>(bytes[1]) << 8 |
                          static_cast<DWORD>(bytes[2]) << 16 | static_cast<DWORD>(bytes[3]) << 24;
  return dEndian(assembled);
}

Temperature SensorTemperature(const BYTE (&answer)[kSensorBytes]) {
  const auto steps = static_cast<std::int16_t>(answer[0] << 8 | answer[1]);
  return static_cast<Temperature>(kTriplePoint + steps * kUnitsPerKelvin / kSensorStepsPerKelvin);
}

Temperature ConverterTemperature(const BYTE (&answer)[kConverterBytes]) {
  const int raw = ((answer[0] & 0x3F) * 65536 + answer[1] * 256 + answer[2]) * 4 + (answer[3] >> 6);
  const float ohm = static_cast<float>(raw) * kOhmPerStep * kReferenceRatio - kOhmAtZeroCelsius;
  const float kelvin = ohm * kKelvinPerOhm + kZeroCelsius;
  return static_cast<Temperature>(static_cast<double>(kelvin) * 10000.0);
}

bool IsPlausible(Temperature temperature) {
  return temperature >= kPlausibleMin && temperature <= kPlausibleMax;
}

std::string TemperatureText(const char* name, Temperature temperature) {
  const double kelvin = temperature * 0.0001;
  return IsPlausible(temperature) ? FormatText("%s:%f K, ", name, kelvin)
                                  : FormatText("%s:Out of range %f K, ", name, kelvin);
}
