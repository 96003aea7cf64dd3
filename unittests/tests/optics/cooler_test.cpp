// The cooler's test as clients drive it.
#include "tests/optics/cooler.h"

#include <gtest/gtest.h>
#include <atomic>

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

  TestCamera mCamera{"H"};
};

TEST_F(CoolerTest, FullRunsFromWarmToASavedFile) {
  mCamera.Write("test.description.tester", "Ada");
  EXPECT_EQ(Step("full"), "warmingUp");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "false");
  EXPECT_GT(StepWhile("warmingUp", 10), 3600);
  EXPECT_EQ(State(), "coolingDown");
  EXPECT_NEAR(std::stoi(mCamera.Get(".system.cooler.temperature")), 29800, 100);
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  EXPECT_EQ(mCamera.Get(".system.cooler.state"), "1");
  EXPECT_EQ(StepWhile("coolingDown", 10), 410);  // 190 s x ln(25750 / 3000), at the next step
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
}

TEST_F(CoolerTest, CoolDownEndsReadyAndTellsTruncatedSeconds) {
  mCamera.Set(".desk.cooler.warmingtime", "1");
  mCamera.Set(".desk.cooler.ripple", "0");
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
  // Full, given now, neither cools nor logs; a cooler that stopped shows.
  EXPECT_EQ(Step("full"), "coolDownRdy");
  mCamera.Set(".desk.cooler.trip", "true");
  EXPECT_EQ(Step(), "unknown");
}

TEST_F(CoolerTest, WarmingEndsOnlyWhenTheTemperatureStopsRising) {
  EXPECT_EQ(Step("coolDown"), "warmingUp");
  for (const int temperature : {100, 200, 200, 150, 160, 160}) {
    mCamera.Set(".system.cooler.temperature", std::to_string(temperature));
    // 200, 200, 150 is the first history that does not rise.
    EXPECT_EQ(Step(), temperature >= 200 || temperature == 100 ? "warmingUp" : "coolingDown");
    if (State() == "coolingDown") break;
  }
}

