// The cooler's test as clients drive it.
#include "tests/optics/cooler.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <filesystem>
#include <thread>

#include "support/test_camera.h"

namespace test {
namespace {

constexpr char kItem[] = "test.items.cooler.cooler";
constexpr char kFile[] = "/FlashFS/system/web/service/diag/coolerTest.txt";
constexpr char kHeader[] =
    "\n\n#############   Saved results from cooler test   ##################\n\n";

class CoolerTest : public ::testing::Test {
 protected:
  void Command(const std::string& command) { mCamera.Write("test.items.cooler.command", command); }
  // The state after a step.
  std::string Step() {
    EXPECT_EQ(mCamera.Write(kItem, "step")["status"], 0);
    return State();
  }
  std::string Step(const std::string& command) {
    Command(command);
    return Step();
  }
  std::string State() { return mCamera.Get("test.items.cooler.state"); }
  std::string Node(const std::string& name) { return mCamera.Get("test.items.cooler." + name); }
  void Pass(const std::string& seconds) { mCamera.Set(".desk.clock.advance", seconds); }
  // A read of the item while the detector has that temperature, 0.01 K.
  void Sample(int temperature) {
    mCamera.Set(".system.cooler.temperature", std::to_string(temperature));
    mCamera.Get(kItem);
  }
  // Steps, so many seconds apart, while that state lasts; the seconds.
  int StepWhile(const std::string& state, int seconds) {
    int passed = 0;
    while (State() == state && passed < 100'000) {
      Pass(std::to_string(seconds));
      passed += seconds;
      Step();
    }
    return passed;
  }

  TestCamera mCamera{"H", ".desk.cooler.ripple=0"};
};

TEST_F(CoolerTest, FullRunsFromWarmToASavedFile) {
  mCamera.Set(".desk.cooler.ripple", "12");
  mCamera.Write("test.description.tester", "Ada");
  EXPECT_EQ(Step("full"), "warmingUp");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "false");
  EXPECT_GT(StepWhile("warmingUp", 10), 3600);
  EXPECT_EQ(State(), "coolingDown");
  EXPECT_NEAR(std::stoi(mCamera.Get(".system.cooler.temperature")), 29800, 100);
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  EXPECT_EQ(mCamera.Get(".system.cooler.state"), "1");
  // 190 s x ln((29800 - 4000) / (7000 - 4000)) are 409 s: the next step sees it.
  EXPECT_EQ(StepWhile("coolingDown", 10), 410);
  EXPECT_EQ(State(), "tempLogging");
  EXPECT_EQ(Node("coolDownResult").substr(19), " Cool down time: 410 S");
  EXPECT_EQ(Node("logResult"), "");
  Pass("20");
  EXPECT_EQ(Step(), "tempLogging");
  const std::string log = Node("logResult");
  EXPECT_NE(log.find(" Max:70"), std::string::npos) << log;
  EXPECT_EQ(mCamera.Get(kItem), "Untested");  // a step leaves the item's own value alone
  EXPECT_EQ(mCamera.LogLines().size(), 10U);

  EXPECT_EQ(Step("save"), "tempLogging");
  EXPECT_EQ(mCamera.Get(kItem), "Tested  ");
  EXPECT_EQ(Node("command"), "");
  EXPECT_NE(mCamera.LogLines().back().find(";Cooler test  ;Tested  ;Tested"), std::string::npos);
  EXPECT_EQ(mCamera.Contents(kFile), kHeader + ("Cooler log result:" + log) +
                                         ". Tested by Ada\nCool down result:" +
                                         Node("coolDownResult") + ". Tested by Ada\n");
  // Saved again, the lines are appended; the header is there once.
  Step("save");
  const std::string saved = mCamera.Contents(kFile);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 8);
  EXPECT_EQ(saved.rfind("####   Saved"), saved.find("####   Saved"));
}

