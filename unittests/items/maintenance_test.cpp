// test.clearLog, test.clearResult, test.errcnt.
#include <gtest/gtest.h>

#include "items/maintenance.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

namespace test {
namespace {

const std::vector<std::string> kHeader = {
    "",
    "",
    "########################################################################",
    "        **************************",
    "        Bit test results",
    "        **************************",
    "        Generated:     12:00:00 2013-08-29",
    "        Camera Name:   KY",
    "        Camera Serial: 10000010",
    "        --------------------------------------------------------"};

TEST(ClearLogTest, FirstStartWritesTheHeaderAndALaterOneLeavesTheFile) {
  {
    TestCamera camera("KY");
    EXPECT_EQ(camera.LogLines(), kHeader);
    EXPECT_TRUE(camera.Contents("/FlashFS/tmp/bitlog.txt").ends_with("----\n"));
  }
  TestCamera again("KY", "", {"/FlashFS/tmp/bitlog.txt"});
  EXPECT_EQ(again.Contents("/FlashFS/tmp/bitlog.txt"), "");
  again.Run("test.items.eeprom.main");
  EXPECT_EQ(again.LogLines().size(), 1U);
}

TEST(ClearLogTest, TrueRestartsTheFileAndFalseDoesNothing) {
  TestCamera camera("KY");
  camera.Run("test.items.eeprom.main");
  const std::vector<std::string> before = camera.LogLines();
  for (const Json& written : {Json(false), Json("false"), Json(0), Json("anything")}) {
    const Json reply = camera.Write("test.clearLog", written);
    EXPECT_EQ(reply["status"], 0);
    EXPECT_EQ(reply["value"], false);
    EXPECT_EQ(camera.LogLines(), before) << written;
  }
  camera.Write("test.clearLog", true);
  EXPECT_EQ(camera.LogLines(), kHeader);
  EXPECT_EQ(camera.Get("test.clearLog"), "false");
}

TEST(ClearLogTest, UnknownCameraIsQuestionMarks) {
  TestCamera camera("KY");
  camera.Set(".desk.hidden", "version.product.name");
  camera.Set(".desk.unreadable", ".version.product.serial");
  camera.Write("test.clearLog", "true");
  const std::vector<std::string> lines = camera.LogLines();
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines[7], "        Camera Name:   ????????");
  EXPECT_EQ(lines[8], "        Camera Serial: ????????");
}

TEST(ClearResultTest, ResetsEveryItemWithoutATestOrARecord) {
  TestCamera camera("H");
  camera.Set(".desk.bus.i2c1.ae.answers", "false");
  const char* const items[] = {"test.items.eeprom.main", "test.items.eeprom.daku",
                               "test.items.battery.battery"};
  for (const char* const item : items) camera.Run(item);
  const std::size_t lines = camera.LogLines().size();

  EXPECT_EQ(camera.Write("test.clearResult", false)["status"], 0);
  EXPECT_EQ(camera.Get(items[0]), "E 0021  ");
  EXPECT_EQ(camera.Write("test.clearResult", true)["status"], 0);
  for (const char* const item : items) EXPECT_EQ(camera.Get(item), "Untested");
  EXPECT_EQ(camera.LogLines().size(), lines);
  EXPECT_EQ(camera.Get("test.errcnt"), "0");
}

TEST(ErrCntTest, CountsFailuresAnewOnEachRead) {
  TestCamera camera("N");
  EXPECT_EQ(camera.Get("test.errcnt"), "0");
  camera.Set(".desk.bus.i2c1.ae.answers", "false");
  camera.Set(".desk.bus.i2c1.e6.answers", "false");
  camera.Run("test.items.eeprom");
  camera.Run("test.items.battery");
  EXPECT_EQ(camera.Get("test.errcnt"), "2");
  EXPECT_EQ(camera.Get("test.errcnt"), "2");
}

// Which values are failures, wherever they stand below test.items.
TEST(ErrCntTest, CountsOnlyTextsThatSayNeitherPassedNorUntested) {
  BareCamera camera;
  auto& root = TARQ::NodeAccess::Root(camera.Camera().TaskTree());
  root.AddChild(new CResBitErrCnt("errcnt"), nullptr);
  EXPECT_EQ(camera.Get("errcnt"), "0");  // no test.items at all

  auto& items = TARQ::NodeAccess::MakeBranch(root, "test.items");
  const auto add = [](TARQ::CServerResource& parent, const char* name,
                      const TARQ::CResourceValue& value) {
    parent.AddChild(new TARQ::CServerResource(name, value, 0x80000000), nullptr);
  };
  using TARQ::CResourceValue;
  add(items, "ok", CResourceValue("OK      "));
  add(items, "tested", CResourceValue("Tested  "));
  add(items, "untested", CResourceValue("Untested"));
  add(items, "notAvailable", CResourceValue("Not aval"));
  add(items, "level", CResourceValue(5000));
  add(items, "flag", CResourceValue(true));
  add(items, "wide", CResourceValue(L"E 0011  "));
  EXPECT_EQ(camera.Get("errcnt"), "0");
  auto& deep = TARQ::NodeAccess::MakeBranch(items, "group.deeper");
  add(deep, "code", CResourceValue("E 0011  "));
  add(items, "error", CResourceValue("Error   "));
  add(items, "trimmed", CResourceValue("OK"));
  EXPECT_EQ(camera.Get("errcnt"), "3");
}

TEST(MaintenanceTest, MissingTreeIsReportedAndNothingTouched) {
  BareCamera camera;
  TARQ::CSupervisor::mpLocalResourceTree = nullptr;
  CResBitErrCnt count("errcnt");
  CResBitClearResult clearResult("clearResult");
  TARQ::CResourceValue value("kept");
  EXPECT_EQ(count.Get(value, nullptr), 0x64070000U);
  EXPECT_STREQ(value.GetAscii().AsChar(), "kept");
  EXPECT_EQ(clearResult.Set(TARQ::CResourceValue(true), 0, 0, nullptr), 0x64070000U);
  EXPECT_EQ(clearResult.Set(TARQ::CResourceValue(false), 0, 0, nullptr), 0U);

  camera.MakeFile("/FlashFS/tmp/bitlog.txt", "kept");
  TARQ::CSupervisor::mpGlobalResourceTree = nullptr;
  CResBitClearLog clearLog("clearLog");
  EXPECT_EQ(clearLog.Set(TARQ::CResourceValue(true), 0, 0, nullptr), 0x64070000U);
  EXPECT_EQ(clearLog.Set(TARQ::CResourceValue(false), 0, 0, nullptr), 0U);
  EXPECT_EQ(camera.Contents("/FlashFS/tmp/bitlog.txt"), "kept");
}

}  // namespace
}  // namespace test
