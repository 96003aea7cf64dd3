#include "client/measurements.h"

#include <fnmatch.h>

#include <regex>

namespace client {

namespace {

struct Quantity {
  const char* name;  // empty: the message's own, in the group before the number's
  const char* unit;
  std::optional<double> lower = {};
  std::optional<double> upper = {};
};

// A class with * and ?, and a form that may come several times in its message: a group for each
// number.
struct Form {
  const char* className;
  std::regex pattern;
  std::vector<Quantity> quantities;
};

const std::vector<Form>& Forms() {
  // The least and the most that is plausible to the tests.
  static const Quantity temperature = {"", "K", 243.0001, 342.9999};
  static const std::regex temperatures(R"(([^:,]+):(?:Out of range )?(-?\d+\.\d+) K, )");
  static const std::vector<Form> kForms = {
      {"CResBitBatteryFG",
       std::regex(R"(^Fuel Gauge detected U=(-?\d+), I=(-?\d+), C=(-?\d+)%$)"),
       {{"voltage", "mV"}, {"current", "mA"}, {"charge", "%"}}},
      {"CResBitTempsens*", temperatures, {temperature}},
      {"CResBitDualTempsensItems", temperatures, {temperature}},
      {"CResBitShutter*",
       std::regex(R"(stucked, diff: ?(-?\d+)$)"),
       {{"largest difference", "counts"}}},
      {"CResBitShutter*",
       std::regex(R"(locked, diff: ?(-?\d+)$)"),
       {{"difference of the means", "counts"}}},
      {"CResBitAperture*",
       std::regex(R"(stucked, diff: ?(-?\d+)$)"),
       {{"largest difference", "counts"}}},
      {"CResBitAperture*",
       std::regex(R"(locked, diff: ?(-?\d+)$)"),
       {{"difference of the means", "counts"}}},
      {"CResBitFilterH", std::regex(R"(maxdiff (-?\d+))"), {{"largest difference", "counts"}}},
      {"CResBitCooler", std::regex(R"(Cool down time: (\d+) S)"), {{"cool-down time", "s"}}},
  };
  return kForms;
}

std::string WithoutBlanks(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

void Read(const std::string& message, const Form& form, std::vector<Measurement>& measurements) {
  for (std::sregex_iterator match(message.begin(), message.end(), form.pattern), end; match != end;
       ++match) {
    std::size_t group = 1;
    for (const Quantity& quantity : form.quantities) {
      std::string name = quantity.name;
      if (name.empty()) name = WithoutBlanks((*match)[group++].str());
      // Any number of digits fits: beyond the range of doubles it is none.
      const double value = std::strtod((*match)[group++].str().c_str(), nullptr);
      measurements.push_back({name, quantity.unit, value, quantity.lower, quantity.upper});
    }
  }
}

}  // namespace

std::vector<Measurement> MeasurementsOf(const std::string& className, const std::string& message) {
  // The library's matcher goes deeper with each character of a long text.
  constexpr std::size_t kLongest = 1000;
  std::vector<Measurement> measurements;
  if (message.size() > kLongest) return measurements;
  for (const Form& form : Forms()) {
    if (fnmatch(form.className, className.c_str(), 0) == 0) Read(message, form, measurements);
  }
  return measurements;
}

}  // namespace client
