// Run plans and results, and diagorctl as its users type it.
#include <gtest/gtest.h>

#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <fstream>
#include <sstream>

#include "client/log_lines.h"
#include "client/results.h"
#include "client/run_plan.h"
#include "server/camera_server.h"
#include "support/process.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

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

TEST(SelectTest, TheCameraSaysWhatIsATest) {
  const auto found = client::TestItems(Json::parse(R"({"kind":"branch","children":[
      {"path":"a","kind":"test","class":"CBattery","value":"OK","children":[]},
      {"path":"b","kind":"value","class":"CResBitText","value":"","children":[]}]})"));
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].className, "CBattery");
}

TEST(SelectTest, WhatNeverEndsRunsOnlyWhenNamedInFull) {
  const std::vector<client::TestItem> items = {{"test.items.VDDR.test", "CResBitVDDR", ""},
                                               {"test.items.VDDR.looptest", "CResBitLoopVDDR", ""}};
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "test "},
      {{"*"}, "test "},
      {{"items.VDDR.*"}, "test "},
      {{"items.VDDR.loop*"}, ""},
      {{"items.VDDR.looptest"}, "looptest "},
  };
  for (const auto& [globs, selected] : cases) {
    std::string names;
    for (const auto& item : client::SelectForRun(items, globs)) {
      names += item.path.substr(item.path.rfind('.') + 1) + " ";
    }
    EXPECT_EQ(names, selected);
  }
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

// What a reader that is not ours finds in an XML file.
std::string Found(const std::string& file, const std::string& path) {
  Process find("/usr/bin/xmllint", {"--xpath", path, file});
  if (find.Wait() != 0) return std::string("xmllint: ").append(find.Errors());
  return find.Output().substr(0, find.Output().size() - 1);  // less the line's end
}

// A failure, a pass of the same item later, and an attempt that was refused; texts that no format
// takes as they are.
client::Report SomeReport() {
  client::Report report;
  report.camera = "KY";
  report.serial = "1 & \"2\"";
  report.isWhole = true;
  // Path, round, passed, status, value, message, start, seconds, records, problem.
  report.attempts = {
      {"test.items.g.a",
       1,
       false,
       1,
       "E 0002  ",
       "gone <\x01> # \xEF\xBF\xBF \xC3\xA4, ",
       "2013-08-29T12:00:00",
       0.25,
       {"a;\x1B;E 0002  ;gone"},
       ""},
      {"test.items.g.a", 2, true, 0, "OK      ", "there", "2013-08-29T12:00:00", 5, {}, ""},
      {"test.items.b", 2, false, 0, "", "busy", "2013-08-29T12:00:05", 0, {}, "busy"}};
  return report;
}

TEST(ResultsTest, EveryAttemptIsShown) {
  const client::Report report = SomeReport();
  std::ostringstream table;
  client::WriteTable(table, report, client::TableStyle::Plain);
  EXPECT_EQ(table.str(),
            "ROUND  ITEM            RESULT    SECONDS  MESSAGE\n"
            "1      test.items.g.a  E 0002    0.2      gone <\x01> # \xEF\xBF\xBF \xC3\xA4,\n"
            "2      test.items.g.a  OK        5.0      there\n"
            "2      test.items.b    none      0.0      busy\n"
            "1 passed, 1 failed, 1 without a result\n");
  std::ostringstream text;
  client::WriteJson(text, report);
  const Json json = Json::parse(text.str());
  EXPECT_EQ(json["attempts"][0]["value"], "E 0002  ");
  EXPECT_EQ(json["attempts"][0]["started"], "2013-08-29T12:00:00");
  EXPECT_EQ(json["attempts"][2]["problem"], "busy");
  EXPECT_EQ(json["failed"], 1);
}

