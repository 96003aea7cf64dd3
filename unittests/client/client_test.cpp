// Run plans and results, and diagorctl as its users type it.
#include <gtest/gtest.h>
#include <map>

#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <csignal>
#include <fstream>
#include <sstream>

#include "client/log_lines.h"
#include "client/measurements.h"
#include "client/results.h"
#include "client/run_plan.h"
#include "server/camera_server.h"
#include "support/process.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

namespace test {
namespace {

std::string Names(const std::vector<client::TestItem>& items) {
  std::string names;
  for (const auto& item : items) names += item.path.substr(item.path.rfind('.') + 1) + " ";
  return names;
}

// In tree order, each once; what never ends only when it is named in full.
TEST(SelectTest, GlobsChooseAmongTheTests) {
  const auto items = client::TestItems(Json::parse(R"({"kind":"branch","children":[
      {"path":"test.items.eeprom.main","kind":"test","class":"A","value":"OK","children":[]},
      {"path":"test.items.eeprom.fpa","kind":"test","class":"A","value":"OK","children":[]},
      {"path":"test.text","kind":"value","class":"CResBitText","value":"","children":[]},
      {"path":"test.items.VDDR.loop","kind":"test","class":"CResBitLoopVDDR","value":"",
       "children":[]}]})"));
  EXPECT_EQ(Names(client::Select(items, {})), "main fpa loop ");
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {{}, "main fpa "},
      {{"*fpa", "items.eeprom.*"}, "main fpa "},
      {{"test.items.eeprom.[f]*"}, "fpa "},
      {{"items.eeprom"}, "main fpa "},
      {{"items.eep"}, ""},
      {{"items.VDDR.lo*"}, ""},
      {{"items.VDDR.loop", "*main"}, "main loop "},
  };
  for (const auto& [globs, selected] : cases) {
    EXPECT_EQ(Names(client::SelectForRun(items, globs)), selected);
  }
}

TEST(ResultsTest, MessageOfARecord) {
  const std::string line = "12:00:00;2013-08-29;T;;A;S;C;Item         ;";
  EXPECT_EQ(client::MessageOf(line + "OK      ;a;b, ", "OK      "), "a;b, ");
  EXPECT_EQ(client::MessageOf(line + "E 0032  ;a;b", "E 0031  "), "a;b");
  EXPECT_EQ(client::MessageOf("fragment", "OK      "), "");
  EXPECT_EQ(client::MessageOf("t <bitLog id=\"I\" data=\"E 0021  :a \" b\" datatype=\"string\"/>",
                              "E 0021  "),
            "a \" b");
}

// What a reader that is not ours finds in an XML file.
void ExpectFound(const std::string& file,
                 const std::vector<std::pair<const char*, const char*>>& finds) {
  for (const auto& [path, value] : finds) {
    Process find("/usr/bin/xmllint", {"--xpath", path, file});
    EXPECT_EQ(find.Wait(), 0) << find.Errors();
    EXPECT_EQ(find.Output(), std::string(value) + "\n") << path;
  }
}

// A failure, a pass of the same item later, and an attempt that was refused; texts that no format
// takes as they are.
client::Report SomeReport() {
  const std::string noon = "2013-08-29T12:00:00";
  const std::string message = "gone <\x01> # \xEF\xBF\xBF \xC3\xA4, ";
  // Path, class, round, passed, status, value, message, start, seconds, records, problem, causes.
  const client::Attempt failed{"test.items.g.a",
                               "C",
                               1,
                               false,
                               1,
                               "E 0002  ",
                               message,
                               noon,
                               0.25,
                               {"a;\x1B;E 0002  ;gone"},
                               "",
                               {{"the lens \x1B is stuck", "lens", {"KY"}}}};
  const client::Attempt passed{"test.items.g.a", "C",  2, true, 0,  "OK      ",
                               "there",          noon, 5, {},   "", {}};
  const client::Attempt refused{"test.items.b",        "C", 2,  false,  0, "", "busy",
                                "2013-08-29T12:00:05", 0,   {}, "busy", {}};
  return {"KY", "1 & \"2\"", {failed, passed, refused}, true};
}