TEST_F(CoolerTest, CoolDownEndsReadyAndTellsTruncatedSeconds) {
  mCamera.Set(".desk.cooler.warmingtime", "1");
  EXPECT_EQ(Step("coolDown"), "warmingUp");
  Pass("100");
  // With the history at 0, 0, 0 and a rising temperature the third warming step is the earliest.
  EXPECT_EQ(Step(), "warmingUp");
  EXPECT_EQ(Step(), "warmingUp");
  EXPECT_EQ(Step(), "coolingDown");
  Pass("125.9");
  EXPECT_EQ(Step(), "coolingDown");
  mCamera.Set(".system.cooler.state", "2");
  EXPECT_EQ(Step(), "coolDownRdy");
  EXPECT_EQ(Node("coolDownResult"), "2013-08-29 12:03:45 Cool down time: 125 S");
  EXPECT_EQ(Step(), "coolDownRdy");  // nothing more to do
  EXPECT_EQ(Node("logResult"), "");
}

// From which states a command starts what, with a cooler that holds, is off, or is switched on but
// does not hold yet.
struct StartCase {
  const char* command;
  const char* state;
  const char* active;
  const char* coolerState;
  const char* next;
};
TEST_F(CoolerTest, CommandsStartFromTheirStates) {
  const StartCase cases[] = {
      {"coolDown", "idle", "true", "2", "warmingUp"},
      {"coolDown", "aborted", "false", "0", "warmingUp"},
      {"coolDown", "unknown", "true", "2", "warmingUp"},
      {"full", "aborted", "true", "2", "warmingUp"},
      {"coolDown", "Untested", "true", "2", "Untested"},
      {"full", "coolDownRdy", "true", "2", "coolDownRdy"},
      {"full", "coolDownRdy", "false", "0", "unknown"},
      {"coolDown", "coolDownRdy", "false", "0", "coolDownRdy"},
      {"tempLog", "idle", "true", "1", "coolingDown"},
      {"tempLog", "aborted", "false", "0", "coolingDown"},
      {"tempLog", "unknown", "true", "1", "unknown"},
      {"tempLog", "unknown", "true", "2", "tempLogging"},
      {"tempLog", "idle", "false", "2", "coolingDown"},
      {"tempLog", "coolDownRdy", "true", "2", "tempLogging"},
      {"tempLog", "coolDownRdy", "false", "0", "unknown"},
      {"tempLog", "tempLogging", "false", "0", "unknown"},
      {"coolDown", "coolingDown", "true", "2", "coolDownRdy"},
      {"coolDown", "coolingDown", "true", "1", "coolingDown"},
      {"tempLog", "coolingDown", "true", "2", "tempLogging"},
      {"full", "coolingDown", "true", "2", "tempLogging"},
      {"abort", "tempLogging", "true", "2", "aborted"},
      {"halt", "unknown", "false", "0", "idle"},
  };
  for (const StartCase& each : cases) {
    mCamera.Set(".desk.restore", "true");
    mCamera.Set(".system.cooler.active", each.active);
    mCamera.Set(".system.cooler.state", each.coolerState);
    mCamera.Write("test.items.cooler.state", each.state);
    EXPECT_EQ(Step(each.command), each.next)
        << each.command << " " << each.state << " " << each.active << " " << each.coolerState;
  }
}

// The cooler is switched only when it is not as it is to be.
TEST_F(CoolerTest, SwitchesTheCoolerOnlyWhereItMust) {
  const std::pair<const char*, const char*> cases[] = {{"coolDown", "false"}, {"tempLog", "true"}};
  for (const auto& [command, active] : cases) {
    for (const bool switches : {true, false}) {  // the second time it is so already
      Command(command);
      const std::string trace = mCamera.Write(kItem, "step")["trace"].dump();
      EXPECT_EQ(trace.find("\"set\"") != std::string::npos, switches) << command;
      EXPECT_EQ(mCamera.Get(".system.cooler.active"), active) << command;
      Step("abort");
    }
  }
}

