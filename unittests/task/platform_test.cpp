// Identification of the platform, and the tree that each camera gets.
#include <gtest/gtest.h>

#include "support/test_camera.h"
#include "tarq/node_access.h"
#include "task/platform.h"
#include "task/test_root.h"
#include "tests/device/battery.h"
#include "tests/device/clock.h"
#include "tests/device/compass_accel.h"
#include "tests/device/eeprom.h"
#include "tests/device/gps.h"
#include "tests/device/irdm.h"
#include "tests/device/lcd_magnet.h"
#include "tests/device/tempsens.h"
#include "tests/device/video_ddr.h"
#include "tests/device/visual.h"

namespace test {
namespace {

struct PlatformCase {
  const char* variant;
  std::vector<std::string> groups;  // of those that can be tested so far, in their order
  const char* batteryClass;         // empty: none
  const char* clockClass;
  bool bfsInUse;
};
void PrintTo(const PlatformCase& each, std::ostream* out) {
  *out << each.variant;
}

const PlatformCase kPlatforms[] = {
    {"K",
     {"eeprom", "tempsens", "battery", "clock", "gps", "visual"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"R", {"eeprom", "battery", "clock"}, "CResBitBattery", "CResBitClock", false},
    {"R-sysimg",
     {"eeprom", "tempsens", "battery", "clock", "IRDM"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"M", {"eeprom", "tempsens", "clock"}, "", "CResBitClock", false},
    {"V", {"eeprom", "tempsens"}, "", "", false},
    {"N7",
     {"tempsens", "eeprom", "visual", "IRDM", "clock", "battery"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"H",
     {"eeprom", "tempsens", "battery", "clock", "gps", "visual", "LCDMagnet", "VDDR"},
     "CResBitBatteryH",
     "CResBitClockH",
     false},
    {"M7", {"eeprom", "tempsens", "clock", "IRDM", "VDDR"}, "", "CResBitClockH", false},
    {"KY",
     {"eeprom", "tempsens", "clock", "battery", "VDDR", "gps"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"R7",
     {"eeprom", "tempsens", "battery", "clock", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"R7-bfs",
     {"eeprom", "tempsens", "battery", "clock", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     true},
    {"R8",
     {"eeprom", "tempsens", "battery", "clock", "VDDR", "accel", "compass"},
     "CResBitBatteryR8",
     "CResBitClock",
     false},
    {"M8", {"eeprom", "tempsens", "clock"}, "", "CResBitClockH", false},
    {"LQ",
     {"eeprom", "tempsens", "battery", "clock", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"V8", {"eeprom", "tempsens", "clock"}, "", "CResBitClock", true},
};

std::vector<std::string> NamesOf(const Json& node) {
  std::vector<std::string> names;
  for (const Json& child : node["children"]) {
    const auto path = child["path"].get<std::string>();
    names.push_back(path.substr(path.rfind('.') + 1));
  }
  return names;
}

using Names = std::vector<std::string>;

class PlatformTest : public ::testing::TestWithParam<PlatformCase> {};

TEST_P(PlatformTest, BuildsItsGroupsInOrderWithItsClasses) {
  const PlatformCase& expected = GetParam();
  TestCamera camera(expected.variant);
  ASSERT_TRUE(camera.Started());
  const Json items = camera.Tree("test.items");
  EXPECT_EQ(NamesOf(items), expected.groups);
  for (const Json& group : items["children"]) {
    EXPECT_EQ(group["kind"], "branch");
    EXPECT_EQ(group["class"], "TARQ::CServerResource");
  }
  const Json battery = camera.Tree("test.items.battery.battery");
  EXPECT_EQ(battery.is_null() ? "" : battery["class"].get<std::string>(), expected.batteryClass);
  const Json clock = camera.Tree("test.items.clock.clock");
  EXPECT_EQ(clock.is_null() ? "" : clock["class"].get<std::string>(), expected.clockClass);
  EXPECT_EQ(gBfsInUse, expected.bfsInUse);

  EXPECT_EQ(NamesOf(camera.Tree("test")),
            (Names{"errcnt", "clearResult", "clearLog", "description", "items"}));
  const Json description = camera.Tree("test.description");
  EXPECT_EQ(NamesOf(description),
            (Names{"tester", "env", "article", "serial", "category", "format"}));
  for (const Json& child : description["children"]) {
    const bool isFormat = child["path"] == "test.description.format";
    EXPECT_EQ(child["value"], isFormat ? "TEXT" : "Unknown");
    if (isFormat) {
      EXPECT_EQ(child["allowed"], Json::array({"TEXT", "XML"}));
    }
  }
  // Whatever was opened while the tree was built is closed again.
  std::vector<TARQ::CServerResource*> open = {&TARQ::NodeAccess::Root(camera.Camera().TaskTree())};
  while (!open.empty()) {
    TARQ::CServerResource* const node = open.back();
    open.pop_back();
    EXPECT_EQ(TARQ::NodeAccess::OpenCount(*node), 0) << TARQ::NodeAccess::Path(*node);
    for (auto* const child : TARQ::NodeAccess::Children(*node)) open.push_back(child);
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, PlatformTest, ::testing::ValuesIn(kPlatforms),
                         [](const auto& each) {
                           std::string name = each.param.variant;
                           std::erase(name, '-');
                           return name;
                         });

TEST(PlatformNTest, ItemsStandDirectlyUnderItems) {
  TestCamera camera("N");
  const Json items = camera.Tree("test.items");
  EXPECT_EQ(NamesOf(items), (Names{"battery", "clock", "eeprom", "tempsens"}));
  const char* const classes[] = {"CResBitBattery", "CResBitClock", "CResBitEEPromN",
                                 "CResBitTempsensN"};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(items["children"][i]["class"], classes[i]);
    EXPECT_EQ(items["children"][i]["value"], "Untested");
  }
  camera.Run("test.items.eeprom");
  EXPECT_NE(camera.LogLines().back().find(";EE prom      ;"), std::string::npos);
}

TEST(PlatformTest, RDependsOnTheSystemImage) {
  TestCamera hidden("R-sysimg", ".desk.hidden=image.sysimg");
  EXPECT_EQ(NamesOf(hidden.Tree("test.items.eeprom")), (Names{"main", "tomi"}));
}

TEST(PlatformTest, ClockProbeDecidesOnceWhereTheChipMayBeMissing) {
  for (const char* const variant : {"R7", "R8", "LQ"}) {
    TestCamera camera(variant, ".desk.bus.i2c1.d0.answers=false");
    EXPECT_EQ(camera.Tree("test.items.clock.clock")["class"], "CResBitClockH") << variant;
    EXPECT_EQ(camera.Run("test.items.clock.clock"), (Result{0, "OK      ", "Clock OK"}));
    camera.Set(".desk.bus.i2c1.d0.answers", "true");
    EXPECT_EQ(camera.Tree("test.items.clock.clock")["class"], "CResBitClockH") << variant;
  }
}

TEST(PlatformTest, RegistryWithoutAKnownCodeFailsTheStart) {
  for (const char* const bsp : {"-", "k", "KYX", "K Y", "KYLQ", "R9", "Ky"}) {
    TestCamera camera("KY", std::string(".desk.registry.bsp=") + bsp);
    EXPECT_FALSE(camera.Started()) << bsp;
    EXPECT_EQ(camera.ExitCode(), 0x64070001) << bsp;
  }
}

TEST(PlatformTest, RegistryCodeNotTheVariantDecides) {
  TestCamera camera("KY", ".desk.registry.bsp=V8");
  EXPECT_EQ(NamesOf(camera.Tree("test.items.eeprom")), (Names{"main"}));
  EXPECT_TRUE(gBfsInUse);
}

TEST(CreatorTest, WithoutTestItemsNothingIsBuilt) {
  BareCamera camera;
  using Creator = DWORD (*)(CBitTask*, DWORD);
  for (const Creator create :
       {CreateBatteryGroup, CreateClockGroup, CreateEepromGroup, CreateTempsensGroup,
        CreateVddrGroup, CreateIrdmGroup, CreateVisualGroup, CreateGpsGroup, CreateLcdMagnetGroup,
        CreateCompassGroup, CreateAccelGroup}) {
    EXPECT_EQ(create(nullptr, 9), TARQ::kStatusNotFound);
  }
  EXPECT_TRUE(camera.Tree("")["children"].empty());
  TARQ::CSupervisor::mpLocalResourceTree = nullptr;
  EXPECT_EQ(CreateEepromGroup(nullptr, 9), 0x64070000U);
  EXPECT_EQ(BuildTestRoot(nullptr, 9), 0x64070000U);
}

TEST(CreatorTest, UnknownPlatformHasAnEmptyGroup) {
  BareCamera camera;
  ASSERT_EQ(BuildTestRoot(nullptr, 99), 0U);
  EXPECT_EQ(CreateEepromGroup(nullptr, 99), 0U);
  EXPECT_EQ(NamesOf(camera.Tree("test.items")), (Names{"eeprom"}));
  EXPECT_TRUE(camera.Tree("test.items.eeprom")["children"].empty());
}

// Boards of platforms that use the other classes: one checks all eight, the rest none.
TEST(EepromNTest, ThePlatformSelectsTheBoards) {
  BareCamera camera("K");
  ASSERT_EQ(BuildTestRoot(nullptr, 0), 0U);
  auto& items =
      *TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(camera.Camera().TaskTree()), "test.items");
  items.AddChild(new CResBitEEPromN("all", "EE prom", false, 1), nullptr);
  items.AddChild(new CResBitEEPromN("none", "EE prom", false, 2), nullptr);
  EXPECT_EQ(camera.Run("test.items.all"),
            (Result{0, "OK      ",
                    "Main EEPROM:Detected, FPA EEPROM:Detected, TOKM EEPROM:Detected, "
                    "TOSU EEPROM:Detected, NOK EEPROM:Detected, TOGN EEPROM:Detected, "
                    "TOWR EEPROM:Detected, TOLK EEPROM:Detected, "}));
  EXPECT_EQ(camera.Run("test.items.none"), (Result{0, "OK      ", ""}));
}

}  // namespace
}  // namespace test