// By a reader that is not ours: its verdict on the form, and what it finds inside.
TEST(ResultsTest, JunitIsReadByOthers) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "junit.xml").string();
  {
    std::ofstream stream(file);
    client::WriteJunit(stream, SomeReport());
  }
  Process schema("/usr/bin/xmllint", {"--noout", "--schema", TEST_JUNIT_SCHEMA, file});
  EXPECT_EQ(schema.Wait(), 0) << schema.Errors();
  const std::pair<const char*, const char*> finds[] = {
      {"count(//testcase)", "3"},
      {"string(/testsuites/@failures)", "1"},
      {"string(//testsuite/@errors)", "1"},
      {"string(//testsuite/@name)", "KY"},
      {"string(//testsuite/@timestamp)", "2013-08-29T12:00:00"},
      {"string(//property[@name='camera.serial']/@value)", "1 & \"2\""},
      {"string(//testcase[1]/@name)", "a [1]"},
      {"string(//testcase[1]/@classname)", "test.items.g"},
      {"string(//testcase[1]/@time)", "0.250"},
      {"string(//testcase[1]/failure/@type)", "E 0002  "},
      {"string(//testcase[1]/failure/@message)", "gone <\xEF\xBF\xBD> # \xEF\xBF\xBD \xC3\xA4, "},
      {"string(//testcase[2]/@name)", "a [2]"},
      {"count(//testcase[2]/failure)", "0"},
      {"string(//testcase[2]/@status)", "OK      "},
      {"string(//testcase[3]/error/@message)", "busy"},
  };
  for (const auto& [path, value] : finds) EXPECT_EQ(Found(file, path), value) << path;
}

TEST(ResultsTest, TapIsReadByAHarness) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "run.tap").string();
  client::Report report = SomeReport();
  const auto prove = [&] {
    {
      std::ofstream stream(file);
      client::WriteTap(stream, report);
    }
    Process harness("/usr/bin/prove", {"--exec", "cat", file});
    const int code = harness.Wait();
    return std::to_string(code) + harness.Output() + harness.Errors();
  };
  std::string verdict = prove();
  EXPECT_NE(verdict.find("Failed 2/3 subtests"), std::string::npos) << verdict;
  EXPECT_NE(verdict.find("Failed tests:  1, 3"), std::string::npos) << verdict;
  EXPECT_EQ(verdict.find("Parse errors"), std::string::npos) << verdict;
  report.attempts = {report.attempts[1]};
  verdict = prove();
  EXPECT_TRUE(verdict.starts_with("0")) << verdict;
  EXPECT_NE(verdict.find("All tests successful."), std::string::npos) << verdict;
  report.isWhole = false;
  EXPECT_NE(prove().find("Bailout called"), std::string::npos);
}

TEST(LogLinesTest, FragmentsStandApart) {
  using Kind = client::LogLine::Kind;
  const std::string record = "12:00:00;2013-08-29;T;E;A;S;C;Item         ;OK      ;a;b, ";
  const std::string system = "2013-08-29 12:00:00 <bitLog id=\"I\" data=\"x\"/>";
  const std::string header = "   Camera Name:   KY";
  struct Case {
    const char* name;
    std::string log;
    std::vector<client::LogLine> lines;
  };
  const Case cases[] = {
      {"nothing", "", {}},
      {"whole",
       "\n" + header + "\n" + record + "\n",
       {{Kind::Header, ""}, {Kind::Header, header}, {Kind::Record, record}}},
      {"torn at the end",
       record + "\n" + record,
       {{Kind::Record, record}, {Kind::Fragment, record}}},
      {"torn in its time",
       "12:00:0" + record + "\n",
       {{Kind::Fragment, "12:00:0"}, {Kind::Record, record}}},
      {"torn in its fields",
       "12:00:00;2013-08-29;T;E" + record + "\n",
       {{Kind::Fragment, "12:00:00;2013-08-29;T;E"}, {Kind::Record, record}}},
      {"torn in its message",
       record + record + "\n",
       {{Kind::Fragment, record}, {Kind::Record, record}}},
      {"torn twice",
       "12" + record.substr(0, 30) + record + "\n",
       {{Kind::Fragment, "12"}, {Kind::Fragment, record.substr(0, 30)}, {Kind::Record, record}}},
      {"fields missing", record.substr(0, 30) + "\n", {{Kind::Fragment, record.substr(0, 30)}}},
      {"torn header", header + record + "\n", {{Kind::Fragment, header}, {Kind::Record, record}}},
      {"line end in a field",
       "12:00:00;2013-08-29;T\nT;E;A;S;C;I;OK;m\n",
       {{Kind::Fragment, "12:00:00;2013-08-29;T"}, {Kind::Fragment, "T;E;A;S;C;I;OK;m"}}},
      {"system log",
       system.substr(0, 25) + system + "\n",
       {{Kind::Fragment, system.substr(0, 25)}, {Kind::Record, system}}},
  };
  for (const Case& each : cases) EXPECT_EQ(client::LogLines(each.log), each.lines) << each.name;
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
    desk::CameraServer server{camera.Camera()};
    EXPECT_EQ(server.Bind(0), "");
    server.Serve();
    client::CameraClient client(server.Port());
    // One run warms up as slowly as a detector does.
    if (std::string_view(each.name) != "fresh") client.Set(".desk.cooler.warmingtime", "60");
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
  desk::CameraServer mServer{mCamera.Camera()};
};

