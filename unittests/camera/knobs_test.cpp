// Every knob that a camera publishes is a documented one; scheduled acts; restoring.
#include <gtest/gtest.h>

#include "camera/knob_table.h"
#include "support/test_camera.h"

namespace test {
namespace {

// A fault that a knob does not take could never be made.
TEST(FaultsTest, EachCanBeMadeOnItsCamera) {
  for (const std::string& variant : desk::VariantNames()) {
    BareCamera camera(variant);
    int made = 0;
    for (const desk::KnobSet* const set : camera.Camera().KnobSets()) {
      for (const desk::KnobRow& row : set->Family().rows) {
        EXPECT_FALSE(row.meaning.empty()) << row.name;
        const std::string path = (set->Prefix() + ".").append(row.name);
        for (const desk::CameraFault& fault : FaultsOf(camera.Camera(), *set, row)) {
          const TARQ::CResourceValue value(fault.value.c_str());
          EXPECT_EQ(camera.Camera().Write(path, value), 0U) << path << " " << fault.value;
          EXPECT_EQ(fault.what.find_first_of("{}"), std::string::npos) << fault.what;
          EXPECT_NE(fault.part, "") << path;
          ++made;
        }
      }
    }
    EXPECT_GT(made, 60) << variant;
  }
}

// Who breaks what, in the words that a technician gets.
TEST(FaultsTest, NameThePartToChange) {
  struct Row {
    const char* variant;
    const char* path;
    const char* value;
    const char* what;
    const char* part;
  };
  for (const Row& row : {
           Row{"KY", ".desk.lostkeys", "Up", "the key Up sends nothing", "keypad"},
           {"KY", ".desk.bus.i2c1.a0.answers", "false", "the chip does not answer", "detector"},
           {"KY", ".desk.bus.i2c2.2a.answers", "false", "the chip does not answer", "lens"},
           {"KY", ".desk.bus.i2c1.ac.answers", "false", "the chip does not answer", "GOKA board"},
           {"R8", ".desk.bus.i2c2.e0.temperature0", "3430000", "the sensor reads far too hot",
            "RF board"},
           {"R8", ".desk.aperture.stuck", "in", "the aperture is stuck in the image path",
            "aperture"},
           {"H", ".desk.driver.cam1.open_fail", "0,1000000",
            "the link to the visual camera cannot be reached anew", "visual camera"},
           {"H", ".desk.hidden", "power.states.lcdOut",
            "the camera's software has no power.states.lcdOut", "camera software"},
       }) {
    BareCamera camera(row.variant);
    bool isThere = false;
    for (const desk::KnobSet* const set : camera.Camera().KnobSets()) {
      for (const desk::KnobRow& knob : set->Family().rows) {
        if ((set->Prefix() + ".").append(knob.name) != row.path) continue;
        for (const desk::CameraFault& fault : FaultsOf(camera.Camera(), *set, knob)) {
          isThere = isThere ||
                    (fault.value == row.value && fault.what == row.what && fault.part == row.part);
        }
      }
    }
    EXPECT_TRUE(isThere) << row.path << " " << row.value;
  }
}

TEST(RestoreTest, BringsEveryKnobAndNodeBack) {
  const Json before = [] { return BareCamera("KY").Tree(".desk"); }();
  TestCamera camera("KY", ".desk.rtc.rate=0");
  for (const char* const write :
       {".desk.gauge.charge=5", ".desk.bus.i2c1.ae.answers=false", ".desk.bus.i2c1.a0.data=00",
        ".desk.driver.i2c2.error=5", ".desk.driver.i2c1.fail=3,4", ".desk.hidden=version",
        ".desk.registry.bsp=V8", ".desk.clock.at=5 .desk.rtc.rate=2", ".desk.rtc.seconds=40"}) {
    const std::string text = write;
    camera.Set(text.substr(0, text.find('=')), text.substr(text.find('=') + 1));
  }
  camera.Set(".system.vcam.torch", "true");
  camera.Set(".desk.restore", "true");
  EXPECT_EQ(camera.Tree(".desk"), before);
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "false");
  EXPECT_EQ(camera.Run("test.items.clock.clock").value, "OK      ");
}

TEST(ScheduleTest, ActsAtItsTimeAfterTheNextDelivery) {
  TestCamera camera("KY");
  camera.Set(".desk.clock.advance", "100");
  camera.Set(".desk.clock.at",
             "6 .system.vcam.torch=true; 2 .desk.rtc.rate=0;0 .desk.gauge.charge=9");
  EXPECT_EQ(camera.Run("test.items.clock.clock").value, "E 0012  ");
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "false");  // left over, and still made at its time
  camera.Set(".desk.clock.advance", "1");
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "true");
  // An act at the very beginning comes before the test's first step.
  camera.Set(".desk.clock.at", "0 .desk.gauge.charge=33");
  EXPECT_EQ(camera.Run("test.items.battery.battery").message,
            "Fuel Gauge detected U=3700, I=-450, C=33%");
  // An empty schedule clears one that nothing has started yet.
  camera.Set(".desk.clock.at", "0 .desk.gauge.charge=1");
  camera.Set(".desk.clock.at", "");
  EXPECT_EQ(camera.Run("test.items.battery.battery").message,
            "Fuel Gauge detected U=3700, I=-450, C=33%");
}

TEST(StartKnobsTest, TakeNodesAndSchedulesWithTheirOwnSemicolons) {
  TestCamera camera("KY",
                    ".version.product.name=Mine;.desk.clock.at=1 .desk.rtc.rate=0;"
                    "3 .system.vcam.torch=true;.desk.gauge.charge=50");
  EXPECT_EQ(camera.LogLines().at(7), "        Camera Name:   Mine");
  EXPECT_EQ(camera.Run("test.items.clock.clock").value, "E 0012  ");
  EXPECT_EQ(camera.Get(".system.vcam.torch"), "true");
}

}  // namespace
}  // namespace test
