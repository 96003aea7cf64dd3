// Run plans and results, and diagorctl as its users type it.
#include <gtest/gtest.h>

#include <sstream>

#include "client/results.h"
#include "client/run_plan.h"
#include "server/http_server.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {
namespace {

TEST(SelectTest, GlobsChooseInTreeOrderEachOnce) {
  const std::vector<client::TestItem> items = {{"test.items.eeprom.main", "", ""},
                                               {"test.items.eeprom.fpa", "", ""},
                                               {"test.items.clock.clock", "", ""}};
  const auto selected = [&items](const std::vector<std::string>& globs) {
    std::string paths;
    for (const auto& item : client::Select(items, globs)) {
      paths += item.path.substr(item.path.rfind('.') + 1) + " ";
    }
    return paths;
  };
  EXPECT_EQ(selected({}), "main fpa clock ");
  EXPECT_EQ(selected({"items.clock.clock", "items.eeprom.*", "*fpa"}), "main fpa clock ");
  EXPECT_EQ(selected({"test.items.eeprom.[f]*"}), "fpa ");
  EXPECT_EQ(selected({"items.eeprom"}), "main fpa ");
  EXPECT_EQ(selected({"items.eep"}), "");
}

TEST(SelectTest, WhatNeverEndsRunsOnlyWhenNamedInFull) {
  const std::vector<client::TestItem> items = {{"test.items.VDDR.test", "CResBitVDDR", ""},
                                               {"test.items.VDDR.looptest", "CResBitLoopVDDR", ""}};
  for (const std::vector<std::string>& globs :
       {std::vector<std::string>{}, {"*"}, {"items.VDDR.*"}, {"items.VDDR.loop*"}}) {
    for (const auto& item : client::SelectForRun(items, globs)) {
      EXPECT_EQ(item.path, "test.items.VDDR.test");
    }
  }
  EXPECT_EQ(client::SelectForRun(items, {"items.VDDR.looptest"}).size(), 1U);
}

TEST(ResultsTest, MessageOfARecord) {
  EXPECT_EQ(
      client::MessageOf("12:00:00;2013-08-29;T;;A;S;C;Item         ;OK      ;a;b, ", "OK      "),
      "a;b, ");
  EXPECT_EQ(client::MessageOf("t <bitLog id=\"I\" data=\"E 0021  :a \" b\" datatype=\"string\"/>",
                              "E 0021  "),
            "a \" b");
  EXPECT_EQ(
      client::MessageOf("12:00:00;2013-08-29;T;;A;S;C;Item         ;E 0032  ;a;b", "E 0031  "),
      "a;b");
  EXPECT_EQ(client::MessageOf("fragment", "OK      "), "");
}

TEST(ResultsTest, EveryAttemptIsShown) {
  std::vector<client::Attempt> attempts(2);
  attempts[0] = {"test.items.a", 1, false, 1, "E 0002  ", "gone", 0, {}};
  attempts[1] = {"test.items.a", 2, true, 0, "OK      ", "there", 5, {}};
  std::ostringstream table;
  client::WriteTable(table, attempts, false);
  EXPECT_EQ(table.str(),
            "ROUND  ITEM          RESULT    SECONDS  MESSAGE\n"
            "1      test.items.a  E 0002    0.0      gone\n"
            "2      test.items.a  OK        5.0      there\n"
            "1 passed, 1 failed\n");
  std::ostringstream json;
  client::WriteJson(json, attempts);
  EXPECT_EQ(Json::parse(json.str())["attempts"][0]["message"], "gone");
  EXPECT_EQ(Json::parse(json.str())["failed"], 1);
}

struct PlanCase {
  const char* name;
  std::vector<std::pair<std::string, std::string>> before;  // writes; a leading dot: camera-wide
  bool passes;
  const char* value;
  const char* message;
};

// The cooler's plan ends well from whatever an earlier run left, and leaves the cooler on.
TEST(CoolerPlanTest, EndsWithItsResults) {
  const PlanCase cases[] = {
      {"fresh", {}, true, "Tested  ", "Tested"},
      {"reset", {{"test.clearResult", "true"}}, true, "Tested  ", "Tested"},
      {"interrupted",
       {{"test.items.cooler.state", "warmingUp"}, {".system.cooler.active", "false"}},
       true,
       "Tested  ",
       "Tested"},
      {"no state", {{"test.items.cooler.state", ""}}, true, "Tested  ", "Tested"},
      {"system log", {{"test.description.format", "XML"}}, true, "Tested  ", "Tested"},
      {"load",
       {{".desk.cooler.load", "7500"}},
       false,
       "Untested",
       "The cooler test ended in the state \"coolingDown\""},
      {"does not start",
       {{".desk.cooler.starts", "false"}},
       false,
       "Untested",
       "The cooler test ended in the state \"coolingDown\""},
      {"no folder", {}, false, "Tested  ", "Unknown error"},
  };
  for (const PlanCase& each : cases) {
    TestCamera camera("H");
    desk::HttpServer server{camera.Camera()};
    EXPECT_EQ(server.Bind(0), "");
    server.Serve();
    client::CameraClient client(server.Port());
    for (const auto& [path, value] : each.before) client.Set(path, value);
    if (std::string_view(each.name) == "no folder") {
      std::filesystem::remove_all(camera.File("/FlashFS/system/web"));
    }
    std::vector<client::Attempt> attempts;
    client::Run(client, {{"test.items.cooler.cooler", "CResBitCooler", ""}}, {}, attempts,
                [](const client::Attempt&, client::Phase) {});
    ASSERT_EQ(attempts.size(), 1U) << each.name;
    EXPECT_EQ(attempts[0].passed, each.passes) << each.name;
    EXPECT_EQ(attempts[0].value, each.value) << each.name;
    EXPECT_EQ(attempts[0].message, each.message) << each.name;
    const bool isAble = std::string_view(each.name) != "does not start";
    EXPECT_EQ(camera.Get(".system.cooler.active"), isAble ? "true" : "false") << each.name;
  }
}

class DiagorctlTest : public ::testing::Test {
 protected:
  DiagorctlTest() {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }
  struct Outcome {
    int code;
    std::string output;
    std::string errors;
  };
  Outcome Ctl(std::vector<std::string> words) {
    words.insert(words.begin(), {"--port", std::to_string(mServer.Port())});
    Process process("diagorctl", words);
    const int code = process.Wait();
    return {code, process.Output(), process.Errors()};
  }