TEST_F(CoolerTest, WarmingEndsOnlyWhenTheTemperatureStopsRising) {
  // Each run begins with a history of zeros: its third step is the earliest end. The temperatures
  // at which it goes on warming, and the one at which it ends.
  const std::vector<std::pair<std::vector<int>, int>> runs = {
      {{100, 200, 200}, 150}, {{300, 300}, 300}, {{300, 200, 250, 240}, 240}};
  for (const auto& [warming, last] : runs) {
    mCamera.Write("test.items.cooler.coolDownResult", "old");
    Step("abort");
    EXPECT_EQ(Step("coolDown"), "warmingUp");
    EXPECT_EQ(Node("coolDownResult"), "");
    for (const int temperature : warming) {
      mCamera.Set(".system.cooler.temperature", std::to_string(temperature));
      EXPECT_EQ(Step(), "warmingUp") << temperature;
    }
    mCamera.Set(".system.cooler.temperature", std::to_string(last));
    EXPECT_EQ(Step(), "coolingDown") << last;
  }
}

TEST_F(CoolerTest, LogsAtOnceWhenTheCoolerHolds) {
  mCamera.Write("test.items.cooler.logResult", "old");
  EXPECT_EQ(Step("tempLog"), "tempLogging");
  EXPECT_EQ(Node("logResult"), "");
  for (const int sample : {7000, 7010, 6990}) Sample(sample);
  EXPECT_EQ(Step(), "tempLogging");
  EXPECT_EQ(Node("logResult"), "");  // three are too few
  Sample(7005);
  EXPECT_EQ(Step(), "tempLogging");
  // Mean 7001.25, squares 218.75, by three.
  EXPECT_EQ(Node("logResult"), "2013-08-29 12:00:00 Max:7010 Min:6990 Std:8.53913");
  EXPECT_EQ(mCamera.Get(kItem), "Untested");
}

TEST_F(CoolerTest, TaskSamplesTwentyFiveSecondsAfterTheLastStep) {
  EXPECT_EQ(Step("tempLog"), "tempLogging");
  Pass("25");
  mCamera.Set(".system.cooler.temperature", "8000");
  Pass("3");
  mCamera.Get(kItem);
  EXPECT_EQ(Step(), "tempLogging");
  EXPECT_EQ(Node("logResult").substr(20), "Max:7000 Min:7000 Std:0");
  // That step began a new log; 25 readings of it count, whoever makes them.
  for (int i = 0; i < 23; ++i) Sample(7000);
  mCamera.Set(".system.cooler.temperature", "6900");
  mCamera.Get("test.errcnt");  // reads the item too
  Sample(7100);
  Sample(9000);
  EXPECT_EQ(Step(), "tempLogging");
  EXPECT_NE(Node("logResult").find("Max:7100 Min:6900"), std::string::npos) << Node("logResult");
}

TEST_F(CoolerTest, LogGrowsBeyondAThousandSamples) {
  Step("tempLog");
  Sample(6999);
  for (int i = 0; i < 2500; ++i) {
    if (i % 20 == 0) Step();
    Sample(i == 1234 ? 7002 : 7000);
  }
  Step();
  // sqrt((1 + 4 - 1 / 2501) / 2500)
  EXPECT_EQ(Node("logResult").substr(20), "Max:7002 Min:6999 Std:0.0447196");
}

TEST_F(CoolerTest, StoppedCoolerEndsTheLog) {
  Step("tempLog");
  Pass("5");
  mCamera.Set(".desk.cooler.trip", "true");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "false");
  EXPECT_EQ(Step(), "unknown");
  EXPECT_NE(Node("logResult").find("Max:7000"), std::string::npos);  // what there was is told
  const std::string before = Node("logResult");
  Pass("5");
  Step();
  EXPECT_EQ(Node("logResult"), before);
  EXPECT_EQ(State(), "unknown");
}