TEST(ResultsTest, EveryAttemptIsShown) {
  std::ostringstream table;
  client::WriteTable(table, SomeReport(), client::TableStyle::Plain, true);
  EXPECT_EQ(table.str(),
            "ROUND  ITEM            RESULT    SECONDS  MESSAGE\n"
            "1      test.items.g.a  E 0002    0.2      gone <\x01> # \xEF\xBF\xBF \xC3\xA4,\n"
            "    likely: the lens \x1B is stuck [lens]\n"
            "2      test.items.g.a  OK        5.0      there\n"
            "2      test.items.b    none      0.0      busy\n"
            "1 passed, 1 failed, 1 without a result\n");
  std::ostringstream text;
  client::WriteJson(text, SomeReport());
  const Json json = Json::parse(text.str());
  EXPECT_EQ(json["failed"], 1);
  EXPECT_EQ(json["attempts"][0]["started"], "2013-08-29T12:00:00");
  EXPECT_EQ(json["attempts"][2]["problem"], "busy");
  EXPECT_EQ(json["attempts"][0]["causes"][0]["part"], "lens");
}

// By a reader that is not ours: its verdict on the form, and what it finds inside.
TEST(ResultsTest, JunitIsReadByOthers) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "junit.xml").string();
  std::ofstream stream(file);
  client::WriteJunit(stream, SomeReport());
  stream.close();
  Process schema("/usr/bin/xmllint", {"--noout", "--schema", TEST_JUNIT_SCHEMA, file});
  EXPECT_EQ(schema.Wait(), 0) << schema.Errors();
  ExpectFound(file, {{"string(/testsuites/@failures)", "1"},
                     {"string(//testsuite/@errors)", "1"},
                     {"string(//testsuite/@name)", "KY"},
                     {"string(//testsuite/@timestamp)", "2013-08-29T12:00:00"},
                     {"string(//property[@name='camera.serial']/@value)", "1 & \"2\""},
                     {"string(//testcase[1]/@classname)", "test.items.g"},
                     {"string(//testcase[1]/@time)", "0.250"},
                     {"string(//testcase[1]/failure/@type)", "E 0002  "},
                     {"string(//testcase[1]/failure/@message)",
                      "gone <\xEF\xBF\xBD> # \xEF\xBF\xBD \xC3\xA4, "},
                     {"string(//testcase[1]//property[@name='cause']/@value)",
                      "the lens \xEF\xBF\xBD is stuck [lens]"},
                     {"string(//testcase[2]/@name)", "a [2]"},
                     {"count(//testcase[2]/failure)", "0"},
                     {"string(//testcase[2]/@status)", "OK      "},
                     {"string(//testcase[3]/error/@message)", "busy"}});
}

TEST(ResultsTest, TapIsReadByAHarness) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "run.tap").string();
  // Its exit code, and all that it says.
  const auto prove = [&file](const client::Report& report) {
    std::ofstream stream(file);
    client::WriteTap(stream, report);
    stream.close();
    Process harness("/usr/bin/prove", {"--exec", "cat", file});
    const int code = harness.Wait();
    return std::to_string(code) + harness.Output() + harness.Errors();
  };
  client::Report report = SomeReport();
  const std::string verdict = prove(report);
  EXPECT_NE(verdict.find("Failed 2/3 subtests"), std::string::npos) << verdict;
  EXPECT_NE(verdict.find("Failed tests:  1, 3"), std::string::npos) << verdict;
  EXPECT_EQ(verdict.find("Parse errors"), std::string::npos) << verdict;
  report.attempts = {report.attempts[1]};
  EXPECT_TRUE(prove(report).starts_with("0"));
  report.isWhole = false;
  EXPECT_NE(prove(report).find("Bailout called"), std::string::npos);
}

std::vector<std::string> WhatOf(const std::vector<client::Cause>& causes) {
  std::vector<std::string> what;
  for (const client::Cause& each : causes) what.push_back(each.what);
  return what;
}

