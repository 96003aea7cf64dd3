// The tests of the chips on the buses: each item asks the chips that its camera's file names for
// it, and no others.
#include <gtest/gtest.h>

#include <map>
#include <set>

#include "camera/variant.h"
#include "support/test_camera.h"

namespace test {
namespace {

// The groups whose items ask chips, and what they say of one that is silent.
const std::map<std::string, std::string> kSilent = {{"eeprom", "E 0021  "},
                                                    {"tempsens", "E 0031  "},
                                                    {"battery", "E 0002  "},
                                                    {"clock", "E 0011  "}};

class ChipTest : public ::testing::TestWithParam<std::string> {
 protected:
  // Every item of those groups, and its result.
  std::map<std::string, std::string> Results() {
    std::map<std::string, std::string> results;
    for (const auto& item : mCamera.Items()) {
      const std::string name = item.path.substr(std::string("test.items.").size());
      const bool asksChip = kSilent.contains(GroupOf(name)) && item.className != "CResBitClockH";
      if (asksChip) results[name] = mCamera.Run(item.path).value;
    }
    return results;
  }
  static std::string GroupOf(const std::string& item) { return item.substr(0, item.find('.')); }
  void Answer(const desk::ChipEntry& chip, bool answers) {
    char address[3] = "";
    snprintf(address, sizeof address, "%02x", chip.address);
    mCamera.Set(".desk.bus." + chip.bus + "." + address + ".answers", answers ? "true" : "false");
  }

  TestCamera mCamera{GetParam()};
};

TEST_P(ChipTest, WhenChipsAreSilentTheirItemsFailAndNoOthers) {
  const std::map<std::string, std::string> healthy = Results();
  std::map<std::string, std::vector<const desk::ChipEntry*>> chips;  // that serve an item
  for (const desk::ChipEntry& chip : mCamera.Camera().Variant().chips) {
    for (const desk::ListedName& item : chip.serves) chips[item.name].push_back(&chip);
  }
  for (const auto& [item, result] : healthy) EXPECT_TRUE(chips.contains(item)) << item;

  for (const desk::ChipEntry& chip : mCamera.Camera().Variant().chips) {
    auto expected = healthy;
    for (const desk::ListedName& item : chip.serves) {
      // The shutter has two sensors of which one suffices; N checks several boards in one item.
      const bool suffices = GroupOf(item.name) == "tempsens" && chips[item.name].size() > 1;
      if (!suffices) expected[item.name] = kSilent.at(GroupOf(item.name));
    }
    Answer(chip, false);
    EXPECT_EQ(Results(), expected) << chip.bus << " " << int{chip.address};
    Answer(chip, true);
  }
  for (const auto& [item, served] : chips) {
    if (served.size() < 2) continue;
    for (const desk::ChipEntry* const chip : served) Answer(*chip, false);
    auto expected = healthy;
    expected[item] = kSilent.at(GroupOf(item));
    EXPECT_EQ(Results(), expected) << item;
    for (const desk::ChipEntry* const chip : served) Answer(*chip, true);
  }
}

// One byte says where a read begins: the first register of all chips but the fuel gauge.
TEST_P(ChipTest, IsAskedForItsOwnBytes) {
  const std::map<std::string, std::set<std::size_t>> lengths = {
      {"eeprom", {8}}, {"tempsens", {13, 2, 4}}, {"battery", {1}}, {"clock", {8}}};
  for (const auto& item : mCamera.Items()) {
    const std::string group = GroupOf(item.path.substr(std::string("test.items.").size()));
    if (!lengths.contains(group)) continue;
    const Json reply = mCamera.Write(item.path, "run");
    for (const Json& step : reply["trace"]) {
      if (step["op"] != "i2c") continue;
      const bool isGauge = group == "battery" && step["address"] == "aa";
      const auto registers =
          isGauge ? std::set<std::string>{"08", "14", "2c"} : std::set<std::string>{"00"};
      EXPECT_TRUE(registers.contains(step["written"])) << item.path << step;
      const std::size_t length = step["read"].get<std::string>().size() / 2;
      EXPECT_TRUE(isGauge ? length == 2 : lengths.at(group).contains(length)) << item.path << step;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, ChipTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

TEST(EepromNTest, NamesEveryBoard) {
  TestCamera camera("N", ".desk.bus.i2c1.ae.answers=false");
  EXPECT_EQ(camera.Run("test.items.eeprom"),
            (Result{1, "E 0021  ", "Main EEPROM:NOT Detected, FPA EEPROM:Detected, "}));
}

}  // namespace
}  // namespace test
