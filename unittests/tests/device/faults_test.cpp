// Every failure that the device tests can report, each by a knob of the running camera.
#include <gtest/gtest.h>

#include "support/fault_case.h"
#include "support/steps.h"

namespace test {
namespace {

const Result kClockStands = {1, "E 0012  ", "Clock not running"};
const Result kClockRuns = {0, "OK      ", "Clock OK"};
const Result kNoIrdmStart = {1, "E 00B0  ", "Failed to init IRDM test"};
const Result kNoVisualStart = {1, "E 00F0  ", "Failed to init visual test"};
const Result kGpsUnconnected = {1, "E 00E2  ", "GPS not connected"};
const Result kNoMagnet = {1, "E 0101  ", "LCD Magnet not detected"};
constexpr char kIrdm[] = "test.items.IRDM.IRDM";
constexpr char kDraft[] = "test.items.visual.draft";
constexpr char kStill[] = "test.items.visual.still";
constexpr char kVisual[] = "test.items.visual.detect";
constexpr char kGps[] = "test.items.gps.detect";
constexpr char kMagnet[] = "test.items.LCDMagnet.detect";
constexpr char kCompass[] = "test.items.compass.detect";
constexpr char kBattery[] = "test.items.battery.battery";
constexpr char kClock[] = "test.items.clock.clock";

const FaultCase kCases[] = {
    {"R7", ".desk.gauge.voltage=3600 .desk.gauge.current=-10 .desk.gauge.charge=7",
     "battery.battery", "OK Fuel Gauge detected U=3600, I=-10, C=7%"},
    {"LQ", ".desk.gauge.voltage=32767 .desk.gauge.current=-32768", "battery.battery",
     "OK Fuel Gauge detected U=32767, I=-32768, C=85%"},

    {"KY", ".desk.rtc.rate=0", kClock, kClockStands},
    {"K", ".desk.rtc.seconds=10 .desk.rtc.rate=1.2", kClock, kClockStands},
    {"K", ".desk.rtc.seconds=10", kClock, kClockRuns},
    {"K", ".desk.rtc.seconds=57", kClock, kClockRuns},  // the minute turns meanwhile
    {"K", ".desk.rtc.seconds=58 .desk.rtc.rate=0.8", kClock, kClockStands},
    {"K", ".desk.rtc.seconds=30 .desk.rtc.rate=-1", kClock, kClockStands},

    // The other clock is a counter: four to six steps in the time.
    {"M7", ".desk.pmi.rate=0.6", kClock, kClockStands},
    {"M7", ".desk.pmi.rate=0.8", kClock, kClockRuns},
    {"M8", ".desk.pmi.rate=1.2", kClock, kClockRuns},
    {"M8", ".desk.pmi.rate=1.4", kClock, kClockStands},
    {"H", ".desk.pmi.rate=-1", kClock, kClockStands},
    {"H", ".desk.pmi.counter=4294967294", kClock, kClockRuns},
    // The word of a failed first read must not make up a difference that passes.
    {"H", ".desk.pmi.counter=0 .desk.driver.pmi1.fail=0,1", kClock, kClockStands},

    {"M7", ".desk.fvd.status58=1", "IRDM.IRDM", "E 00B1 IRDM not detected"},
    {"M7", ".desk.fvd.status59=3", "IRDM.IRDM", "E 00B1 IRDM not detected"},

    {"N7", ".desk.cam.refuses=2", kDraft, kNoVisualStart},
    {"K", ".desk.cam.refuses=3", kStill, kNoVisualStart},
    {"K", ".desk.cam.refuses=2", kStill, kNoVisualStart},  // on the way back to draft
    // In still mode the last request is the camera's: the front-end's outcome is not looked at.
    {"K", ".desk.driver.fvd1.fail=0,1", "visual.still", "OK Visual OK"},
    {"K", ".desk.fvd.status58=2", "visual.draft", "E 00B1 Visual test mode failed"},
    {"K", ".desk.fvd.status59=2", "visual.still", "E 00B1 Visual test mode failed"},
    {"K", ".desk.driver.cam1.fail=0,1 .desk.driver.cam1.error=171", "visual.detect",
     "E 00F1 Visual camera not responding, error: 0xAB"},
    {"N7", ".desk.cam.state=0", "visual.detect", "E 00F2 Visual camera not active"},
    {"H", ".desk.cam.state=2", "visual.detect", "E 00F2 Visual camera not active"},

    {"KY", ".desk.gps.connected=false", kGps, kGpsUnconnected},
    {"KY", ".desk.gps.ready=5", kGps, kGpsUnconnected},

    {"H", ".desk.display.magnet=false", kMagnet, kNoMagnet},
    {"H", ".desk.operator.mode=none", kMagnet, kNoMagnet},
    {"H", ".desk.operator.moves=4", kMagnet, kNoMagnet},
    {"H", ".desk.operator.reaction=2.1", kMagnet, kNoMagnet},
    // A first reading of false counts as a change.
    {"H", ".desk.display.out=false .desk.operator.moves=5", "LCDMagnet.detect",
     "Tested FILTER tested"},

    {"R8", ".system.direction.compass.type=ABC", "compass.detect", "Tested Compass ABC tested"},
    {"R8", ".system.direction.compass.type=", "compass.detect", "E 0132 Compass not responding"},
    {"R8", ".system.direction.sensorAccel.type=", "accel.detect",
     "E 0142 Accelerometer not responding"},
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

// Every call of a test, in its order and with its waits.
struct TraceCase {
  const char* variant;
  const char* knobs;
  const char* item;
  const char* steps;
};

TEST(DeviceTraceTest, CallsComeInOrder) {
  const TraceCase cases[] = {
      {"KY", "", "test.items.eeprom.gota", "0 i2c I2C2: ae 00 ffffffffffffffff true"},
      // One item tries every board.
      {"N", "", "test.items.eeprom",
       "0 i2c I2C1: ae 00 ffffffffffffffff true; 0 i2c I2C1: a0 00 ffffffffffffffff true"},
      {"KY", "", kClock,
       "0 i2c I2C1: d0 00 0000120429081300 true; 0 sleep 5000; "
       "5000 i2c I2C1: d0 00 0500120429081300 true"},
      // A first read that fails ends the test at once.
      {"KY", ".desk.bus.i2c1.d0.answers=false", kClock, "0 i2c I2C1: d0 00  false"},
      {"H", "", kClock,
       "0 open PMI1: true; 0 ioctl PMI1: 0x00224000 14000000 e8030000 true; 0 sleep 5000; "
       "5000 ioctl PMI1: 0x00224000 14000000 ed030000 true; 5000 close PMI1: true"},
      {"KY", ".desk.bus.i2c2.aa.fail=1,1", kBattery,
       "0 i2c I2C2: aa 08 740e true; 0 i2c I2C2: aa 14  false"},
      {"K", "", kStill,
       "0 ioctl CAM1: 0x81008024 03000000  true; 0 sleep 500; "
       "500 ioctl FVD1: 0x80000028 3a00000002000000  true; "
       "500 ioctl CAM1: 0x81008024 02000000  true; 500 sleep 500; 1000 sleep 100; "
       "1100 ioctl FVD1: 0x80000024 3a000000 00000000 true; "
       "1100 ioctl FVD1: 0x80000024 3b000000 00000000 true"},
      {"K", "", kDraft,
       "0 ioctl CAM1: 0x81008024 02000000  true; 0 sleep 500; "
       "500 ioctl FVD1: 0x80000028 3a00000004000000  true; 500 sleep 100; "
       "600 ioctl FVD1: 0x80000024 3a000000 00000000 true; "
       "600 ioctl FVD1: 0x80000024 3b000000 00000000 true"},
      {"K", "", kVisual,
       "0 open CAM1: true; 0 ioctl CAM1: 0x81004014  01000000 true; 0 close CAM1: true"},
  };
  for (const TraceCase& each : cases) {
    TestCamera camera(each.variant);
    Turn(camera, each.knobs);
    EXPECT_EQ(Steps(camera.Write(each.item, "run")), each.steps) << each.item << each.knobs;
  }
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

TEST(GpsTest, LeavesThePowerAsItFoundItOnEveryPath) {
  for (const std::string found : {"false", "true"}) {
    for (const std::string knob :
         {"", ".desk.gps.connected=false", ".desk.gps.ready=9", ".desk.hidden=power.states.gpsOK",
          ".desk.unreadable=power.states.gpsOK", ".desk.unreadable=power.settings.gpsPower"}) {
      TestCamera camera("KY", knob);
      camera.Set(".power.settings.gpsPower", found);
      const std::string steps = Steps(camera.Write(kGps, "run"));
      EXPECT_EQ(camera.Get(".power.settings.gpsPower"), found) << knob;
      // A supply that cannot be read is not switched.
      const bool isSwitched = found == "false" && !knob.ends_with("settings.gpsPower");
      for (const char* const value : {"true", "false"}) {
        const std::string write = std::string("0 set power.settings.gpsPower ") + value;
        EXPECT_EQ(steps.find(write) != std::string::npos, isSwitched) << knob << steps;
      }
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
  const std::vector<std::string> steps = TraceLines(camera.Write(kMagnet, "run"));
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
