// Every failure that the device tests can report, each by a knob of the running camera.
#include <gtest/gtest.h>

#include "support/test_camera.h"

namespace test {
namespace {

struct FaultCase {
  const char* name;
  const char* variant;
  const char* knobs;  // "path=value path=value"
  const char* item;
  Result expected;
};

void Turn(BareCamera& camera, const std::string& knobs) {
  std::istringstream writes(knobs);
  for (std::string write; writes >> write;) {
    const std::size_t equals = write.find('=');
    camera.Set(write.substr(0, equals), write.substr(equals + 1));
  }
}

const Result kNoBattery = {1, "E 0002  ", "Battery not detected"};
const Result kNoClock = {1, "E 0011  ", "Clock not detected"};
const Result kClockStands = {1, "E 0012  ", "Clock not running"};
const Result kClockRuns = {0, "OK      ", "Clock OK"};
constexpr char kBattery[] = "test.items.battery.battery";
constexpr char kClock[] = "test.items.clock.clock";

const FaultCase kCases[] = {
    {"BatteryHealthy", "K", "", kBattery, {0, "OK      ", "Battery detected"}},
    {"BatterySilent", "K", ".desk.bus.i2c1.e6.answers=false", kBattery, kNoBattery},
    {"BatteryHSilent", "H", ".desk.bus.i2c2.e6.answers=false", kBattery, kNoBattery},
    {"BatteryR8Silent", "R8", ".desk.bus.i2c2.e6.fail=0,1", kBattery, kNoBattery},
    {"BatteryNSilent", "N", ".desk.bus.i2c1.e6.fail=0,1", "test.items.battery", kNoBattery},
    {"BatteryDriverFails", "K", ".desk.driver.i2c1.fail=0,1", kBattery, kNoBattery},
    {"GaugeHealthy",
     "KY",
     "",
     kBattery,
     {0, "OK      ", "Fuel Gauge detected U=3700, I=-450, C=85%"}},
    {"GaugeReadings",
     "R7",
     ".desk.gauge.voltage=3600 .desk.gauge.current=-10 .desk.gauge.charge=7",
     kBattery,
     {0, "OK      ", "Fuel Gauge detected U=3600, I=-10, C=7%"}},
    {"GaugeExtremes",
     "LQ",
     ".desk.gauge.voltage=32767 .desk.gauge.current=-32768",
     kBattery,
     {0, "OK      ", "Fuel Gauge detected U=32767, I=-32768, C=85%"}},
    {"GaugeSilent", "KY", ".desk.bus.i2c2.aa.answers=false", kBattery, kNoBattery},
    {"GaugeSecondTransfer", "R7", ".desk.bus.i2c2.aa.fail=1,1", kBattery, kNoBattery},
    {"GaugeThirdTransfer", "LQ", ".desk.bus.i2c2.aa.fail=2,1", kBattery, kNoBattery},
    {"GaugeFourthIsAnotherRun",
     "KY",
     ".desk.bus.i2c2.aa.fail=3,1",
     kBattery,
     {0, "OK      ", "Fuel Gauge detected U=3700, I=-450, C=85%"}},

    {"ClockSilent", "K", ".desk.bus.i2c1.d0.answers=false", kClock, kNoClock},
    {"ClockNSilent", "N", ".desk.bus.i2c1.d0.answers=false", "test.items.clock", kNoClock},
    {"ClockSecondTransfer", "M", ".desk.bus.i2c1.d0.fail=1,1", kClock, kNoClock},
    {"ClockStands", "KY", ".desk.rtc.rate=0", kClock, kClockStands},
    {"ClockHalted", "V8", ".desk.rtc.halt=true", kClock, kClockStands},
    {"ClockFrozenByte", "K", ".desk.bus.i2c1.d0.data=10", kClock, kClockStands},
    {"ClockTooFast", "K", ".desk.rtc.seconds=10 .desk.rtc.rate=1.2", kClock, kClockStands},
    {"ClockTooSlow", "K", ".desk.rtc.seconds=10 .desk.rtc.rate=0.8", kClock, kClockStands},
    {"ClockTenToFifteen", "K", ".desk.rtc.seconds=10", kClock, kClockRuns},
    {"ClockMinuteTurns", "K", ".desk.rtc.seconds=57", kClock, kClockRuns},
    {"ClockTurnsTooSoon", "K", ".desk.rtc.seconds=58 .desk.rtc.rate=0.8", kClock, kClockStands},
    {"ClockBackwards", "K", ".desk.rtc.seconds=30 .desk.rtc.rate=-1", kClock, kClockStands},

    {"CounterHealthy", "H", "", kClock, kClockRuns},
    {"CounterByThree", "M7", ".desk.pmi.rate=0.6", kClock, kClockStands},
    {"CounterByFour", "M7", ".desk.pmi.rate=0.8", kClock, kClockRuns},
    {"CounterBySix", "M8", ".desk.pmi.rate=1.2", kClock, kClockRuns},
    {"CounterBySeven", "M8", ".desk.pmi.rate=1.4", kClock, kClockStands},
    {"CounterBackwards", "H", ".desk.pmi.rate=-1", kClock, kClockStands},
    {"CounterWraps", "H", ".desk.pmi.counter=4294967294", kClock, kClockRuns},
    {"CounterDriverMissing", "H", ".desk.driver.pmi1.present=false", kClock, kNoClock},
    {"CounterFirstReadFails", "H", ".desk.driver.pmi1.fail=0,1", kClock, kClockStands},
    {"CounterSecondReadFails", "H", ".desk.driver.pmi1.fail=1,1", kClock, kClockStands},
    // The word of a failed first read must not make up a difference that passes.
    {"CounterSmallFirstFails", "H", ".desk.pmi.counter=0 .desk.driver.pmi1.fail=0,1", kClock,
     kClockStands},
};

class DeviceFaultTest : public ::testing::TestWithParam<FaultCase> {};

TEST_P(DeviceFaultTest, ReportsAsTheTechnicianExpects) {
  TestCamera camera(GetParam().variant);
  Turn(camera, GetParam().knobs);
  EXPECT_EQ(camera.Run(GetParam().item), GetParam().expected);
  EXPECT_EQ(camera.Get(GetParam().item), GetParam().expected.value);
  // With every knob back, the next run passes: nothing is left of the fault.
  camera.Set(".desk.restore", "true");
  EXPECT_EQ(camera.Run(GetParam().item).value, "OK      ");
}

INSTANTIATE_TEST_SUITE_P(Faults, DeviceFaultTest, ::testing::ValuesIn(kCases),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(DeviceStartTest, MissingBusDriverShowsInEveryItemAndInTheClocksClass) {
  TestCamera camera("R7", ".desk.driver.i2c1.present=false");
  ASSERT_TRUE(camera.Started());
  EXPECT_EQ(camera.Run("test.items.eeprom.main").value, "E 0021  ");
  EXPECT_EQ(camera.Run(kBattery).value, "OK      ");
  EXPECT_EQ(camera.Tree(kClock)["class"], "CResBitClockH");
  // A handle that was never opened stays unusable when the driver comes back.
  camera.Set(".desk.driver.i2c1.present", "true");
  EXPECT_EQ(camera.Run("test.items.eeprom.main").value, "E 0021  ");
}

TEST(ClockTraceTest, ReadsSleepsAndReadsAgain) {
  TestCamera camera("KY");
  const Json reply = camera.Write(kClock, "run");
  EXPECT_EQ(TraceLines(reply),
            (std::vector<std::string>{"0 i2c I2C1: d0 00 0000120429081300 true", "0 sleep 5000",
                                      "5000 i2c I2C1: d0 00 0500120429081300 true",
                                      "5000 file /FlashFS/tmp/bitlog.txt a+ true"}));
  EXPECT_EQ(reply["elapsed_ms"], 5000.0);
}

TEST(ClockTraceTest, FailedFirstReadEndsTheTestAtOnce) {
  TestCamera camera("KY");
  camera.Set(".desk.bus.i2c1.d0.answers", "false");
  EXPECT_EQ(TraceLines(camera.Write(kClock, "run")),
            (std::vector<std::string>{"0 i2c I2C1: d0 00  false",
                                      "0 file /FlashFS/tmp/bitlog.txt a+ true"}));
}

TEST(ClockTraceTest, CounterIsReadTwiceAndTheDriverClosed) {
  TestCamera camera("H");
  const Json reply = camera.Write(kClock, "run");
  EXPECT_EQ(TraceLines(reply),
            (std::vector<std::string>{
                "0 open PMI1: true", "0 ioctl PMI1: 0x00224000 14000000 e8030000 true",
                "0 sleep 5000", "5000 ioctl PMI1: 0x00224000 14000000 ed030000 true",
                "5000 close PMI1: true", "5000 file /FlashFS/tmp/bitlog.txt a+ true"}));
}

TEST(GaugeTraceTest, FirstFailureEndsTheReadings) {
  TestCamera camera("KY");
  camera.Set(".desk.bus.i2c2.aa.fail", "1,1");
  EXPECT_EQ(TraceLines(camera.Write(kBattery, "run")),
            (std::vector<std::string>{"0 i2c I2C2: aa 08 740e true", "0 i2c I2C2: aa 14  false",
                                      "0 file /FlashFS/tmp/bitlog.txt a+ true"}));
}

// The halt flag shares the seconds' byte: a chip that shows it and still counts is running.
TEST(ClockTest, IgnoresTheHaltFlagInTheSeconds) {
  TestCamera camera("KY");
  camera.Set(".desk.bus.i2c1.d0.data", "80");
  camera.Set(".desk.clock.at", "2 .desk.bus.i2c1.d0.data=85");
  EXPECT_EQ(camera.Run(kClock), kClockRuns);
  // Exactly the seconds that were slept: 58 to 02 is one too few.
  camera.Set(".desk.bus.i2c1.d0.data", "58");
  camera.Set(".desk.clock.at", "2 .desk.bus.i2c1.d0.data=02");
  EXPECT_EQ(camera.Run(kClock), kClockStands);
}

}  // namespace
}  // namespace test