// Without the node the log ends; a reading that fails is no sample, and the log goes on.
TEST_F(CoolerTest, SamplingStopsWithoutATemperature) {
  const std::pair<const char*, const char*> cases[] = {
      {".desk.hidden", "Max:7000 Min:7000 Std:0"},
      {".desk.unreadable", "Max:9000 Min:7000 Std:894.427"}};
  for (const auto& [knob, log] : cases) {
    Step("tempLog");
    for (int i = 0; i < 4; ++i) Sample(7000);
    mCamera.Set(knob, "system.cooler.temperature");
    mCamera.Get(kItem);
    mCamera.Set(knob, "");
    Sample(9000);
    Step();
    EXPECT_EQ(Node("logResult").substr(20), log) << knob;
    Step("abort");
  }
}

// A log starts from limits of its own.
TEST_F(CoolerTest, ExtremesStartFromTheLogsLimits) {
  const std::pair<int, const char*> cases[] = {{200000, "Max:200000 Min:100000 Std:0"},
                                               {-5, "Max:0 Min:-5 Std:0"}};
  for (const auto& [temperature, log] : cases) {
    Step("tempLog");
    for (int i = 0; i < 4; ++i) Sample(temperature);
    Step();
    EXPECT_EQ(Node("logResult").substr(20), log);
    Step("abort");
  }
}

// What was cooled stays cooled: no knob makes the temperature jump, and a set point above the
// detector is reached only as fast as the surroundings warm it.
TEST_F(CoolerTest, TemperatureNeverJumps) {
  const auto temperature = [this] { return std::stoi(mCamera.Get(".system.cooler.temperature")); };
  mCamera.Set(".system.cooler.active", "false");
  Pass("300");
  mCamera.Set(".system.cooler.active", "true");
  Pass("60");
  const int before = temperature();
  const std::pair<const char*, const char*> knobs[] = {
      {"setpoint", "20000"}, {"load", "1000"},       {"reach", "3000"},   {"surroundings", "31000"},
      {"coolingtime", "50"}, {"warmingtime", "600"}, {"starts", "false"}, {"trip", "true"}};
  for (const auto& [knob, value] : knobs) {
    mCamera.Set(std::string(".desk.cooler.") + knob, value);
    EXPECT_NEAR(temperature(), before, 1) << knob;
  }
  EXPECT_EQ(mCamera.Get(".system.cooler.state"), "0");
  mCamera.Set(".desk.restore", "true");
  mCamera.Set(".desk.cooler.ripple", "0");
  mCamera.Set(".desk.cooler.setpoint", "20000");
  EXPECT_EQ(temperature(), 7000);
  EXPECT_EQ(mCamera.Get(".system.cooler.state"), "1");
  Pass("7200");
  EXPECT_EQ(temperature(), 20000);
  EXPECT_EQ(mCamera.Get(".system.cooler.state"), "2");
}

TEST_F(CoolerTest, CommandsActOnTheState) {
  EXPECT_EQ(Step(""), "idle");
  EXPECT_EQ(Step("dance"), "idle");
  EXPECT_EQ(Step("abort"), "aborted");
  EXPECT_EQ(Node("command"), "abort");  // stays until clearLog or save
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  mCamera.Set(".system.cooler.active", "false");
  EXPECT_EQ(Step("halt"), "idle");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  mCamera.MakeFile(kFile, "old");
  Step("abort");
  EXPECT_EQ(Step("clearLog"), "idle");
  EXPECT_EQ(Node("command"), "");
  EXPECT_EQ(mCamera.Contents(kFile), kHeader);
  // Without a result there is nothing to save, and without its folder no file; the item is tested
  // all the same.
  std::filesystem::remove(mCamera.File(kFile));
  for (const char* const result : {"", "x"}) {
    mCamera.Write("test.items.cooler.logResult", result);
    Command("save");
    EXPECT_EQ(mCamera.Run(kItem), (Result{0, "Tested  ", "Unknown error"}));
    EXPECT_EQ(mCamera.Contents(kFile), *result == '\0' ? kHeader : "");
    std::filesystem::remove_all(mCamera.File(kFile).parent_path());
  }
  EXPECT_EQ(Node("command"), "");
}

