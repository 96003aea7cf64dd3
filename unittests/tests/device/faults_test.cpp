// Every failure that the device tests can report, each by a knob of the running camera.
#include <gtest/gtest.h>

#include "support/fault_case.h"
#include "support/test_camera.h"

namespace test {
namespace {

const Result kClockStands = {1, "E 0012  ", "Clock not running"};
const Result kClockRuns = {0, "OK      ", "Clock OK"};
const Result kNoIrdmStart = {1, "E 00B0  ", "Failed to init IRDM test"};
const Result kNoIrdm = {1, "E 00B1  ", "IRDM not detected"};
const Result kNoVisualStart = {1, "E 00F0  ", "Failed to init visual test"};
const Result kVisualFails = {1, "E 00B1  ", "Visual test mode failed"};
const Result kGpsUnconnected = {1, "E 00E2  ", "GPS not connected"};
const Result kNoMagnet = {1, "E 0101  ", "LCD Magnet not detected"};
constexpr char kIrdm[] = "test.items.IRDM.IRDM";
constexpr char kDraft[] = "test.items.visual.draft";
constexpr char kStill[] = "test.items.visual.still";
constexpr char kVisual[] = "test.items.visual.detect";
constexpr char kGps[] = "test.items.gps.detect";
constexpr char kMagnet[] = "test.items.LCDMagnet.detect";
constexpr char kCompass[] = "test.items.compass.detect";
constexpr char kAccel[] = "test.items.accel.detect";
constexpr char kBattery[] = "test.items.battery.battery";
constexpr char kClock[] = "test.items.clock.clock";

const FaultCase kCases[] = {
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

    {"ClockStands", "KY", ".desk.rtc.rate=0", kClock, kClockStands},
    {"ClockHalted", "V8", ".desk.rtc.halt=true", kClock, kClockStands},
    {"ClockFrozenByte", "K", ".desk.bus.i2c1.d0.data=10", kClock, kClockStands},
    {"ClockTooFast", "K", ".desk.rtc.seconds=10 .desk.rtc.rate=1.2", kClock, kClockStands},
    {"ClockTooSlow", "K", ".desk.rtc.seconds=10 .desk.rtc.rate=0.8", kClock, kClockStands},
    {"ClockTenToFifteen", "K", ".desk.rtc.seconds=10", kClock, kClockRuns},
    {"ClockMinuteTurns", "K", ".desk.rtc.seconds=57", kClock, kClockRuns},
    {"ClockTurnsTooSoon", "K", ".desk.rtc.seconds=58 .desk.rtc.rate=0.8", kClock, kClockStands},
    {"ClockBackwards", "K", ".desk.rtc.seconds=30 .desk.rtc.rate=-1", kClock, kClockStands},

    {"CounterByThree", "M7", ".desk.pmi.rate=0.6", kClock, kClockStands},
    {"CounterByFour", "M7", ".desk.pmi.rate=0.8", kClock, kClockRuns},
    {"CounterBySix", "M8", ".desk.pmi.rate=1.2", kClock, kClockRuns},
    {"CounterBySeven", "M8", ".desk.pmi.rate=1.4", kClock, kClockStands},
    {"CounterBackwards", "H", ".desk.pmi.rate=-1", kClock, kClockStands},
    {"CounterWraps", "H", ".desk.pmi.counter=4294967294", kClock, kClockRuns},
    // The word of a failed first read must not make up a difference that passes.
    {"CounterSmallFirstFails", "H", ".desk.pmi.counter=0 .desk.driver.pmi1.fail=0,1", kClock,
     kClockStands},

    {"IrdmRegister58", "M7", ".desk.fvd.status58=1", kIrdm, kNoIrdm},
    {"IrdmRegister59", "M7", ".desk.fvd.status59=3", kIrdm, kNoIrdm},

    {"DraftRefused", "N7", ".desk.cam.refuses=2", kDraft, kNoVisualStart},
    {"StillRefused", "K", ".desk.cam.refuses=3", kStill, kNoVisualStart},
    {"StillBackToDraftRefused", "K", ".desk.cam.refuses=2", kStill, kNoVisualStart},
    // In still mode the last request is the camera's: the front-end's outcome is not looked at.
    {"StillRegisterFails", "K", ".desk.driver.fvd1.fail=0,1", kStill, {0, "OK      ", "Visual OK"}},
    {"DraftRegister58", "K", ".desk.fvd.status58=2", kDraft, kVisualFails},
    {"StillRegister59", "K", ".desk.fvd.status59=2", kStill, kVisualFails},

    {"VisualSilent",
     "K",
     ".desk.driver.cam1.fail=0,1 .desk.driver.cam1.error=171",
     kVisual,
     {1, "E 00F1  ", "Visual camera not responding, error: 0xAB"}},
    {"VisualInactive",
     "N7",
     ".desk.cam.state=0",
     kVisual,
     {1, "E 00F2  ", "Visual camera not active"}},
    {"VisualOtherState",
     "H",
     ".desk.cam.state=2",
     kVisual,
     {1, "E 00F2  ", "Visual camera not active"}},

    {"GpsUnconnected", "KY", ".desk.gps.connected=false", kGps, kGpsUnconnected},
    {"GpsNotReadyYet", "KY", ".desk.gps.ready=5", kGps, kGpsUnconnected},

    {"MagnetLost", "H", ".desk.display.magnet=false", kMagnet, kNoMagnet},
    {"MagnetNobodyMoves", "H", ".desk.operator.mode=none", kMagnet, kNoMagnet},
    {"MagnetMovedTooSeldom", "H", ".desk.operator.moves=4", kMagnet, kNoMagnet},
    {"MagnetMovedTooSlowly", "H", ".desk.operator.reaction=2.1", kMagnet, kNoMagnet},
    // A first reading of false counts as a change.
    {"MagnetStartsIn",
     "H",
     ".desk.display.out=false .desk.operator.moves=5",
     kMagnet,
     {0, "Tested  ", "FILTER tested"}},

    {"CompassType",
     "R8",
     ".system.direction.compass.type=ABC",
     kCompass,
     {0, "Tested  ", "Compass ABC tested"}},
    {"CompassEmpty",
     "R8",
     ".system.direction.compass.type=",
     kCompass,
     {1, "E 0132  ", "Compass not responding"}},
    {"AccelEmpty",
     "R8",
     ".system.direction.sensorAccel.type=",
     kAccel,
     {1, "E 0142  ", "Accelerometer not responding"}},
};

INSTANTIATE_TEST_SUITE_P(Device, FaultTest, ::testing::ValuesIn(kCases), NameOfFault);

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

TEST(DeviceStartTest, MissingVideoDriversShowInTheirItems) {
  TestCamera camera("N7", ".desk.driver.fvd1.present=false;.desk.driver.cam1.present=false");
  EXPECT_EQ(camera.Run(kIrdm), kNoIrdmStart);
  EXPECT_EQ(camera.Run(kDraft), kNoVisualStart);
  // The visual camera's own test stores nothing: what was found last stays.
  const Json untested = camera.Write(kVisual, "run");
  EXPECT_EQ(untested["status"], 0xF0);
  EXPECT_EQ(untested["value"], "Untested");
  EXPECT_TRUE(untested["records"].empty());
  camera.Set(".desk.driver.cam1.present", "true");
  EXPECT_EQ(camera.Run(kVisual).value, "Tested  ");
  camera.Set(".desk.driver.cam1.present", "false");
  EXPECT_EQ(camera.Write(kVisual, "run")["value"], "Tested  ");
}

TEST(VisualTraceTest, ModesSendTheirRequestsAndWait) {
  using Lines = std::vector<std::string>;
  TestCamera camera("K");
  EXPECT_EQ(TraceLines(camera.Write(kStill, "run")),
            (Lines{"0 ioctl CAM1: 0x81008024 03000000  true", "0 sleep 500",
                   "500 ioctl FVD1: 0x80000028 3a00000002000000  true",
                   "500 ioctl CAM1: 0x81008024 02000000  true", "500 sleep 500", "1000 sleep 100",
                   "1100 ioctl FVD1: 0x80000024 3a000000 00000000 true",
                   "1100 ioctl FVD1: 0x80000024 3b000000 00000000 true",
                   "1100 file /FlashFS/tmp/bitlog.txt a+ true"}));
  EXPECT_EQ(TraceLines(camera.Write(kDraft, "run")),
            (Lines{"0 ioctl CAM1: 0x81008024 02000000  true", "0 sleep 500",
                   "500 ioctl FVD1: 0x80000028 3a00000004000000  true", "500 sleep 100",
                   "600 ioctl FVD1: 0x80000024 3a000000 00000000 true",
                   "600 ioctl FVD1: 0x80000024 3b000000 00000000 true",
                   "600 file /FlashFS/tmp/bitlog.txt a+ true"}));
  EXPECT_EQ(TraceLines(camera.Write(kVisual, "run")),
            (Lines{"0 open CAM1: true", "0 ioctl CAM1: 0x81004014  01000000 true",
                   "0 close CAM1: true", "0 file /FlashFS/tmp/bitlog.txt a+ true"}));
}

TEST(GpsTest, LeavesThePowerAsItFoundItOnEveryPath) {
  constexpr char kPower[] = ".power.settings.gpsPower";
  for (const char* const found : {"false", "true"}) {
    for (const char* const knobs :
         {"", ".desk.gps.connected=false", ".desk.gps.ready=9", ".desk.hidden=power.states.gpsOK",
          ".desk.unreadable=power.states.gpsOK", ".desk.unreadable=power.settings.gpsPower"}) {
      TestCamera camera("KY");
      Turn(camera, knobs);
      camera.Set(kPower, found);
      const Json reply = camera.Write(kGps, "run");
      EXPECT_EQ(camera.Get(kPower), found) << knobs;
      const std::vector<std::string> steps = TraceLines(reply);
      const auto writes = std::count_if(steps.begin(), steps.end(), [](const auto& step) {
        return step.starts_with("0 set power.settings.gpsPower ");
      });
      // A supply that cannot be read is not switched.
      const bool isSwitched = std::string(found) == "false" &&
                              std::string(knobs).find("settings.gpsPower") == std::string::npos;
      EXPECT_EQ(writes, isSwitched ? 2 : 0) << knobs;
    }
  }
}

TEST(GpsTest, IsReadyAWhileAfterItsPower) {
  TestCamera camera("KY");
  camera.Set(".desk.gps.ready", "30");
  camera.Set(".power.settings.gpsPower", "true");
  EXPECT_EQ(camera.Run(kGps), kGpsUnconnected);
  camera.Set(".desk.clock.advance", "30");
  EXPECT_EQ(camera.Run(kGps).value, "Tested  ");
  // A client's own value holds until the device's next change.
  camera.Set(".power.states.gpsOK", "false");
  EXPECT_EQ(camera.Run(kGps), kGpsUnconnected);
  camera.Set(".desk.gps.connected", "false");
  camera.Set(".desk.gps.connected", "true");
  EXPECT_EQ(camera.Get(".power.states.gpsOK"), "true");
}

TEST(MagnetTest, ReadsTwentyTimesHalfASecondApart) {
  TestCamera camera("H");
  camera.Set(".desk.display.magnet", "false");
  const Json reply = camera.Write(kMagnet, "run");
  EXPECT_EQ(reply["elapsed_ms"], 10000.0);
  const std::vector<std::string> steps = TraceLines(reply);
  ASSERT_EQ(steps.size(), 41U);
  EXPECT_EQ(steps[38], "9500 get power.states.lcdOut true true");
  EXPECT_EQ(steps[39], "9500 sleep 500");
}

TEST(CompassTest, LongTypeIsCutWhereTheLogCuts) {
  TestCamera camera("R8");
  camera.Set(".system.direction.compass.type", std::string(1000, 'T'));
  EXPECT_EQ(camera.Run(kCompass), (Result{0, "Tested  ", "Compass " + std::string(171, 'T')}));
}

}  // namespace
}  // namespace test
