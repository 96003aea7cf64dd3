#include "chips/temperature_converter.h"

#include <algorithm>
#include <cmath>

namespace desk {

namespace {

constexpr std::int32_t kMostSteps = 0xFFFFFF;

enum Row : std::size_t { kTemperature, kConversion };

constexpr KnobRow kRows[] = {
    {"temperature", KnobKind::Number, "0.0001 K", "2981500", 0, 4294967295,
     "What the converter measures; it reaches from 13.4 K to 623.8 K.",
     Breaks({"3430000", "the sensor reads far too hot", "", "343 K and hotter, 243 K and colder",
             false, kOtherSensor},
            {"2000000", "the sensor reads far too cold", "", "", false, kOtherSensor})
         .Within(2730000, 3130000)},
    {"conversion", KnobKind::Number, "s", "0", 0, 1e6,
     "How long a conversion takes. Requests before its end are not acknowledged.",
     Breaks({"10", "the converter never finishes", "", "3 s", false, kOtherSensor}).Within(0, 0.5)},
};
constexpr KnobFamily kFamily = {"24-bit temperature converter", ".desk.bus.<bus>.<address>", kRows};

// What a count of steps means, in the single precision in which the camera reckons.
double TemperatureOf(std::int32_t steps) {
  const float ohm = static_cast<float>(steps) * 2.9802324e-5F * 4.7F - 1000.0F;
  return std::trunc(static_cast<double>(ohm * 0.25974026F + 273.15F) * 10000.0);
}

// The count whose meaning is nearest to the temperature: several neighbours share one, so it is
// exact within the converter's reach.
std::int32_t StepsFor(double temperature) {
  constexpr std::int32_t kNeighbours = 8;
  const double guess = ((temperature / 10000 - 273.15) / 0.25974026 + 1000.0) / 4.7 / 2.9802324e-5;
  const auto middle =
      static_cast<std::int32_t>(std::clamp(guess, 0.0, static_cast<double>(kMostSteps)));
  std::int32_t best = middle;
  for (std::int32_t steps = std::max(0, middle - kNeighbours);
       steps <= std::min(kMostSteps, middle + kNeighbours); ++steps) {
    if (std::abs(TemperatureOf(steps) - temperature) <
        std::abs(TemperatureOf(best) - temperature)) {
      best = steps;
    }
  }
  return best;
}

}  // namespace

TemperatureConverter::TemperatureConverter(const Clock& clock, const std::string& prefix)
    : mClock(clock), mKnobs(prefix, kFamily) {
  // A conversion under way is given up.
  mKnobs[kConversion].OnWrite([this](const KnobValue& /*value*/) {
    TemperatureConverter::Restore();
    return true;
  });
}

void TemperatureConverter::Restore() {
  const std::lock_guard lock(mLock);
  mReadyAt = kNever;
}

bool TemperatureConverter::ConversionIsDone() {
  const double seconds = mKnobs[kConversion].Number();
  const std::lock_guard lock(mLock);
  if (mReadyAt == kNever) {
    mReadyAt = mClock.Now() + FromSeconds(seconds);
  }
  if (mClock.Now() < mReadyAt) return false;
  mReadyAt = kNever;  // the next request starts the next one
  return true;
}

bool TemperatureConverter::Transfer(std::span<const std::uint8_t> /*written*/,
                                    std::span<std::uint8_t> read) {
  if (!ConversionIsDone()) return false;
  // Two flag bits, 24 bits, six more that are not used here.
  const auto steps = static_cast<std::uint32_t>(StepsFor(mKnobs[kTemperature].Number()));
  const std::uint8_t bytes[] = {
      static_cast<std::uint8_t>(steps >> 18), static_cast<std::uint8_t>(steps >> 10),
      static_cast<std::uint8_t>(steps >> 2), static_cast<std::uint8_t>(steps << 6)};
  for (std::size_t i = 0; i < read.size(); ++i) read[i] = i < sizeof bytes ? bytes[i] : 0;
  return true;
}

}  // namespace desk
