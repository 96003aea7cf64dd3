// A real-time clock chip: seconds, minutes, hours, weekday, date, month, year in packed decimal,
// then a control register. The top bit of the seconds halts the oscillator.
#pragma once

#include "chips/chip.h"
#include "clock/running_count.h"

namespace desk {

class ClockChip : public Chip {
 public:
  explicit ClockChip(const Clock& clock);

  bool Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) override;
  KnobSet* Knobs() override { return &mKnobs; }
  void Restore() override;

 private:
  double Seconds() const;
  std::int64_t WholeSeconds() const;
  std::uint8_t ByteAt(std::uint8_t address, std::int64_t seconds) const;

  const Clock& mClock;
  KnobSet mKnobs;
  RunningCount mCount;  // since 1970-01-01 by the chip's calendar
  std::uint8_t mAddress = 0;
};

}  // namespace desk