TEST_F(DiagorctlTest, RunsAndTellsWhatFailed) {
  Outcome run = Ctl({"run"});
  EXPECT_EQ(run.code, 0);
  EXPECT_TRUE(run.output.ends_with("8 passed, 0 failed\n")) << run.output;
  EXPECT_NE(run.errors.find("test.items.clock ... OK"), std::string::npos);

  // An item that another client's write holds is refused, and the others are run.
  {
    const desk::Clock::Participation held(mCamera.Camera().Clock(), desk::Clock::Role::Follows);
    TARQ::CServerResource* const battery = TARQ::NodeAccess::Find(
        TARQ::NodeAccess::Root(mCamera.Camera().TaskTree()), "test.items.battery");
    mCamera.Camera().Deliveries().Deliver(*battery, TARQ::CResourceValue("run"), false,
                                          [](const desk::Delivered&) {});
    run = Ctl({"--quiet", "run", "items.battery"});
  }
  mCamera.Camera().Deliveries().JoinAll();
  EXPECT_EQ(run.code, 4);
  EXPECT_TRUE(run.output.ends_with("0 passed, 0 failed, 1 without a result\n")) << run.output;

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

TEST_F(DiagorctlTest, WritesResultsForTestServers) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "junit.xml").string();
  mCamera.Set(".desk.bus.i2c1.e6.answers", "false");
  const Outcome run =
      Ctl({"--quiet", "run", "items.battery", "items.clock", "--tap", "--junit", file});
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(run.output.starts_with("TAP version 13\nnot ok 1 - test.items.battery\n"))
      << run.output;
  EXPECT_NE(run.output.find("value: \"E 0002  \""), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("ok 2 - test.items.clock\n"), std::string::npos) << run.output;
  Process schema("/usr/bin/xmllint", {"--noout", "--schema", TEST_JUNIT_SCHEMA, file});
  EXPECT_EQ(schema.Wait(), 0) << schema.Errors();
  EXPECT_EQ(Found(file, "string(//testcase[2]/@time)"), "5.000");  // of the camera, not of ours
  // Said before anything is run.
  mCamera.Set(".desk.restore", "true");
  for (const std::string& path : {std::string("/nowhere/junit.xml"), folder.Path().string()}) {
    EXPECT_EQ(Ctl({"run", "items.battery", "--junit", path}).code, 2);
  }
  EXPECT_EQ(mCamera.Get("test.items.battery"), "E 0002  ");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path()), {}), 1);
  // Results that nobody gets are no success.
  const std::string words = " --port " + std::to_string(mServer.Port()) + " list > /dev/full";
  Process full("/bin/sh", {"-c", ProgramPath("diagorctl") + words});
  EXPECT_EQ(full.Wait(), 2);
}