  TestCamera mCamera{"N"};
  desk::HttpServer mServer{mCamera.Camera()};
};

TEST_F(DiagorctlTest, RunsAndTellsWhatFailed) {
  Outcome run = Ctl({"run"});
  EXPECT_EQ(run.code, 0);
  EXPECT_TRUE(run.output.ends_with("8 passed, 0 failed\n")) << run.output;
  EXPECT_NE(run.errors.find("test.items.clock ... OK"), std::string::npos);

  mCamera.Set(".desk.bus.i2c1.e6.fail", "0,1");
  run = Ctl({"--quiet", "--json", "run", "items.battery", "--repeat", "2"});
  EXPECT_EQ(run.code, 1);
  EXPECT_EQ(run.errors, "");
  const Json results = Json::parse(run.output);
  EXPECT_EQ(results["attempts"][0]["value"], "E 0002  ");
  EXPECT_EQ(results["attempts"][1]["value"], "OK      ");

  mCamera.Set(".desk.bus.i2c1.e6.fail", "1,9");
  run = Ctl({"--json", "run", "*battery", "--repeat", "5", "--until-fail"});
  EXPECT_EQ(Json::parse(run.output)["attempts"].size(), 2U);
}

TEST_F(DiagorctlTest, ReadsWritesAndResets) {
  EXPECT_EQ(Ctl({"get", "items.battery"}).output, "Untested\n");
  EXPECT_EQ(Ctl({"set", ".desk.bus.i2c1.e6.answers", "false"}).output, "false\n");
  const Outcome set = Ctl({"set", "items.battery", "run"});
  EXPECT_EQ(set.code, 1);
  EXPECT_TRUE(set.output.starts_with("E 0002  \n12:00:00;")) << set.output;
  EXPECT_EQ(Ctl({"get", "test.errcnt"}).output, "1\n");
  const Outcome list = Ctl({"list"});
  EXPECT_NE(list.output.find("test.items.battery"), std::string::npos);
  EXPECT_NE(list.output.find("CResBitEEPromN"), std::string::npos);
  EXPECT_NE(Ctl({"show"}).output.find("clearResult"), std::string::npos);
  EXPECT_EQ(Json::parse(Ctl({"--json", "show", "items", "--depth", "0"}).output)["children"],
            Json::array(
                {"battery", "clock", "eeprom", "tempsens", "laser", "buttons", "lcd", "shutter"}));
  EXPECT_EQ(Ctl({"log"}).output, mCamera.Contents("/FlashFS/tmp/bitlog.txt"));
  EXPECT_EQ(Ctl({"reset", "--log", "--camera"}).code, 0);
  EXPECT_EQ(mCamera.Get("test.items.battery"), "Untested");
  EXPECT_EQ(mCamera.LogLines().size(), 10U);
  EXPECT_EQ(Ctl({"run", "items.battery"}).code, 0);
}

TEST_F(DiagorctlTest, ExitCodesTellWhoIsAtFault) {
  EXPECT_EQ(Ctl({"run", "items.nothing"}).code, 2);
  EXPECT_EQ(Ctl({"list", "items.nothing"}).code, 2);
  EXPECT_EQ(Ctl({}).code, 2);
  EXPECT_EQ(Ctl({"dance"}).code, 2);
  EXPECT_EQ(Ctl({"run", "--repeat", "0"}).code, 2);
  EXPECT_EQ(Ctl({"get", "test.nobody"}).code, 4);
  EXPECT_EQ(Ctl({"set", "test.description.format", "PDF"}).code, 4);
  EXPECT_EQ(Ctl({"--help"}).code, 0);
  EXPECT_EQ(Ctl({"--version"}).output, "23.0.1\n");
  Process nobody("diagorctl", {"--port", "1", "list"});
  EXPECT_EQ(nobody.Wait(), 3);
}

}  // namespace
}  // namespace test
