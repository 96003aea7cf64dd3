// EEPROM tests: which boards each camera has, and that each item asks its own chip.
#include <gtest/gtest.h>

#include "support/test_camera.h"

namespace test {
namespace {

struct EepromCase {
  const char* variant;
  const char* node;
  const char* name;  // cut to 19 characters
  const char* bus;
  const char* address;
};
const EepromCase kEeproms[] = {
    {"K", "main", "Main EEPROM", "I2C1:", "ae"},
    {"K", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"K", "tokm", "TOKM EEPROM", "I2C1:", "a2"},
    {"K", "tosu", "TOSU EEPROM", "I2C1:", "a4"},
    {"K", "nok", "NOK EEPROM", "I2C1:", "a6"},
    {"K", "togn", "TOGN EEPROM", "I2C1:", "a8"},
    {"K", "towr", "TOWR EEPROM", "I2C1:", "aa"},
    {"K", "tolk", "TOLK EEPROM", "I2C1:", "ac"},
    {"K", "toze", "TOZE EEPROM", "I2C1:", "e0"},
    {"R-sysimg", "main", "Main EEPROM", "I2C1:", "ae"},
    {"R-sysimg", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"R-sysimg", "tomi", "TOMI EEPROM", "I2C1:", "a4"},
    {"R-sysimg", "tonu", "TONU EEPROM", "I2C1:", "e0"},
    {"M", "main", "Main EEPROM", "I2C1:", "ae"},
    {"M", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"M", "odru", "ODRU EEPROM", "I2C1:", "a8"},
    {"M", "odki", "ODKI EEPROM", "I2C1:", "a4"},
    {"V", "main", "Main EEPROM", "I2C1:", "ae"},
    {"R", "main", "Main EEPROM", "I2C1:", "ae"},
    {"R", "tomi", "TOMI EEPROM", "I2C1:", "a4"},
    {"N7", "main", "Main EEPROM", "I2C1:", "ae"},
    {"N7", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"N7", "umos", "UMOS EEPROM", "I2C1:", "a4"},
    {"H", "main", "Main EEPROM", "I2C1:", "ae"},
    {"H", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"H", "tokm2", "TOKM2 EEPROM", "I2C1:", "a2"},
    {"H", "davo", "DAVO EEPROM", "I2C1:", "a4"},
    {"H", "togn2", "TOGN2 EEPROM", "I2C1:", "a8"},
    {"H", "davu", "DAVU EEPROM", "I2C1:", "ac"},
    {"H", "damo", "DAMO EEPROM", "I2C1:", "aa"},
    {"H", "dake", "DAKE EEPROM", "I2C1:", "a0"},
    {"H", "tose", "TOSE EEPROM", "I2C1:", "98"},
    {"H", "tori", "TORI EEPROM", "I2C2:", "e2"},
    {"H", "daku", "DAKU", "I2C2:", "e4"},
    {"M7", "main", "Main EEPROM", "I2C1:", "ae"},
    {"M7", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"M7", "wego", "WEGO EEPROM", "I2C1:", "ac"},
    {"M7", "wenu", "WENU EEPROM", "I2C1:", "a4"},
    {"M7", "wedo", "WEDO EEPROM", "I2C2:", "a0"},
    {"KY", "main", "Main EEPROM", "I2C1:", "ae"},
    {"KY", "goka", "GOKA EEPROM", "I2C1:", "ac"},
    {"KY", "gose2", "GOSE EEPROM", "I2C1:", "a2"},
    {"KY", "fpa", "FPA EEPROM", "I2C1:", "a0"},
    {"KY", "golu2", "GOLU EEPROM", "I2C1:", "a6"},
    {"KY", "gota", "GOTA EEPROM", "I2C2:", "ae"},
    {"KY", "wedo", "WEDO EEPROM", "I2C2:", "a0"},
    {"R7", "fpa", "FPA EEPROM( DOX32 )", "I2C1:", "a0"},
    {"R7", "vcam", "KUMO EEPROM", "I2C1:", "a4"},
    {"R7", "rf", "KURA/KURE_EEPROM", "I2C1:", "a6"},
    {"R7", "io", "KUNE EEPROM", "I2C1:", "aa"},
    {"R7", "main", "Main EEPROM( KUDA )", "I2C1:", "ae"},
    {"R8", "fpa", "FPA EEPROM( DOX32 )", "I2C1:", "a0"},
    {"R8", "rf", "ZEMA_EEPROM", "I2C2:", "e0"},
    {"R8", "io", "ZEKO EEPROM", "I2C1:", "aa"},
    {"R8", "main", "Main EEPROM( F2MU/Z", "I2C1:", "ae"},
    {"M8", "main", "Main EEPROM", "I2C1:", "ae"},
    {"M8", "odru", "ODRU EEPROM", "I2C1:", "a8"},
    {"M8", "odki", "ODKI EEPROM", "I2C1:", "a4"},
    {"LQ", "fpa", "FPA EEPROM( DOX32 )", "I2C1:", "a0"},
    {"LQ", "io", "LQUE EEPROM", "I2C1:", "aa"},
    {"LQ", "main", "Main EEPROM( F2MU/Z", "I2C1:", "ae"},
    {"LQ", "batt", "LQDA EEPROM", "I2C1:", "a8"},
    {"V8", "main", "Main EEPROM", "I2C1:", "ae"},
};

std::vector<std::string> NodesOf(const std::string& variant) {
  std::vector<std::string> nodes;
  for (const EepromCase& row : kEeproms) {
    if (row.variant == variant) nodes.emplace_back(row.node);
  }
  return nodes;
}

class EepromGroupTest : public ::testing::TestWithParam<const char*> {};

TEST_P(EepromGroupTest, HasTheBoardsOfThePlatformEachAtItsOwnAddress) {
  const std::string variant = GetParam();
  TestCamera camera(variant);
  const Json group = camera.Tree("test.items.eeprom");
  std::vector<std::string> nodes;
  for (const Json& child : group["children"]) {
    EXPECT_EQ(child["class"], "CResBitEEPromItems");
    EXPECT_EQ(child["value"], "Untested");
    nodes.push_back(child["path"].get<std::string>().substr(18));
  }
  EXPECT_EQ(nodes, NodesOf(variant));

  for (const EepromCase& row : kEeproms) {
    if (row.variant != variant) continue;
    const std::string path = std::string("test.items.eeprom.") + row.node;
    const std::string name = row.name;
    const Json reply = camera.Write(path, "run");
    EXPECT_EQ(reply["value"], "OK      ") << path;
    const std::string step = TraceLines(reply).at(0);
    const std::string before = std::string("0 i2c ") + row.bus + " " + row.address + " 00 ";
    EXPECT_TRUE(step.starts_with(before) && step.ends_with(" true")) << step;
    EXPECT_EQ(step.size(), before.size() + 21) << step;  // eight bytes, and " true"

    std::string chip = std::string(".desk.bus.") + (row.bus[3] == '1' ? "i2c1." : "i2c2.");
    chip += row.address;
    camera.Set(chip + ".answers", "false");
    EXPECT_EQ(camera.Run(path), (Result{1, "E 0021  ", name + ":NOT Detected, "}));
    camera.Set(chip + ".answers", "true");
    EXPECT_EQ(camera.Run(path), (Result{0, "OK      ", name + ":Detected, "}));
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, EepromGroupTest,
                         ::testing::Values("K", "R-sysimg", "M", "V", "R", "N7", "H", "M7", "KY",
                                           "R7", "R8", "M8", "LQ", "V8"),
                         NameOfVariant);

TEST(EepromNTest, TriesEveryBoardAndNamesEach) {
  TestCamera camera("N");
  const Json reply = camera.Write("test.items.eeprom", "run");
  EXPECT_EQ(TraceLines(reply),
            (std::vector<std::string>{"0 i2c I2C1: ae 00 ffffffffffffffff true",
                                      "0 i2c I2C1: a0 00 ffffffffffffffff true",
                                      "0 file /FlashFS/tmp/bitlog.txt a+ true"}));
  EXPECT_EQ(camera.Run("test.items.eeprom"),
            (Result{0, "OK      ", "Main EEPROM:Detected, FPA EEPROM:Detected, "}));
  camera.Set(".desk.bus.i2c1.a0.answers", "false");
  EXPECT_EQ(camera.Run("test.items.eeprom"),
            (Result{1, "E 0021  ", "Main EEPROM:Detected, FPA EEPROM:NOT Detected, "}));
  camera.Set(".desk.bus.i2c1.ae.answers", "false");
  camera.Set(".desk.bus.i2c1.a0.answers", "true");
  EXPECT_EQ(camera.Run("test.items.eeprom"),
            (Result{1, "E 0021  ", "Main EEPROM:NOT Detected, FPA EEPROM:Detected, "}));
}

}  // namespace
}  // namespace test