// A run that ends in the middle tells what it was at, and leaves nothing half written.
TEST(CutRunTest, TheAttemptUnderWayIsAmongTheResults) {
  const std::pair<int, int> cases[] = {{SIGKILL, 3}, {SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}};
  for (const auto& [signal, code] : cases) {
    const TemporaryFolder folder;
    const TemporaryFolder results;
    const std::string file = (results.Path() / "junit.xml").string();
    Process camera("diagor", {"-p", "0"}, {{"DIAGOR_ROOT", (folder.Path() / "root").string()}});
    const auto port = std::to_string(PortOf(camera.ErrorsUntil("http://127.0.0.1:")));
    Process run("diagorctl", {"--port", port, "run", "items.eeprom.main", "items.clock", "--tap",
                              "--junit", file});
    run.ErrorsUntil("test.items.clock.clock ... ");  // it takes five seconds
    (signal == SIGKILL ? camera : run).Signal(signal);
    EXPECT_EQ(run.Wait(), code) << run.Errors();
    EXPECT_NE(run.Output().find("ok 1 - test.items.eeprom.main"), std::string::npos);
    EXPECT_NE(run.Output().find("not ok 2 - test.items.clock.clock"), std::string::npos);
    EXPECT_NE(run.Output().find("Bail out!"), std::string::npos);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(results.Path()), {}), 1);
    const std::pair<const char*, const char*> finds[] = {
        {"string(/testsuites/@errors)", "1"},
        {"string(//testcase[2]/error/@type)", "no result"},
        {"string(//property[@name='run.whole']/@value)", "false"},
    };
    for (const auto& [path, value] : finds) EXPECT_EQ(Found(file, path), value) << path;
  }
}

TEST_F(DiagorctlTest, WatchesWhatHappens) {
  Process watch("diagorctl", {"--port", std::to_string(mServer.Port()), "watch", "--after", "0",
                              "--count", "6"});
  watch.OutputUntil("\n");
  mCamera.Set(".desk.bus.i2c1.e6.answers", "false");
  const std::string record =
      mCamera.Write("test.items.battery", "run")["records"][0].get<std::string>();
  EXPECT_EQ(watch.Wait(), 0);
  const std::string& output = watch.Output();
  EXPECT_NE(output.find("0.000  value         .desk.bus.i2c1.e6.answers  false\n"),
            std::string::npos)
      << output;
  EXPECT_NE(output.find("0.000  test-started  test.items.battery  \n"), std::string::npos);
  EXPECT_NE(output.find("0.000  record        " + record + "\n"), std::string::npos);
  EXPECT_TRUE(output.ends_with("0.000  test-ended    test.items.battery  E 0002  \n")) << output;
  const Outcome json = Ctl({"--json", "watch", "--after", "0", "--count", "1"});
  EXPECT_EQ(Json::parse(json.output)["event"], "value");
  Process endless("diagorctl", {"--port", std::to_string(mServer.Port()), "watch", "--after", "0"});
  endless.OutputUntil("test-ended");
  endless.Signal(SIGINT);
  EXPECT_EQ(endless.Wait(), 130);
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
  EXPECT_EQ(client::CameraClient("localhost", mServer.Port()).Get("test.errcnt")["value"], 0);

  // A healthy camera has no system log.
  const Outcome log = Ctl({"log", "--system"});
  EXPECT_EQ(log.code, 0);
  EXPECT_EQ(log.output, "");
  // What is printed can be typed again.
  std::istringstream shown(Ctl({"show", ".desk.bus.i2c1.e6"}).output);
  std::size_t count = 0;
  for (std::string line; std::getline(shown, line); ++count) {
    const std::string path = line.substr(0, line.find(' '));
    EXPECT_EQ(Ctl({"get", path}).code, 0) << path;
  }
  EXPECT_GT(count, 2U);
}