// The camera's own causes before others', those that change the fewest results first, the
// software's last; an unknown item falls back on its class; a board is named in its advice.
TEST(DictionaryTest, CausesAndAdvice) {
  const std::vector<std::string> ofM =
      WhatOf(client::CausesOf("test.items.focus.focus", "CResBitFocus", "E 00A2", "M"));
  EXPECT_EQ(ofM, (std::vector<std::string>{"the lens is slow", "the lens is stuck",
                                           "system.focus.maxPos cannot be read",
                                           "system.focus.position cannot be written",
                                           "nothing of the camera's software can be written",
                                           "the lens drive has play", "the lens goes too far"}));
  const auto causes = client::CausesOf("test.items.focus.focus", "CResBitFocus", "E 00A2", "K");
  EXPECT_EQ(causes.front().part, "lens");
  EXPECT_EQ(causes.back().what, "nothing of the camera's software can be written");
  EXPECT_NE(client::RemedyFor("GOKA board").find("GOKA board"), std::string::npos);
  EXPECT_EQ(client::RemedyFor("GOKA board").find('*'), std::string::npos);
  EXPECT_EQ(client::RemedyFor("sail"), "");
  EXPECT_FALSE(client::CausesOf("test.items.eeprom.new", "CResBitEEPromItems", "E 0021").empty());
  EXPECT_TRUE(client::CausesOf("test.items.focus.far", "CResBitFocusM7", "E 0021").empty());
  EXPECT_EQ(client::GuideOf("CResBitSail"), nullptr);
}

// A test that stores nothing has a meaning too, whatever its status.
TEST(DictionaryTest, NoResultIsExplained) {
  const std::string item = "test.items.visual.detect";
  const client::TestGuide& guide = *client::GuideOf("CResBitVisual");
  const client::ResultGuide* const found = guide.Find("no result, status 0xF0");
  ASSERT_NE(found, nullptr);
  EXPECT_NE(found->means.find("nothing was stored"), std::string::npos) << found->means;
  const auto known = WhatOf(client::CausesOf(item, "CResBitVisual", "no result"));
  EXPECT_EQ(known, WhatOf(client::CausesOf(item, "CResBitVisual", "no result, status 0xF0")));
  EXPECT_EQ(known.front(), "the link to the visual camera cannot be reached anew");
  EXPECT_TRUE(client::HasCauses(item, "CResBitVisual", "no result"));
  EXPECT_EQ(client::GuideOf("CResBitGps")->Find("no result, status 0x1"), nullptr);
}

// Every result that a fault makes is explained, and nothing is that no fault makes.
TEST(DictionaryTest, GuideAndCausesSpeakOfTheSameResults) {
  const std::string folder = TEST_CLIENT_FOLDER;
  const Json causes = Json::parse(std::ifstream(folder + "/fault_causes.json"));
  const Json guide = Json::parse(std::ifstream(folder + "/test_guide.json"));
  EXPECT_GT(causes.size(), 100U);
  for (const Json& row : causes) {
    if (row["class"] == "the camera") continue;  // it does not start
    const client::TestGuide* const known = client::GuideOf(row["class"]);
    ASSERT_NE(known, nullptr) << row["class"];
    EXPECT_NE(known->Find(row["result"]), nullptr) << row["class"] << row["result"];
  }
  for (const Json& test : guide["tests"]) {
    for (const Json& name : test["classes"]) {
      if (name == "CResBitLoopVDDR") continue;  // it never ends: the results of its passes
      for (const Json& result : test["results"]) {
        for (const Json& code : result["codes"]) {
          // Reads of the video memory fail with its writes, which come first.
          const bool isHidden = name == "CResBitVDDR" && code == "E 0112";
          EXPECT_EQ(client::CausesOf("", name, code).empty(), isHidden) << name << code;
        }
      }
    }
  }
}

