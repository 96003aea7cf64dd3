#include "chips/clock_chip.h"

#include <chrono>
#include <cmath>

namespace desk {

namespace {

constexpr std::uint8_t kRegisters = 8;
constexpr std::uint8_t kHaltBit = 0x80;

enum Row : std::size_t { kRate, kHalt, kSeconds };

constexpr KnobRow kRows[] = {
    {"rate", KnobKind::Number, "s/s", "1", -10, 10,
     "Seconds that the chip counts in one second of the camera; 0: it stands.",
     Breaks({"0", "the clock stands", "main board"},
            {"0.7", "the clock is far too slow", "main board", "0.8 and slower"},
            {"1.3", "the clock is far too fast", "main board", "1.2 and faster"})},
    {"halt", KnobKind::Bool, "", "false", 0, 0,
     "The chip's halt bit: set, the oscillator stands and the bit shows in the seconds register.",
     Breaks({"true", "the clock's oscillator is stopped", "main board"})},
    {"seconds", KnobKind::Integer, "s", "0", 0, 59,
     "The seconds register from now on, at the beginning of that second.",
     Condition("the time of day").Within(0, 59)},
};
constexpr KnobFamily kFamily = {"Real-time clock chip", ".desk.rtc", kRows};

std::uint8_t PackedDecimal(unsigned number) {
  return static_cast<std::uint8_t>(number / 10 % 10 << 4 | number % 10);
}

std::int64_t CalendarStart(const Clock& clock) {
  const CalendarTime now = clock.Local(clock.UnixTime());
  const auto day = std::chrono::year(now.year) / now.month / now.day;
  return std::chrono::seconds(std::chrono::sys_days(day).time_since_epoch() +
                              std::chrono::hours(now.hour) + std::chrono::minutes(now.minute) +
                              std::chrono::seconds(now.second))
      .count();
}

}  // namespace

ClockChip::ClockChip(const Clock& clock) : mClock(clock), mKnobs(kFamily), mCount(clock) {
  // The seconds that were counted under the old rate stay counted.
  const auto settle = [this](const KnobValue& /*value*/) {
    mCount.Set(Seconds());
    return true;
  };
  mKnobs[kRate].OnWrite(settle);
  mKnobs[kHalt].OnWrite(settle);
  mKnobs[kSeconds].OnWrite([this](const KnobValue& value) {
    const double minute = std::floor(Seconds() / 60) * 60;
    mCount.Set(minute + std::get<double>(value));
    return true;
  });
  mKnobs[kSeconds].OnRead([this] { return KnobValue(static_cast<double>(WholeSeconds() % 60)); });
  ClockChip::Restore();
}

// The chip is set to the camera's local time.
void ClockChip::Restore() {
  mCount.Set(static_cast<double>(CalendarStart(mClock)));
}

double ClockChip::Seconds() const {
  return mCount.At(mKnobs[kHalt].Bool() ? 0 : mKnobs[kRate].Number());
}

std::int64_t ClockChip::WholeSeconds() const {
  return static_cast<std::int64_t>(std::floor(Seconds()));
}

std::uint8_t ClockChip::ByteAt(std::uint8_t address, std::int64_t seconds) const {
  const std::chrono::sys_seconds now{std::chrono::seconds(seconds)};
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  switch (address) {
    case 0:
      return static_cast<std::uint8_t>(
          PackedDecimal(static_cast<unsigned>(time.seconds().count())) |
          (mKnobs[kHalt].Bool() ? kHaltBit : 0));
    case 1:
      return PackedDecimal(static_cast<unsigned>(time.minutes().count()));
    case 2:
      return PackedDecimal(static_cast<unsigned>(time.hours().count()));
    case 3:
      return PackedDecimal(std::chrono::weekday(day).iso_encoding());
    case 4:
      return PackedDecimal(static_cast<unsigned>(date.day()));
    case 5:
      return PackedDecimal(static_cast<unsigned>(date.month()));
    case 6:
      return PackedDecimal(static_cast<unsigned>(static_cast<int>(date.year()) % 100));
    default:
      return 0;
  }
}

bool ClockChip::Transfer(std::span<const std::uint8_t> written, std::span<std::uint8_t> read) {
  if (!written.empty()) mAddress = written[0] % kRegisters;
  // The registers stand still while they are read.
  const std::int64_t seconds = WholeSeconds();
  for (std::uint8_t& byte : read) {
    byte = ByteAt(mAddress, seconds);
    mAddress = static_cast<std::uint8_t>((mAddress + 1) % kRegisters);
  }
  return true;
}

}  // namespace desk