TEST_F(DiagorctlTest, ATerminalGetsEscapesAndColoursThatItKnows) {
  mCamera.Write("test.description.tester", "a\x1B[2J\n\xC2\x9B\x7F\xC3\xA4");
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"xterm", "", true}, {"xterm", "1", false}, {"dumb", "", false}};
  const std::string program =
      ProgramPath("diagorctl") + " --port " + std::to_string(mServer.Port()) + " ";
  for (const auto& [terminal, noColour, hasColours] : cases) {
    const std::map<std::string, std::string> environment = {{"TERM", terminal},
                                                            {"NO_COLOR", noColour}};
    const auto onTerminal = [&](const std::string& words) {
      Process script("/usr/bin/script", {"-qec", program + words, "/dev/null"}, environment);
      script.Wait();
      return script.Output();
    };
    EXPECT_EQ(onTerminal("get test.description.tester"), "a\\x1B[2J\\n\\x9B\\x7F\xC3\xA4\r\n");
    const std::string run = onTerminal("run items.battery");
    EXPECT_EQ(run.find('\x1B') != std::string::npos, hasColours) << run;
    EXPECT_NE(run.find("1 passed, 0 failed"), std::string::npos) << run;
    EXPECT_NE(onTerminal("log").find(";a\\x1B[2J"), std::string::npos);
  }
}

TEST_F(DiagorctlTest, ExitCodesTellWhoIsAtFault) {
  EXPECT_EQ(Ctl({"run", "items.nothing"}).code, 2);
  EXPECT_EQ(Ctl({"list", "items.nothing"}).code, 2);
  EXPECT_EQ(Ctl({}).code, 2);
  const Outcome unknown = Ctl({"dance"});
  EXPECT_EQ(unknown.code, 2);
  EXPECT_NE(unknown.errors.find("no command dance"), std::string::npos) << unknown.errors;
  EXPECT_EQ(Ctl({"run", "--repeat", "0"}).code, 2);
  EXPECT_EQ(Ctl({"get", "test.nobody"}).code, 4);
  EXPECT_EQ(Ctl({"set", "test.description.format", "PDF"}).code, 4);
  EXPECT_EQ(Ctl({"--help"}).code, 0);
  EXPECT_EQ(Ctl({"--version"}).output, "23.0.1\n");
  Process nobody("diagorctl", {"--port", "1", "list"});
  EXPECT_EQ(nobody.Wait(), 3);
}

// Something else that listens, and answers each request in its own way. After an answer without a
// length it closes.
class OtherServer {
 public:
  using Answer = std::function<std::string(const std::string& request)>;
  explicit OtherServer(Answer answer)
      : mAnswer(std::move(answer)), mThread([this] { AcceptAll(); }) {}
  ~OtherServer() {
    shutdown(mAcceptor.native_handle(), SHUT_RD);
    mThread.join();
  }
  OtherServer(const OtherServer&) = delete;
  OtherServer& operator=(const OtherServer&) = delete;
  std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }

 private:
  void AcceptAll() {
    boost::system::error_code ended;
    for (;;) {
      tcp::socket socket(mContext);
      mAcceptor.accept(socket, ended);
      if (ended) return;
      bool goesOn = true;
      while (goesOn) {
        boost::system::error_code error;
        std::string request;
        boost::asio::read_until(socket, boost::asio::dynamic_buffer(request), "\r\n\r\n", error);
        const std::string text = error ? "" : mAnswer(request);
        goesOn = text == kSilence || text.find("Content-Length: ") != std::string::npos;
        if (text != kSilence) boost::asio::write(socket, boost::asio::buffer(text), error);
      }
    }
  }

  using tcp = boost::asio::ip::tcp;
  boost::asio::io_context mContext;
  tcp::acceptor mAcceptor{mContext, {boost::asio::ip::address_v4::loopback(), 0}};
  const Answer mAnswer;
  std::thread mThread;

 public:
  static constexpr char kSilence[] = "silence";
};

