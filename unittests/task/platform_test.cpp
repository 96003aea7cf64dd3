// Identification of the platform, and the tree that each camera gets.
#include <gtest/gtest.h>

#include "items/platform.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"
#include "task/test_root.h"
#include "tests/device/eeprom.h"

namespace test {
namespace {

using Names = std::vector<std::string>;

Names NamesOf(const Json& node) {
  Names names;
  for (const Json& child : node["children"]) {
    const auto path = child["path"].get<std::string>();
    names.push_back(path.substr(path.rfind('.') + 1));
  }
  return names;
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
  EXPECT_EQ(CreateEepromGroup(nullptr, 9), TARQ::kStatusNotFound);
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