// A storage that fills up in the middle of the second line: the first one is saved.
TEST_F(CoolerTest, TornSaveCountsWhatWasWritten) {
  mCamera.Write("test.items.cooler.logResult", "x");
  mCamera.Write("test.items.cooler.coolDownResult", std::string(5000, 'y'));
  Command("save");
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit full = {4096, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &full);
  const Result result = mCamera.Run(kItem);
  const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
  setrlimit(RLIMIT_FSIZE, &none);
  EXPECT_EQ(result, (Result{0, "Tested  ", "Tested"}));
  EXPECT_EQ(mCamera.Contents(kFile).size(), 4096U);
}

TEST_F(CoolerTest, StepWithoutItsInputsChangesNothing) {
  Command("abort");
  for (const char* const knob : {".desk.hidden", ".desk.unreadable"}) {
    for (const std::string node : {".temperature", ".active", ".state"}) {
      mCamera.Set(knob, "system.cooler" + node);
      EXPECT_EQ(Step(), "idle") << knob << node;
      mCamera.Set(knob, "");
    }
  }
  mCamera.Set(".desk.hidden", "system.cooler");
  EXPECT_EQ(Step(), "idle");
  mCamera.Set(".desk.hidden", "");
  mCamera.Write("test.items.cooler.state", "");
  EXPECT_EQ(Step(), "");
  EXPECT_EQ(Node("command"), "abort");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  mCamera.Write("test.items.cooler.state", "unknown");
  EXPECT_EQ(Step(), "aborted");
}

TEST_F(CoolerTest, LoadOrWearKeepsItFromHolding) {
  for (const char* const knob : {".desk.cooler.load", ".desk.cooler.reach"}) {
    mCamera.Set(".desk.restore", "true");
    mCamera.Set(knob, "7500");
    Pass("3000");
    EXPECT_EQ(mCamera.Get(".system.cooler.state"), "1") << knob;
  }
  mCamera.Set(".desk.restore", "true");
  mCamera.Set(".desk.cooler.starts", "false");
  mCamera.Set(".system.cooler.active", "false");
  mCamera.Set(".system.cooler.active", "true");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "false");
}

// Reads never take part in the camera's time: they meet steps at any moment.
TEST_F(CoolerTest, StepsAndReadsAtTheSameMoment) {
  Step("tempLog");
  std::atomic<bool> stop{false};
  const auto read = [&] {
    while (!stop) mCamera.Get(kItem);
  };
  std::thread one(read);
  std::thread two(read);
  for (int i = 0; i < 200; ++i) {
    Step(i % 7 == 6 ? "abort" : "tempLog");
    Pass("1");
  }
  stop = true;
  one.join();
  two.join();
  Step("tempLog");
  for (int i = 0; i < 4; ++i) mCamera.Get(kItem);
  Step();
  const std::string max = Node("logResult").substr(20, 6);  // about the 70 K at which it holds
  EXPECT_TRUE(max == "Max:69" || max == "Max:70") << max;
}

TEST(StatisticsTest, NeedTwoSamples) {
  const LONG samples[] = {1, 2, 3, 4};
  double deviation = -1;
  double mean = -1;
  EXPECT_FALSE(ComputeStatistics(samples, 1, deviation, &mean));
  EXPECT_EQ(deviation, -1);
  EXPECT_TRUE(ComputeStatistics(samples, 4, deviation, &mean));
  EXPECT_DOUBLE_EQ(mean, 2.5);
  EXPECT_TRUE(ComputeStatistics(samples, 2, deviation, nullptr));
  EXPECT_DOUBLE_EQ(deviation, std::sqrt(0.5));
}

}  // namespace
}  // namespace test