TEST(MeasurementsTest, ComeFromTheMessagesAsTheTestsWriteThem) {
  struct Row {
    const char* className;
    const char* message;
    const char* expected;  // name=value unit lower upper; with "-" for none
  };
  for (const Row& row : {
           Row{"CResBitBatteryFG", "Fuel Gauge detected U=3700, I=-450, C=84%",
               "voltage=3700 mV - -;current=-450 mA - -;charge=84 % - -;"},
           {"CResBitTempsensItems", "Tempsens Lens:298.152100 K, ",
            "Tempsens Lens=298.152 K 243 343;"},
           {"CResBitTempsensItems", "Tempsens Lens:Out of range 343.000000 K, ",
            "Tempsens Lens=343 K 243 343;"},
           {"CResBitTempsensN", "Aperture:298.15 K, Shutter:298.4 K, Front:297.9 K, ",
            "Aperture=298.15 K 243 343;Shutter=298.4 K 243 343;"
            "Front=297.9 K 243 343;"},
           {"CResBitShutterRMV", "Shutter stucked, diff:5001",
            "largest difference=5001 counts - -;"},
           {"CResBitApertureR8", "Aperture locked, diff: -3",
            "difference of the means=-3 counts - -;"},
           {"CResBitFilterH", "FILTER test failed, maxdiff 1999 ( missing BB ? )",
            "largest difference=1999 counts - -;"},
           {"CResBitTempsensItems", "Tempsens Lens:Tempsens not detected ", ""},
           {"CResBitEEPromItems", "Tempsens Lens:298.152100 K, ", ""},
           {"CResBitBatteryFG", "Fuel Gauge detected U=, I=-450, C=84%", ""},
       }) {
    std::ostringstream text;
    for (const client::Measurement& each : client::MeasurementsOf(row.className, row.message)) {
      text << each.name << "=" << each.value << " " << each.unit;
      for (const auto& limit : {each.lower, each.upper}) {
        limit ? text << " " << *limit : text << " -";
      }
      text << ";";
    }
    EXPECT_EQ(text.str(), row.expected) << row.message;
  }
  // A text of any length, and nothing deep in the reader.
  const std::string endless = std::string(200000, 'x') + ":298.152100 K, ";
  EXPECT_TRUE(client::MeasurementsOf("CResBitTempsensItems", endless).empty());
}

TEST(LogLinesTest, FragmentsStandApart) {
  using Line = client::LogLine;
  using Kind = Line::Kind;
  const std::string record = "12:00:00;2013-08-29;T;E;A;S;C;Item         ;OK      ;a;b, ";
  const std::string system = "2013-08-29 12:00:00 <bitLog id=\"I\" data=\"x\"/>";
  const std::string header = "   Camera Name:   KY";
  const std::string torn = record.substr(0, 30);
  const Line whole{Kind::Record, record};
  const auto fragment = [](const std::string& text) { return Line{Kind::Fragment, text}; };
  const std::pair<std::string, std::vector<Line>> cases[] = {
      {"", {}},
      {"\n" + header + "\n" + record + "\n", {{Kind::Header, ""}, {Kind::Header, header}, whole}},
      {record + "\n" + record, {whole, fragment(record)}},
      {"12:00:0" + record + "\n", {fragment("12:00:0"), whole}},
      {record + record + "\n", {fragment(record), whole}},
      {"12" + torn + record + "\n", {fragment("12"), fragment(torn), whole}},
      {torn + "\n", {fragment(torn)}},
      {header + record + "\n", {fragment(header), whole}},
      {torn + "\nT;E;A;S;C;I;OK;m\n", {fragment(torn), fragment("T;E;A;S;C;I;OK;m")}},
      {system.substr(0, 25) + system + "\n",
       {fragment(system.substr(0, 25)), {Kind::Record, system}}},
  };
  for (const auto& [log, lines] : cases) EXPECT_EQ(client::LogLines(log), lines) << log;
}

// The cooler's plan ends well from whatever an earlier run left, and leaves the cooler on.
TEST(CoolerPlanTest, EndsWithItsResults) {
  const std::string failed = "The cooler test ended in the state \"coolingDown\"";
  const std::string state = "test.items.cooler.state";
  // What is written before; whether it passes, with which value and message.
  const std::tuple<std::string, const char*, bool, const char*, std::string> cases[] = {
      {"test.clearResult", "true", true, "Tested  ", "Tested"},
      {state, "warmingUp", true, "Tested  ", "Tested"},
      {state, "", true, "Tested  ", "Tested"},
      {"test.description.format", "XML", true, "Tested  ", "Tested"},
      {".desk.cooler.load", "7500", false, "Untested", failed},
      {".desk.cooler.starts", "false", false, "Untested", failed},
      {".desk.lost", "coolerTest.txt", false, "Tested  ", "Unknown error"},
  };
  for (const auto& [path, written, passes, value, message] : cases) {
    TestCamera camera("H", ".desk.cooler.warmingtime=60");
    desk::CameraServer server{camera.Camera()};
    EXPECT_EQ(server.Bind(0), "");
    server.Serve();
    client::CameraClient client(server.Port());
    client.Set(path, written);
    if (path == state) client.Set(".system.cooler.active", "false");
    std::vector<client::Attempt> attempts;
    client::Run(client, {{"test.items.cooler.cooler", "CResBitCooler", ""}}, {}, attempts,
                [](const client::Attempt&, client::Phase) {});
    ASSERT_EQ(attempts.size(), 1U) << path;
    EXPECT_EQ(attempts[0].passed, passes) << path;
    EXPECT_EQ(attempts[0].value, value) << path;
    EXPECT_EQ(attempts[0].message, message) << path;
    EXPECT_EQ(camera.Get(".system.cooler.active"),
              path == ".desk.cooler.starts" ? "false" : "true");
  }
}

