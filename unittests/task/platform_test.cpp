// Identification of the platform, and the tree that each camera gets.
#include <gtest/gtest.h>

#include <sstream>

#include "items/platform.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"
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
#include "tests/interactive/buttons.h"
#include "tests/interactive/laser.h"
#include "tests/interactive/lcd.h"
#include "tests/interactive/touch_screen.h"
#include "tests/optics/aperture.h"
#include "tests/optics/cooler.h"
#include "tests/optics/filter.h"
#include "tests/optics/flash_torch.h"
#include "tests/optics/focus.h"
#include "tests/optics/shutter.h"

namespace test {
namespace {

struct PlatformCase {
  const char* variant;
  std::vector<std::string> groups;  // in their order
  const char* batteryClass;         // empty: none
  const char* clockClass;
  bool bfsInUse;
};
void PrintTo(const PlatformCase& each, std::ostream* out) {
  *out << each.variant;
}

const PlatformCase kPlatforms[] = {
    {"K",
     {"eeprom", "shutter", "focus", "tempsens", "lcd", "lcd_i", "aperture", "filter", "buttons",
      "battery", "clock", "laser", "gps", "visual"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"R",
     {"eeprom", "lcd", "buttons", "battery", "clock", "laser", "touchscreen"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"R-sysimg",
     {"eeprom", "shutter", "focus", "tempsens", "lcd", "aperture", "buttons", "battery", "clock",
      "laser", "IRDM", "touchscreen", "flash"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"M",
     {"eeprom", "shutter", "focus", "tempsens", "aperture", "clock"},
     "",
     "CResBitClock",
     false},
    {"V", {"eeprom", "shutter", "tempsens", "lcd", "buttons"}, "", "", false},
    {"N7",
     {"tempsens", "touchscreen", "lcd", "eeprom", "shutter", "buttons", "visual", "IRDM", "focus",
      "torch", "laser", "clock", "battery"},
     "CResBitBattery",
     "CResBitClock",
     false},
    {"H",
     {"eeprom", "focus", "tempsens", "lcd", "viewFinder", "lcd_i", "viewFinder_i", "filter",
      "buttons", "battery", "clock", "laser", "gps", "visual", "LCDMagnet", "VDDR", "cooler"},
     "CResBitBatteryH",
     "CResBitClockH",
     false},
    {"M7",
     {"eeprom", "shutter", "focus", "tempsens", "aperture", "clock", "IRDM", "VDDR"},
     "",
     "CResBitClockH",
     false},
    {"KY",
     {"eeprom", "shutter", "focus", "tempsens", "aperture", "lcd", "viewFinder", "lcd_i",
      "viewFinder_i", "clock", "battery", "VDDR", "buttons", "touchscreen", "laser", "gps"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"R7",
     {"eeprom", "shutter", "tempsens", "lcd", "buttons", "battery", "clock", "laser", "touchscreen",
      "flash", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"R7-bfs",
     {"eeprom", "shutter", "tempsens", "lcd", "buttons", "battery", "clock", "laser", "touchscreen",
      "flash", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     true},
    {"R8",
     {"eeprom", "shutter", "focus", "tempsens", "lcd", "buttons", "battery", "clock", "laser",
      "touchscreen", "flash", "VDDR", "aperture", "accel", "compass"},
     "CResBitBatteryR8",
     "CResBitClock",
     false},
    {"M8",
     {"eeprom", "shutter", "focus", "tempsens", "aperture", "clock"},
     "",
     "CResBitClockH",
     false},
    {"LQ",
     {"eeprom", "shutter", "tempsens", "lcd", "buttons", "battery", "clock", "VDDR"},
     "CResBitBatteryFG",
     "CResBitClock",
     false},
    {"V8", {"eeprom", "shutter", "tempsens", "buttons", "clock", "lcd"}, "", "CResBitClock", true},
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
                         [](const auto& each) { return VariantWord(each.param.variant); });

TEST(PlatformNTest, ItemsStandDirectlyUnderItems) {
  TestCamera camera("N");
  const Json items = camera.Tree("test.items");
  EXPECT_EQ(NamesOf(items), (Names{"battery", "clock", "eeprom", "tempsens", "laser", "buttons",
                                   "lcd", "shutter"}));
  const char* const classes[] = {"CResBitBattery",   "CResBitClock",   "CResBitEEPromN",
                                 "CResBitTempsensN", "CResBitLaser",   "CResBitButtonsN",
                                 "CResBitLCD",       "CResBitShutterN"};
  for (std::size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(items["children"][i]["class"], classes[i]);
    EXPECT_EQ(items["children"][i]["value"], "Untested");
  }
  camera.Run("test.items.eeprom");
  EXPECT_NE(camera.LogLines().back().find(";EE prom      ;"), std::string::npos);
}

struct GroupCase {
  const char* group;
  const char* variants;  // separated by blanks
  Names nodes;
  const char* itemClass;  // of all that are test items
};

TEST(PlatformTest, GroupsHaveTheirItemsAndClasses) {
  const Names focus = {"detect", "far", "near", "focus"};
  const Names aperture = {"aperture", "detect", "in", "out"};
  const GroupCase cases[] = {
      {"shutter", "K", {"shutter", "detect", "in", "out"}, "CResBitShutterK"},
      {"shutter",
       "R-sysimg M V N7 M7 KY M8 V8",
       {"shutter", "detect", "in", "out", "flatLevel", "responseLevel"},
       "CResBitShutterRMV"},
      {"shutter",
       "R7 R7-bfs R8 LQ",
       {"shutter", "in", "out", "flatLevel", "responseLevel"},
       "CResBitShutterRMV"},
      {"focus", "N7", {"detect"}, "CResBitFocusManual"},
      {"focus", "M7 KY R8", focus, "CResBitFocusM7"},
      {"focus", "K R-sysimg M H M8", focus, "CResBitFocus"},
      {"aperture", "K", aperture, "CResBitApertureK"},
      {"aperture", "R8", aperture, "CResBitApertureR8"},
      {"aperture", "R-sysimg M M7 KY M8", aperture, "CResBitAperture"},
      {"buttons", "K", {"buttons"}, "CResBitButtonsK"},
      {"buttons", "R-sysimg", {"buttons"}, "CResBitButtonsR"},
      {"buttons", "V", {"buttons"}, "CResBitButtonsV"},
      {"buttons", "R", {"buttons"}, "CResBitButtonsKRem"},
      {"buttons", "N7", {"buttons"}, "CResBitButtonsN"},
      {"buttons", "H", {"buttons"}, "CResBitButtonsH"},
      {"buttons", "R7", {"buttons"}, "CResBitButtonsR7"},
      {"buttons", "R7-bfs", {"buttons"}, "CResBitButtonsR7_BfsInUse"},
      {"buttons", "R8", {"buttons"}, "CResBitButtonsR8"},
      {"buttons", "LQ", {"buttons"}, "CResBitButtonsLQ"},
      {"buttons", "V8", {"buttons"}, "CResBitButtonsV8"},
      {"laser", "R", {"laser"}, "CResBitLaser"},
      {"touchscreen", "N7", {"touchscreen"}, "CResBitTouchScreen"},
      {"lcd", "R N7", {"bitmaps"}, "CResBitLCD"},
      {"lcd", "K R-sysimg V H KY R7 R8 LQ V8", {"images", "testpattern", "bitmaps"}, "CResBitLCD"},
      {"viewFinder", "H KY", {"images", "testpattern", "bitmaps"}, "CResBitLCD"},
      {"lcd_i", "K H", {"bitmaps"}, "CResBitLCD_I"},
      {"viewFinder_i", "H", {"bitmaps"}, "CResBitLCD_I"},
      {"lcd_i", "KY", {"bitmaps"}, "CResBitLCD_I_Ky"},
      {"viewFinder_i", "KY", {"bitmaps"}, "CResBitLCD_I_Ky"},
      {"filter", "K", {"filter"}, "CResBitFilter"},
      {"filter", "H", {"filter"}, "CResBitFilterH"},
      {"flash", "R-sysimg R7 R8", {"flash"}, "CResBitFlash"},
      {"torch", "N7", {"torch"}, "CResBitTorch"},
      {"cooler",
       "H",
       {"cooler", "command", "coolDownResult", "logResult", "state"},
       "CResBitCooler"},
  };
  for (const GroupCase& each : cases) {
    std::istringstream variants(each.variants);
    for (std::string variant; variants >> variant;) {
      TestCamera camera(variant);
      const Json group = camera.Tree(std::string("test.items.") + each.group);
      EXPECT_EQ(NamesOf(group), each.nodes) << variant;
      for (const Json& node : group["children"]) {
        if (node["class"] == "TARQ::CServerResource") continue;
        EXPECT_EQ(node["class"], each.itemClass) << variant;
        EXPECT_EQ(node["value"], "Untested") << variant;
      }
      EXPECT_EQ(group["children"][0]["class"], each.itemClass) << variant;
    }
  }
}

TEST(PlatformTest, KYHasItemsForBothModelsKeys) {
  TestCamera camera("KY");
  const Json group = camera.Tree("test.items.buttons");
  EXPECT_EQ(NamesOf(group), (Names{"buttons", "buttons090"}));
  EXPECT_EQ(group["children"][0]["class"], "CResBitButtonsKy");
  EXPECT_EQ(group["children"][1]["class"], "CResBitButtonsKy090");
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
       {CreateBatteryGroup,    CreateClockGroup,    CreateEepromGroup,  CreateTempsensGroup,
        CreateVddrGroup,       CreateIrdmGroup,     CreateVisualGroup,  CreateGpsGroup,
        CreateLcdMagnetGroup,  CreateCompassGroup,  CreateAccelGroup,   CreateFocusGroup,
        CreateShutterGroup,    CreateApertureGroup, CreateFilterGroup,  CreateFlashGroup,
        CreateTorchGroup,      CreateCoolerGroup,   CreateButtonsGroup, CreateLaserGroup,
        CreateTouchScreenGroup}) {
    EXPECT_EQ(create(nullptr, 9), TARQ::kStatusNotFound);
  }
  EXPECT_EQ(CreateLcdGroup(nullptr, 9, true), TARQ::kStatusNotFound);
  EXPECT_EQ(CreateLcdInteractiveGroup(nullptr, 9, false), TARQ::kStatusNotFound);
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
