// The battery's fuel gauge: voltage, current and charge as signed 16-bit registers, low byte first.
// It discharges by its own current: the charge falls with the camera's time.
#pragma once

#include <mutex>

#include "chips/chip.h"

namespace desk {

class FuelGauge : public Chip {
 public:
  explicit FuelGauge(const Clock& clock);

  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  KnobSet* Knobs() override { return &mKnobs; }

 private:
  double Charge() const;
  std::uint8_t ByteAt(std::uint8_t address) const;

  const Clock& mClock;
  KnobSet mKnobs;
  mutable std::mutex mLock;
  double mSetCharge = 0;  // percent, at mSetAt
  TimePoint mSetAt{};
  std::uint8_t mAddress = 0;
};

}  // namespace desk
