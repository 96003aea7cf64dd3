// Every knob that a camera publishes is a documented one; scheduled acts; restoring.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <set>

#include "camera/knob_table.h"
#include "support/test_camera.h"

namespace test {
namespace {

void Leaves(const Json& node, std::vector<std::string>& paths) {
  if (node["kind"] != "branch") {
    paths.emplace_back(".");
    paths.back() += node["path"].get<std::string>();
  }
  for (const Json& child : node["children"]) Leaves(child, paths);
}

TEST(KnobTableTest, HoldsEveryKnobOfEveryVariant) {
  std::vector<std::string> documented;
  for (const desk::KnobFamily& family : desk::AllKnobs()) {
    std::string prefix = family.prefix;  // "<...>" stands for what differs
    for (std::size_t open = 0; (open = prefix.find('<')) != std::string::npos;) {
      prefix.erase(open, prefix.find('>') - open);
      prefix[open] = '*';
    }
    for (const desk::KnobRow& row : family.rows) {
      documented.push_back(prefix + "." + std::string(row.name));
      EXPECT_FALSE(row.meaning.empty()) << documented.back();
    }
  }
  std::set<std::string> seen;
  for (const std::string& variant : desk::VariantNames()) {
    BareCamera camera(variant);
    std::vector<std::string> paths;
    Leaves(camera.Tree(".desk"), paths);
    for (const std::string& path : paths) {
      bool isDocumented = false;
      for (const std::string& pattern : documented) {
        if (fnmatch(pattern.c_str(), path.c_str(), 0) != 0) continue;
        isDocumented = true;
        seen.insert(pattern);
      }
      EXPECT_TRUE(isDocumented) << variant << ": " << path;
    }
  }
  // And nothing is documented that no camera has.
  for (const std::string& pattern : documented) EXPECT_TRUE(seen.contains(pattern)) << pattern;
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