TEST_F(CoolerTest, LogsAtOnceWhenTheCoolerHolds) {
  mCamera.Set(".desk.cooler.ripple", "0");
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

TEST_F(CoolerTest, LogSwitchesTheCoolerOnAndWaits) {
  mCamera.Set(".system.cooler.active", "false");
  Pass("600");
  EXPECT_EQ(Step("tempLog"), "coolingDown");
  EXPECT_EQ(mCamera.Get(".system.cooler.active"), "true");
  EXPECT_EQ(Step(), "coolingDown");
  Pass("1200");
  EXPECT_EQ(Step(), "tempLogging");
}

TEST_F(CoolerTest, TaskSamplesTwentyFiveSecondsAfterTheLastStep) {
  mCamera.Set(".desk.cooler.ripple", "0");
  EXPECT_EQ(Step("tempLog"), "tempLogging");
  Pass("25");
  mCamera.Set(".system.cooler.temperature", "8000");
  Pass("3");
  mCamera.Get(kItem);
  mCamera.Get("test.errcnt");  // reads the item too
  EXPECT_EQ(Step(), "tempLogging");
  EXPECT_EQ(Node("logResult").substr(20), "Max:7000 Min:7000 Std:0");
  // That step began a new log; 25 readings of it count, whoever makes them.
  for (int i = 0; i < 24; ++i) Sample(7000);
  Sample(7100);
  Sample(9000);
  EXPECT_EQ(Step(), "tempLogging");
  EXPECT_NE(Node("logResult").find("Max:7100 Min:7000"), std::string::npos) << Node("logResult");
}

TEST_F(CoolerTest, LogGrowsBeyondAThousandSamples) {
  mCamera.Set(".desk.cooler.ripple", "0");
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
  mCamera.Set(".desk.cooler.ripple", "0");
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
  // From there only a cool-down begins anew.
  EXPECT_EQ(Step(), "unknown");
  EXPECT_EQ(Step("coolDown"), "warmingUp");
}

TEST_F(CoolerTest, SamplingStopsWithoutATemperature) {
  mCamera.Set(".desk.cooler.ripple", "0");
  Step("tempLog");
  for (int i = 0; i < 4; ++i) Sample(7000);
  mCamera.Set(".desk.hidden", "system.cooler.temperature");
  mCamera.Get(kItem);
  mCamera.Set(".desk.hidden", "");
  Sample(9000);
  Step();
  EXPECT_EQ(Node("logResult").substr(20), "Max:7000 Min:7000 Std:0");
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
  // Without a result there is nothing to save; the item is tested all the same.
  std::filesystem::remove(mCamera.File(kFile));
  Command("save");
  EXPECT_EQ(mCamera.Run(kItem), (Result{0, "Tested  ", "Unknown error"}));
  EXPECT_EQ(mCamera.Contents(kFile), kHeader);
  // A file that cannot be made.
  std::filesystem::remove_all(mCamera.File(kFile).parent_path());
  mCamera.Write("test.items.cooler.logResult", "x");
  Command("save");
  EXPECT_EQ(mCamera.Run(kItem), (Result{0, "Tested  ", "Unknown error"}));
  EXPECT_EQ(Node("command"), "");
}

TEST_F(CoolerTest, StepWithoutItsInputsChangesNothing) {
  Command("abort");
  for (const char* const hidden : {"system.cooler", "system.cooler.temperature",
                                   "system.cooler.active", "system.cooler.state"}) {
    mCamera.Set(".desk.hidden", hidden);
    EXPECT_EQ(Step(), "idle") << hidden;
    mCamera.Set(".desk.hidden", "");
    if (std::string(hidden) == "system.cooler") continue;
    mCamera.Set(".desk.unreadable", hidden);
    EXPECT_EQ(Step(), "idle") << hidden;
    mCamera.Set(".desk.unreadable", "");
  }
  mCamera.Write("test.items.cooler.state", "");
  EXPECT_EQ(Step(), "");
  mCamera.Write("test.items.cooler.state", "unknown");
  EXPECT_EQ(Step(), "aborted");
}

TEST_F(CoolerTest, LoadOrWearKeepsItFromHolding) {
  for (const char* const knob : {".desk.cooler.load", ".desk.cooler.reach"}) {
    mCamera.Set(".desk.restore", "true");
    mCamera.Set(knob, "7500");
    Pass("3000");
    EXPECT_EQ(mCamera.Get(".system.cooler.state"), "1") << knob;
    EXPECT_EQ(Step("tempLog"), "coolingDown") << knob;
    Pass("3000");
    EXPECT_EQ(Step(), "coolingDown") << knob;
    Step("halt");
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
  std::thread readers[2];
  for (std::thread& reader : readers) {
    reader = std::thread([&] {
      while (!stop) mCamera.Get(kItem);
    });
  }
  for (int i = 0; i < 200; ++i) {
    Step(i % 7 == 6 ? "abort" : "tempLog");
    Pass("1");
  }
  stop = true;
  for (std::thread& reader : readers) reader.join();
  Step("tempLog");
  while (Node("logResult").empty()) {
    mCamera.Get(kItem);
    Step();
  }
  EXPECT_NE(Node("logResult").find(" Max:70"), std::string::npos) << Node("logResult");
}

TEST(StatisticsTest, NeedTwoSamples) {
  const LONG samples[] = {1, 2, 3, 4};
  double deviation = -1;
  double mean = -1;
  EXPECT_FALSE(ComputeStatistics(samples, 1, deviation, &mean));
  EXPECT_EQ(deviation, -1);
  EXPECT_EQ(mean, -1);
  EXPECT_TRUE(ComputeStatistics(samples, 4, deviation, &mean));
  EXPECT_DOUBLE_EQ(mean, 2.5);
  EXPECT_DOUBLE_EQ(deviation, std::sqrt(5.0 / 3));
  EXPECT_TRUE(ComputeStatistics(samples, 2, deviation, nullptr));
}

}  // namespace
}  // namespace test
