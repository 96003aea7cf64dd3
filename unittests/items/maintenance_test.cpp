// test.clearLog, test.clearResult, test.errcnt.
#include <gtest/gtest.h>

#include "items/maintenance.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

namespace test {
namespace {

constexpr char kLog[] = "/FlashFS/tmp/bitlog.txt";
constexpr char kHeader[] = R"(

########################################################################
        **************************
        Bit test results
        **************************
        Generated:     12:00:00 2013-08-29
        Camera Name:   KY
        Camera Serial: 10000010
        --------------------------------------------------------
)";

TEST(ClearLogTest, FirstStartWritesTheHeaderAndALaterOneLeavesTheFile) {
  {
    TestCamera camera("KY");
    EXPECT_EQ(camera.Contents(kLog), kHeader);
  }
  TestCamera again("KY", "", {kLog});
  EXPECT_EQ(again.Contents(kLog), "");
  again.Run("test.items.eeprom.main");
  EXPECT_EQ(again.LogLines().size(), 1U);
}

TEST(ClearLogTest, TrueRestartsTheFileAndFalseDoesNothing) {
  TestCamera camera("KY");
  camera.Run("test.items.eeprom.main");
  const std::string before = camera.Contents(kLog);
  for (const Json& written : {Json(false), Json("false"), Json(0), Json("anything")}) {
    const Json reply = camera.Write("test.clearLog", written);
    EXPECT_EQ(reply["status"], 0);
    EXPECT_EQ(reply["value"], false);
    EXPECT_EQ(camera.Contents(kLog), before) << written;
  }
  camera.Write("test.clearLog", true);
  EXPECT_EQ(camera.Contents(kLog), kHeader);
  EXPECT_EQ(camera.Get("test.clearLog"), "false");
}

TEST(ClearLogTest, UnknownCameraIsQuestionMarks) {
  TestCamera camera("KY",
                    ".desk.hidden=version.product.name;.desk.unreadable=.version.product.serial");
  const std::vector<std::string> lines = camera.LogLines();
  ASSERT_EQ(lines.size(), 10U);
  EXPECT_EQ(lines[7], "        Camera Name:   ????????");
  EXPECT_EQ(lines[8], "        Camera Serial: ????????");
}

TEST(ClearResultTest, ResetsEveryItemWithoutATestOrARecord) {
  TestCamera camera("H");
  camera.Set(".desk.bus.i2c1.ae.answers", "false");
  camera.Run("test.items.eeprom.main");
  camera.Run("test.items.battery.battery");
  const std::size_t lines = camera.LogLines().size();
  EXPECT_EQ(camera.Write("test.clearResult", false)["status"], 0);
  EXPECT_EQ(camera.Get("test.items.eeprom.main"), "E 0021  ");
  EXPECT_EQ(camera.Write("test.clearResult", true)["status"], 0);
  for (const auto& item : camera.Items()) EXPECT_EQ(item.value, "Untested") << item.path;
  EXPECT_EQ(camera.LogLines().size(), lines);
  EXPECT_EQ(camera.Get("test.errcnt"), "0");
}

// Which values are failures, wherever they stand below test.items.
TEST(ErrCntTest, CountsOnlyTextsThatSayNeitherPassedNorUntested) {
  BareCamera camera;
  auto& root = TARQ::NodeAccess::Root(camera.Camera().TaskTree());
  root.AddChild(new CResBitErrCnt("errcnt"), nullptr);
  EXPECT_EQ(camera.Get("errcnt"), "0");  // no test.items at all

  auto& items = TARQ::NodeAccess::MakeBranch(root, "test.items");
  using TARQ::CResourceValue;
  const auto add = [](TARQ::CServerResource& parent, const CResourceValue& value) {
    parent.AddChild(new TARQ::CServerResource("node", value, 0x80000000), nullptr);
  };
  for (const char* const value : {"OK      ", "Tested  ", "Untested", "Not aval"}) {
    add(items, CResourceValue(value));
  }
  for (const CResourceValue& value :
       {CResourceValue(5000), CResourceValue(true), CResourceValue(L"E 0011  ")}) {
    add(items, value);
  }
  EXPECT_EQ(camera.Get("errcnt"), "0");
  auto& deep = TARQ::NodeAccess::MakeBranch(items, "group.deeper");
  add(deep, CResourceValue("E 0011  "));
  add(items, CResourceValue("Error   "));
  add(items, CResourceValue("OK"));
  for (int read = 0; read < 2; ++read) EXPECT_EQ(camera.Get("errcnt"), "3");  // anew each time
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

  camera.MakeFile(kLog, "kept");
  TARQ::CSupervisor::mpGlobalResourceTree = nullptr;
  CResBitClearLog clearLog("clearLog");
  EXPECT_EQ(clearLog.Set(TARQ::CResourceValue(true), 0, 0, nullptr), 0x64070000U);
  EXPECT_EQ(clearLog.Set(TARQ::CResourceValue(false), 0, 0, nullptr), 0U);
  EXPECT_EQ(camera.Contents(kLog), "kept");
}

}  // namespace
}  // namespace test
