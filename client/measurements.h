// The numbers that a test's message tells.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace client {

struct Measurement {
  std::string name;  // "voltage", or the sensor that the message names: "Tempsens Shutter"
  std::string unit;  // "mV"
  double value = 0;
  // Beyond which the test fails; none where it judges nothing, or by a level that is set on the
  // camera.
  std::optional<double> lower;
  std::optional<double> upper;
};

// In the order of the message; a message of a form that is not known has none.
std::vector<Measurement> MeasurementsOf(const std::string& className, const std::string& message);

}  // namespace client
