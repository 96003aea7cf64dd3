#include "chips/fuel_gauge.h"

#include <algorithm>
#include <cmath>

namespace desk {

namespace {

constexpr std::uint8_t kVoltageRegister = 0x08;
constexpr std::uint8_t kCurrentRegister = 0x14;
constexpr std::uint8_t kChargeRegister = 0x2C;

enum Row : std::size_t { kVoltage, kCurrent, kCapacity, kCharge };

constexpr KnobRow kRows[] = {
    {"voltage", KnobKind::Integer, "mV", "3700", -32768, 32767, "Terminal voltage (U).",
     Breaks({"2500", "the battery is worn out", "battery", "below 3000 mV", false,
             "the battery's test tells what it measures and judges none of it"})
         .Within(3300, 4200)},
    {"current", KnobKind::Integer, "mA", "-450", -32768, 32767,
     "Current (I); negative discharges the battery, positive charges it.",
     Condition("what the camera draws").Within(-1500, 1500)},
    {"capacity", KnobKind::Number, "mAh", "4500", 1, 1e6,
     "Charge of the full battery: how fast the current moves the charge.",
     Breaks({"500", "the battery holds little", "battery", "below 2000 mAh", false,
             "no test lasts long enough to see the charge fall"})
         .Within(3500, 5000)},
    {"charge", KnobKind::Number, "percent", "85", -32768, 32767,
     "Charge (C) from now on; it then moves with the current, between 0 and 100.",
     Condition("how full the battery is").Within(10, 100)},
};
constexpr KnobFamily kFamily = {"Fuel gauge", ".desk.gauge", kRows};

}  // namespace

FuelGauge::FuelGauge(const Clock& clock) : mClock(clock), mKnobs(kFamily) {
  const auto set = [this](const KnobValue& value) {
    const std::lock_guard lock(mLock);
    mSetCharge = std::get<double>(value);
    mSetAt = mClock.Now();
    return true;
  };
  // What was discharged under the old current or capacity stays discharged.
  const auto settle = [this](const KnobValue& /*value*/) {
    const double charge = Charge();
    const std::lock_guard lock(mLock);
    mSetCharge = charge;
    mSetAt = mClock.Now();
    return true;
  };
  mKnobs[kCharge].OnWrite(set);
  mKnobs[kCharge].OnRead([this] { return KnobValue(Charge()); });
  mKnobs[kCurrent].OnWrite(settle);
  mKnobs[kCapacity].OnWrite(settle);
  mKnobs[kCharge].Restore();
}

double FuelGauge::Charge() const {
  const double current = mKnobs[kCurrent].Number();
  const double capacity = mKnobs[kCapacity].Number();
  const std::lock_guard lock(mLock);
  const double hours =
      std::chrono::duration<double, std::ratio<3600>>(mClock.Now() - mSetAt).count();
  const double moved = 100 * current * hours / capacity;
  // Outside 0 to 100 only where the knob put it.
  if (moved < 0) return std::max(mSetCharge + moved, std::min(mSetCharge, 0.0));
  return std::min(mSetCharge + moved, std::max(mSetCharge, 100.0));
}

std::uint8_t FuelGauge::ByteAt(std::uint8_t address) const {
  int word = 0;
  switch (address & ~1) {
    case kVoltageRegister:
      word = static_cast<int>(mKnobs[kVoltage].Number());
      break;
    case kCurrentRegister:
      word = static_cast<int>(mKnobs[kCurrent].Number());
      break;
    case kChargeRegister:
      word = static_cast<int>(std::lround(Charge()));
      break;
    default:
      break;
  }
  return static_cast<std::uint8_t>(address % 2 == 0 ? word : word >> 8);
}

bool FuelGauge::Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) {
  if (!written.empty()) mAddress = written[0];
  for (std::uint8_t& byte : read) byte = ByteAt(mAddress++);
  return true;
}

}  // namespace desk
