// A 24-bit converter on a platinum resistance of 1000 ohm, measured ratiometrically against 4.7
// kilohm. A first request starts a conversion; the chip acknowledges none before it is done.
#pragma once

#include <mutex>

#include "chips/chip.h"

namespace desk {

class TemperatureConverter : public Chip {
 public:
  TemperatureConverter(const Clock& clock, const std::string& prefix);
  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  KnobSet* Knobs() override { return &mKnobs; }
  void Restore() override;

 private:
  bool ConversionIsDone();

  const Clock& mClock;
  KnobSet mKnobs;
  std::mutex mLock;
  TimePoint mReadyAt = kNever;  // of the conversion under way
};

}  // namespace desk