struct Outcome {
  int code;
  std::string output;
  std::string errors;
};

// diagorctl's, of the server on that port.
Outcome Ctl(std::uint16_t port, std::vector<std::string> words) {
  words.insert(words.begin(), {"--port", std::to_string(port)});
  Process process("diagorctl", words);
  const int code = process.Wait();
  return {code, process.Output(), process.Errors()};
}

class DiagorctlTest : public ::testing::Test {
 protected:
  DiagorctlTest() {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }
  Outcome Ctl(const std::vector<std::string>& words) const {
    return test::Ctl(mServer.Port(), words);
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
    auto* const battery = TARQ::NodeAccess::Find(
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
  ExpectFound(file, {{"string(//testcase[2]/@time)", "5.000"}});  // of the camera, not of ours
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
    const TemporaryFolder root;
    const TemporaryFolder results;
    const std::string file = (results.Path() / "junit.xml").string();
    Process camera("diagor", {"-p", "0"}, {{"DIAGOR_ROOT", root.Path().string()}});
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
    ExpectFound(file, {{"string(/testsuites/@errors)", "1"},
                       {"string(//testcase[2]/error/@type)", "no result"},
                       {"string(//property[@name='run.whole']/@value)", "false"}});
  }
}

// Made one at a time, on the camera as it runs; what nobody sees says why.
TEST_F(DiagorctlTest, MakesFaultsAndTellsWhatTheTestsMakeOfThem) {
  const std::string battery = ".desk.bus.i2c1.e6.answers";
  const std::string clock = ".desk.rtc.rate";
  mCamera.Set(clock, "1.3");  // what is broken before is healthy in the comparison
  Outcome made = Ctl({"--json", "--quiet", "faults", battery, clock + "=0", ".desk.torch.works",
                      ".desk.registry.bsp", "*=image.state.live.set", "--pairs", "3"});
  ASSERT_EQ(made.code, 0) << made.errors;
  Json json = Json::parse(made.output);
  ASSERT_EQ(json["faults"].size(), 6U);
  EXPECT_EQ(json["at_start"][0]["path"], ".desk.registry.bsp");
  std::map<std::string, Json> found;
  for (const Json& fault : json["faults"]) found[fault["path"]] = fault;
  EXPECT_EQ(found[battery]["part"], "battery");
  EXPECT_EQ(
      found[battery]["differences"],
      Json::array(
          {{{"path", "test.items.battery"}, {"class", "CResBitBattery"}, {"result", "E 0002"}}}));
  EXPECT_EQ(found[clock]["differences"][0]["result"], "E 0012");
  EXPECT_EQ(found[".desk.torch.works"]["differences"].size(), 0U);
  EXPECT_TRUE(found[".desk.torch.works"]["unseen"].get<std::string>().starts_with("no test looks"));
  // What the program asks of a node, and no test of N judges by.
  const std::pair<const char*, const char*> reasons[] = {
      {".desk.hidden", "the program opens it, but its absence changes no verdict"},
      {".desk.unreadable", "no test of this camera reads it"},
      {".desk.refused", "the program writes it, but no verdict depends on that"}};
  for (const auto& [knob, reason] : reasons) EXPECT_EQ(found[knob]["unseen"], reason);
  // Neither hides the other, and nothing is left of them.
  ASSERT_EQ(json["pairs"].size(), 3U);
  EXPECT_EQ(json["pairs"][0]["hidden"].size(), 0U);
  EXPECT_EQ(mCamera.Get(battery), "true");
  EXPECT_EQ(mCamera.Get(clock), "1.0");

  // A clock that does not answer is not asked whether it runs: the item fails all the same, but
  // nothing tells of the fault behind.
  const std::string chip = ".desk.bus.i2c1.d0.answers";
  made = Ctl({"--json", "--quiet", "faults", chip, clock + "=0", "--pairs", "1"});
  json = Json::parse(made.output)["pairs"][0];
  EXPECT_EQ(json["hidden"], Json::array({clock + "=0"}));
  EXPECT_EQ(json["lost"], Json::parse(R"([{"fault":".desk.rtc.rate=0","path":"test.items.clock",)"
                                      R"("result":"E 0012"}])"));

  made = Ctl({"--quiet", "faults", battery, clock});
  EXPECT_TRUE(
      made.output.ends_with("4 faults made, 4 detected (100 %); of these 4 (100 %) point at one "
                            "part, 4 at three at most; "
                            "2 groups that the tests tell apart\n"))
      << made.output;
  made = Ctl({"--quiet", "faults", "--csv", battery});
  EXPECT_EQ(made.output, "knob,value,fault,part,item,class,result\r\n\"" + battery +
                             "\",\"false\",\"the chip does not answer\",\"battery\","
                             "\"test.items.battery\",\"CResBitBattery\",\"E 0002\"\r\n");
  EXPECT_EQ(Ctl({"faults", "--list", battery}).output,
            battery + "=false: the chip does not answer [battery]\n");
  EXPECT_EQ(Ctl({"faults", "no.such"}).code, 2);
  client::CameraClient(mServer.Port()).TakeLease("bench 3", 30);
  EXPECT_NE(Ctl({"faults", battery}).errors.find("bench 3 has this camera"), std::string::npos);
}

// A test that waits in vain takes as long as it takes there, and nobody presses its keys.
TEST(RealClockTest, FaultsAreNotMade) {
  const TemporaryFolder root;
  Process camera("diagor", {"-p", "0"}, {{"DIAGOR_ROOT", root.Path().string()}});
  const std::uint16_t port = PortOf(camera.ErrorsUntil("http://127.0.0.1:"));
  const Outcome faults = Ctl(port, {"faults"});
  EXPECT_EQ(faults.code, 2);
  EXPECT_NE(faults.errors.find("virtual clock"), std::string::npos) << faults.errors;
}

// In a technician's words: what the item holds, or the code that he names.
TEST_F(DiagorctlTest, ExplainsResults) {
  mCamera.Set(".desk.bus.i2c1.e6.answers", "false");
  mCamera.Run("test.items.battery");
  for (const std::vector<std::string>& words :
       {std::vector<std::string>{"explain", "items.battery"},
        {"explain", "items.battery", "2"},
        {"explain", "test.items.battery", "E 0002"}}) {
    const Outcome told = Ctl(words);
    EXPECT_EQ(told.code, 0) << told.errors;
    EXPECT_NE(told.output.find("\nE 0002: "), std::string::npos) << told.output;
    EXPECT_NE(told.output.find("battery: the chip does not answer"), std::string::npos);
    EXPECT_NE(told.output.find("Change the battery."), std::string::npos) << told.output;
  }
  const Outcome run = Ctl({"run", "items.battery"});
  EXPECT_NE(run.output.find("likely: the chip does not answer [battery]"), std::string::npos);
  EXPECT_EQ(Ctl({"--quiet", "run", "items.battery"}).output.find("likely"), std::string::npos);
  const Outcome passed = Ctl({"explain", "items.battery", "ok"});
  EXPECT_EQ(passed.code, 0) << passed.errors;
  EXPECT_TRUE(passed.output.ends_with("\nOK: The test passed.\n")) << passed.output;
  EXPECT_EQ(Ctl({"explain", "items.battery", "0099"}).code, 2);
  EXPECT_EQ(Ctl({"explain", "items.nothing"}).code, 2);
}

TEST_F(DiagorctlTest, WatchesWhatHappens) {
  mCamera.Set(".desk.bus.i2c1.e6.answers", "false");
  Process watch("diagorctl", {"--port", std::to_string(mServer.Port()), "watch", "--after", "0"});
  watch.OutputUntil("\n");
  mCamera.Write("test.items.battery", "run");
  watch.OutputUntil("test-ended");
  watch.Signal(SIGINT);
  EXPECT_EQ(watch.Wait(), 130);
  EXPECT_EQ(watch.Output(),
            "       0.000  value         .appl.journal.active  false\n"
            "       0.000  value         .desk.bus.i2c1.e6.answers  false\n"
            "       0.000  test-started  test.items.battery  \n"
            "       0.000  value         test.items.battery  E 0002  \n"
            "       0.000  record        " +
                mCamera.LogLines().back() +
                "\n       0.000  test-ended    test.items.battery  E 0002  \n");
  ASSERT_EQ(mCamera.Run("test.items.laser").value, "OK      ");
  Process screen("diagorctl", {"--port", std::to_string(mServer.Port()), "watch", "--after", "0"});
  const std::string lines = screen.OutputUntil("no dialog\n");
  for (const char* const line : {"1.000  screen        Laser Test, Hit laser button!, hit 0 of 1, "
                                 "missing Laser, 20 s left\n",
                                 "1.700  screen        Laser Test, Hit laser button!, hit 1 of 1\n",
                                 "2.200  screen        no dialog\n"}) {
    EXPECT_NE(lines.find(line), std::string::npos) << lines;
  }
  const Outcome json = Ctl({"--json", "watch", "--after", "0", "--count", "1"});
  EXPECT_EQ(Json::parse(json.output)["event"], "value");
}

TEST_F(DiagorctlTest, ReadsWritesAndResets) {
  EXPECT_EQ(Ctl({"get", "items.battery"}).output, "Untested\n");
  EXPECT_EQ(Ctl({"set", ".desk.bus.i2c1.e6.answers", "false"}).output, "false\n");
  const Outcome set = Ctl({"set", "items.battery", "run"});
  EXPECT_EQ(set.code, 1);
  EXPECT_TRUE(set.output.starts_with("E 0002  \n12:00:00;")) << set.output;
  const std::string list = Ctl({"list"}).output;
  EXPECT_NE(list.find("test.items.battery"), std::string::npos) << list;
  EXPECT_NE(list.find("CResBitEEPromN"), std::string::npos) << list;
  EXPECT_EQ(Json::parse(Ctl({"--json", "show", "items", "--depth", "0"}).output)["children"],
            Json::array(
                {"battery", "clock", "eeprom", "tempsens", "laser", "buttons", "lcd", "shutter"}));
  EXPECT_EQ(Ctl({"log"}).output, mCamera.Contents("/FlashFS/tmp/bitlog.txt"));
  EXPECT_EQ(Ctl({"reset", "--log", "--camera"}).code, 0);
  EXPECT_EQ(mCamera.LogLines().size(), 10U);
  EXPECT_EQ(Ctl({"get", "items.battery"}).output, "Untested\n");
  EXPECT_EQ(Ctl({"run", "items.battery"}).code, 0);

  EXPECT_EQ(Ctl({"log", "--system"}).output, "");  // a healthy camera has none
  // What is printed can be typed again.
  std::istringstream shown(Ctl({"show", ".desk.bus.i2c1.e6"}).output);
  std::size_t count = 0;
  for (std::string line; std::getline(shown, line); ++count) {
    EXPECT_EQ(Ctl({"get", line.substr(0, line.find(' '))}).code, 0) << line;
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
    const auto onTerminal = [&](const std::string& words) {
      Process script("/usr/bin/script", {"-qec", program + words, "/dev/null"},
                     {{"TERM", terminal}, {"NO_COLOR", noColour}});
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
  const std::pair<std::vector<std::string>, int> cases[] = {
      {{"run", "items.nothing"}, 2},
      {{"list", "items.nothing"}, 2},
      {{}, 2},
      {{"dance"}, 2},
      {{"log", "--system"}, 0},
      {{"run", "--repeat", "0"}, 2},
      {{"get", "test.nobody"}, 4},
      {{"set", "test.description.format", "PDF"}, 4},
      {{"--help"}, 0},
  };
  for (const auto& [words, code] : cases) EXPECT_EQ(Ctl(words).code, code) << words.size();
  EXPECT_NE(Ctl({"dance"}).errors.find("no command dance"), std::string::npos);
  EXPECT_EQ(Ctl({"--version"}).output, "23.0.1\n");
  EXPECT_EQ(test::Ctl(1, {"list"}).code, 3);
}

// Something else that listens, and answers each request in its own way. After an answer without a
// length it closes.
class OtherServer {
 public:
  using Answer = std::function<std::string(const std::string& request)>;
  static constexpr char kSilence[] = "silence";
  explicit OtherServer(const Answer& answer) : mThread([this, answer] { AcceptAll(answer); }) {}
  ~OtherServer() {
    shutdown(mAcceptor.native_handle(), SHUT_RD);
    mThread.join();
  }
  OtherServer(const OtherServer&) = delete;
  OtherServer& operator=(const OtherServer&) = delete;
  std::uint16_t Port() const { return mAcceptor.local_endpoint().port(); }

 private:
  void AcceptAll(const Answer& answer) {
    boost::system::error_code error;
    for (;;) {
      tcp::socket socket(mContext);
      mAcceptor.accept(socket, error);
      if (error) return;
      for (bool goesOn = true; goesOn;) {
        std::string request;
        boost::asio::read_until(socket, boost::asio::dynamic_buffer(request), "\r\n\r\n", error);
        const std::string text = error ? "" : answer(request);
        goesOn = text == kSilence || text.find("Content-Length: ") != std::string::npos;
        if (text != kSilence) boost::asio::write(socket, boost::asio::buffer(text), error);
      }
    }
  }

  using tcp = boost::asio::ip::tcp;
  boost::asio::io_context mContext;
  tcp::acceptor mAcceptor{mContext, {boost::asio::ip::address_v4::loopback(), 0}};
  std::thread mThread;
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
    for (const std::vector<std::string>& words : commands) {
      const auto [code, output, errors] = Ctl(server.Port(), words);
      EXPECT_EQ(code, 3) << answer << words[0];
      EXPECT_EQ(output, "");
      EXPECT_TRUE(errors.starts_with("diagorctl: no camera on port ")) << errors;
    }
  }
}

// What answers like a camera at first, and then with something else.
TEST(NoCameraTest, ForeignFaultsAndLeasesAreRefused) {
  const std::pair<const char*, const char*> cases[] = {
      {"faults", R"({"knobs":[{"path":"a"},{"path":"b","faults":[{"value":"1"}]}]})"},
      {"faults", R"({"knobs":[{"path":7,"faults":[{}]}]})"},
      {"faults", R"({"knobs":5})"},
      {"lease", R"({"owner":"x","seconds":"soon"})"},
      {"lease", R"({"owner":"x","seconds":1e300})"}};
  for (const auto& [word, body] : cases) {
    OtherServer server(LikeACamera([text = body](const std::string&) { return HttpAnswer(text); }));
    const auto [code, output, errors] = Ctl(server.Port(), {word});
    EXPECT_EQ(code, 3) << body;
    EXPECT_TRUE(errors.starts_with("diagorctl: no camera on port ")) << body << errors;
  }
}

TEST(NoCameraTest, SilenceEndsInTime) {
  constexpr std::chrono::milliseconds kShort{20};
  const auto silent = [](const std::string&) { return OtherServer::kSilence; };
  for (const OtherServer::Answer& answer : {OtherServer::Answer(silent), LikeACamera(silent)}) {
    OtherServer server(answer);
    client::CameraClient client("127.0.0.1", server.Port(), {}, {kShort, kShort});
    EXPECT_THROW(client.File("a"), client::ConnectionError);
    EXPECT_THROW(client.Get("a"), client::ConnectionError);
    EXPECT_THROW(client.Subscribe([](const client::Event&) {}), client::ConnectionError);
  }
  // A write's answer may take as long as it likes, but to something silent none is sent.
  OtherServer server(silent);
  client::CameraClient client("127.0.0.1", server.Port(), {}, {kShort, {}});
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
  const std::tuple<std::string, std::string, int> cases[] = {
      {header + record, header, 0},
      {header, header, 0},
      {record, header + "12:00:01" + record.substr(8), 0},
      {header + record, header + record, 1},
      {header + record, header + record + record, 1},
      {header + record, "", 1},
      {header, header.substr(0, 10), 1}};
  for (const auto& [before, after, code] : cases) {
    std::string log = before;
    OtherServer server(LikeACamera([&log, restarted = after](const std::string& request) {
      if (request.starts_with("PUT /api/v1/task/test.clearLog")) log = restarted;
      if (request.starts_with("GET /api/v1/files/FlashFS/tmp/bitlog.txt")) return HttpAnswer(log);
      return HttpAnswer(R"({"status":0,"value":false,"records":[]})");
    }));
    const Outcome reset = Ctl(server.Port(), {"reset", "--log"});
    EXPECT_EQ(reset.code, code) << before << after << reset.errors;
    EXPECT_EQ(reset.errors.empty(), code == 0) << reset.errors;
  }
}

}  // namespace
}  // namespace test