std::string HttpAnswer(const std::string& body, const std::string& status = "200 OK") {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

// As a camera answers what each connection begins with; the rest is the test's.
OtherServer::Answer LikeACamera(const OtherServer::Answer& rest) {
  return [rest](const std::string& request) {
    if (!request.starts_with("GET /api/v1/task/ HTTP")) return rest(request);
    return HttpAnswer(
        R"({"path":"","kind":"branch","type":null,"class":"","value":null,"children":[]})");
  };
}

TEST(NoCameraTest, IsSaidWhateverIsAsked) {
  const std::string answers[] = {"", "220 mail\r\n", HttpAnswer("<html>", "404 Not Found"),
                                 HttpAnswer("<html>"), HttpAnswer(R"({"status":"ok"})")};
  const std::vector<std::string> commands[] = {
      {"log"}, {"log", "--system"}, {"set", "test.x", "run"}, {"list"}, {"reset"}, {"watch"}};
  for (const std::string& answer : answers) {
    OtherServer server([&answer](const std::string&) { return answer; });
    for (std::vector<std::string> words : commands) {
      words.insert(words.begin(), {"--port", std::to_string(server.Port())});
      Process process("diagorctl", words);
      EXPECT_EQ(process.Wait(), 3) << answer << words[2];
      EXPECT_EQ(process.Output(), "");
      EXPECT_TRUE(process.Errors().starts_with("diagorctl: no camera on port "))
          << process.Errors();
    }
  }
}

TEST(NoCameraTest, SilenceEndsInTime) {
  const auto silent = [](const std::string&) { return OtherServer::kSilence; };
  for (const OtherServer::Answer& answer : {OtherServer::Answer(silent), LikeACamera(silent)}) {
    OtherServer server(answer);
    constexpr std::chrono::milliseconds kShort{20};
    client::CameraClient client("127.0.0.1", server.Port(), {}, {kShort, kShort});
    EXPECT_THROW(client.File("a"), client::ConnectionError);
    EXPECT_THROW(client.Get("a"), client::ConnectionError);
    EXPECT_THROW(client.Subscribe([](const client::Event&) {}), client::ConnectionError);
  }
  // A write's answer may take as long as it likes, but to something silent none is sent.
  OtherServer server(silent);
  client::CameraClient client("127.0.0.1", server.Port(), {}, {std::chrono::milliseconds(20), {}});
  EXPECT_THROW(client.Set("a", "run"), client::ConnectionError);
}

TEST(NoCameraTest, StreamsThatEndAreAskedForEverLessOften) {
  OtherServer server(LikeACamera([](const std::string& request) {
    return request.starts_with("GET /api/v1/events") ? std::string("HTTP/1.1 200 OK\r\n\r\n") : "";
  }));
  Process watch("diagorctl", {"--port", std::to_string(server.Port()), "watch"});
  const std::string errors = watch.ErrorsUntil(" 1000 ms\n");
  watch.Signal(SIGTERM);
  EXPECT_EQ(watch.Wait(), 143);
  EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 3) << errors;
  EXPECT_LT(errors.find(" 250 ms"), errors.find(" 500 ms")) << errors;
}

// A camera answers clearLog in the same way whether it could restart its file or not.
TEST(ResetTest, LooksWhetherTheLogWasRestarted) {
  const std::string header = "   Camera Name:   KY\n";
  const std::string record = "12:00:00;2013-08-29;T;E;A;S;C;Item         ;OK      ;a;b, \n";
  struct Case {
    std::string before;
    std::string after;
    int code;
  };
  const Case cases[] = {{header + record, header, 0},
                        {header, header, 0},
                        {record, header + "12:00:01" + record.substr(8), 0},
                        {header + record, header + record, 1},
                        {header + record, header + record + record, 1},
                        {header + record, "", 1},
                        {header, header.substr(0, 10), 1}};
  for (const Case& each : cases) {
    bool isCleared = false;
    OtherServer server(LikeACamera([&](const std::string& request) {
      isCleared = isCleared || request.starts_with("PUT /api/v1/task/test.clearLog");
      if (request.starts_with("GET /api/v1/files/FlashFS/tmp/bitlog.txt")) {
        return HttpAnswer(isCleared ? each.after : each.before);
      }
      return HttpAnswer(R"({"status":0,"value":false,"records":[]})");
    }));
    Process reset("diagorctl", {"--port", std::to_string(server.Port()), "reset", "--log"});
    EXPECT_EQ(reset.Wait(), each.code) << each.before << each.after << reset.Errors();
    EXPECT_EQ(reset.Errors().empty(), each.code == 0) << reset.Errors();
  }
}

}  // namespace
}  // namespace test
