// Chips behave: a clock counts, a gauge discharges, an EEPROM stores; and their knobs.
#include <gtest/gtest.h>

#include "chips/chip.h"
#include "knobs/knob.h"

namespace test {
namespace {

using namespace std::chrono_literals;

class ChipTest : public ::testing::Test {
 protected:
  using Bytes = std::vector<int>;

  void Use(const char* kind) { mChip = desk::MakeChip(kind, mClock, ".desk.chip"); }
  Bytes Read(std::uint8_t address, std::size_t count) {
    std::vector<std::uint8_t> read(count);
    mChip->Transfer({&address, 1}, read);
    return {read.begin(), read.end()};
  }
  desk::Knob& Knob(const std::string& name) {
    for (desk::Knob& knob : mChip->Knobs()->All()) {
      if (knob.Row().name == name) return knob;
    }
    throw std::runtime_error("no knob " + name);
  }

  desk::Clock mClock{desk::Clock::Kind::Virtual};
  std::unique_ptr<desk::Chip> mChip;
};

TEST_F(ChipTest, ClockChipCountsTheCalendarInPackedDecimal) {
  Use("clock_chip");
  EXPECT_EQ(Read(0, 8), (Bytes{0x00, 0x00, 0x12, 0x04, 0x29, 0x08, 0x13, 0x00}));
  mClock.Advance(std::chrono::hours(60) + 59s);  // into September, a Sunday
  EXPECT_EQ(Read(0, 7), (Bytes{0x59, 0x00, 0x00, 0x07, 0x01, 0x09, 0x13}));
  EXPECT_EQ(Read(6, 3), (Bytes{0x13, 0x00, 0x59}));  // behind the last register the first
}

TEST_F(ChipTest, ClockChipKnobs) {
  Use("clock_chip");
  ASSERT_TRUE(Knob("seconds").Write(57.0));
  EXPECT_EQ(Read(0, 1), Bytes{0x57});
  mClock.Advance(5s);
  EXPECT_EQ(Read(0, 2), (Bytes{0x02, 0x01}));
  ASSERT_TRUE(Knob("halt").Write(true));
  mClock.Advance(30s);
  EXPECT_EQ(Read(0, 1), Bytes{0x82});
  ASSERT_TRUE(Knob("halt").Write(false));
  ASSERT_TRUE(Knob("rate").Write(0.5));
  mClock.Advance(10s);
  EXPECT_EQ(Read(0, 1), Bytes{0x07});
  EXPECT_EQ(Knob("seconds").Number(), 7);
  EXPECT_FALSE(Knob("seconds").Write(60.0));
  EXPECT_FALSE(Knob("seconds").Write(1.5));
  EXPECT_FALSE(Knob("halt").Write(std::string("true")));
}

TEST_F(ChipTest, FuelGaugeDischargesByItsCurrent) {
  Use("fuel_gauge");
  EXPECT_EQ(Read(0x08, 2), (Bytes{0x74, 0x0E}));  // 3700 mV
  EXPECT_EQ(Read(0x14, 2), (Bytes{0x3E, 0xFE}));  // -450 mA
  EXPECT_EQ(Read(0x2C, 2), (Bytes{0x55, 0x00}));  // 85 percent
  mClock.Advance(std::chrono::hours(1));          // 450 of 4500 mAh
  EXPECT_EQ(Read(0x2C, 2), (Bytes{75, 0}));
  ASSERT_TRUE(Knob("current").Write(9000.0));
  mClock.Advance(std::chrono::minutes(6));
  EXPECT_EQ(Read(0x2C, 2), (Bytes{95, 0}));
  mClock.Advance(std::chrono::hours(5));
  EXPECT_EQ(Read(0x2C, 2), (Bytes{100, 0}));
  ASSERT_TRUE(Knob("charge").Write(-2.0));  // what no healthy gauge says
  ASSERT_TRUE(Knob("current").Write(-1.0));
  EXPECT_EQ(Read(0x2C, 2), (Bytes{0xFE, 0xFF}));
}

TEST_F(ChipTest, EepromStoresBehindAnAddressThatWraps) {
  Use("eeprom");
  const std::uint8_t written[] = {0xFF, 1, 2};
  mChip->Transfer(written, {});
  EXPECT_EQ(Read(0xFE, 4), (Bytes{0xFF, 1, 2, 0xFF}));
}

TEST(FaultCounterTest, SkipsThenFailsThenAnswersAgain) {
  static constexpr desk::KnobRow kRows[] = {{"fail", desk::KnobKind::Text, "", "0,0", 0, 0, ""}};
  static constexpr desk::KnobFamily kFamily = {"", ".x", kRows};
  desk::KnobSet knobs(kFamily);
  desk::FaultCounter faults(knobs[0]);
  const auto strikes = [&faults](int requests) {
    std::string text;
    for (int i = 0; i < requests; ++i) text += faults.ShouldFail() ? 'x' : '.';
    return text;
  };
  EXPECT_EQ(strikes(3), "...");
  ASSERT_TRUE(knobs[0].Write(std::string("2,3")));
  EXPECT_EQ(strikes(7), "..xxx..");
  for (const char* const text : {"", "1", "1,", ",1", "1,2,3", "-1,2", "1, 2", "a,b"}) {
    EXPECT_FALSE(knobs[0].Write(std::string(text))) << text;
  }
  knobs[0].Write(std::string("0,5"));
  knobs.Restore();
  EXPECT_EQ(strikes(2), "..");
}

}  // namespace
}  // namespace test
