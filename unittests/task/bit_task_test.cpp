// The task body: idle counting, marker files, torch, queue, stop.
#include <gtest/gtest.h>

#include "app/bit_supv_factory.h"
#include "support/test_camera.h"
#include "tarq/framework.h"
#include "tarq/node_access.h"

namespace test {
namespace {

constexpr char kLcdMarker[] = "/FlashFS/system/bit/BitRunLCDTest";
constexpr char kViewMarker[] = "/FlashFS/system/bit/BitRunViewTest";
constexpr char kVcamMarker[] = "/FlashFS/system/bit/BitRunVCamTest";
constexpr char kTorch[] = ".system.vcam.torch";
constexpr char kChannel[] = ".image.services.channel.active";

constexpr char kLcd[] = "test.items.lcd_i.bitmaps";
constexpr char kView[] = "test.items.viewFinder_i.bitmaps";

void Idle(TestCamera& camera, int seconds) {
  camera.Set(".desk.clock.advance", std::to_string(seconds));
}

TEST(BitTaskTest, StartSwitchesTheJournalOffAndMakesTheTemporaryFolder) {
  TestCamera camera(
      "KY", "", [](BareCamera& bare) { std::filesystem::remove_all(bare.File("/FlashFS/tmp")); });
  Idle(camera, 0);
  EXPECT_EQ(camera.Get(".appl.journal.active"), "false");
  EXPECT_TRUE(std::filesystem::is_directory(camera.File("/FlashFS/tmp")));
}

struct MarkerCase {
  const char* name;
  std::vector<std::string> markers;
  std::string lcd;
  std::string view;
  std::string channel;
};
constexpr char kRan[] = "Tested  ";
constexpr char kNot[] = "Untested";

const MarkerCase kMarkers[] = {
    {"None", {}, kNot, kNot, "IR"},
    {"OtherCase", {"/FlashFS/system/bit/bitrunvcamtest"}, kNot, kNot, "VISUAL"},
    {"Lcd", {kLcdMarker}, kRan, kNot, "IR"},
    {"View", {kViewMarker}, kNot, kRan, "IR"},
    {"LcdBeforeView", {kLcdMarker, kViewMarker}, kRan, kNot, "IR"},
    {"Vcam", {kVcamMarker}, kNot, kNot, "VISUAL"},
    {"ViewAndVcam", {kViewMarker, kVcamMarker}, kNot, kRan, "VISUAL"},
    {"All", {kLcdMarker, kViewMarker, kVcamMarker}, kRan, kNot, "VISUAL"},
};

class MarkerTest : public ::testing::TestWithParam<MarkerCase> {};

TEST_P(MarkerTest, AreLookedAtOnceAtTheTwentiethIdleTimeOut) {
  const auto& [name, markers, lcd, view, channel] = GetParam();
  TestCamera camera("KY", "", markers);
  const auto seen = [&camera] {
    return camera.Get(kLcd) + camera.Get(kView) + camera.Get(kChannel);
  };
  Idle(camera, 19);
  EXPECT_EQ(seen(), "UntestedUntestedIR");
  Idle(camera, 1);
  // An operator is at the camera, and the task goes on when he has answered.
  const bool asks = lcd == kRan || view == kRan;
  EXPECT_EQ(camera.Camera().Windows().Windows() > 0, asks);
  EXPECT_EQ(camera.Get(kChannel), asks ? "IR" : channel);
  Idle(camera, 10);
  EXPECT_EQ(camera.Camera().Windows().Windows(), 0U);
  EXPECT_EQ(seen(), lcd + view + channel);
  EXPECT_EQ(camera.Get(".image.services.channel.commit"), channel == "VISUAL" ? "true" : "false");

  // Never again.
  camera.Write(kLcd, "Untested");
  camera.Write(kView, "Untested");
  camera.Set(kChannel, "IR");
  Idle(camera, 60);
  EXPECT_EQ(seen(), "UntestedUntestedIR");
}

INSTANTIATE_TEST_SUITE_P(Files, MarkerTest, ::testing::ValuesIn(kMarkers),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(MarkerTest, MissingTargetsAreSkippedSilently) {
  TestCamera camera("KY", ".desk.hidden=image.services.channel.active", {kLcdMarker, kVcamMarker});
  Idle(camera, 30);
  EXPECT_EQ(camera.Get(kChannel), "IR");
  EXPECT_EQ(camera.Get(".image.services.channel.commit"), "true");  // also after a failed open
  EXPECT_EQ(camera.Run("test.items.eeprom.main").value, "OK      ");
}

TEST(TorchTest, BlinksFromTheNextTimeOutOnOffFirst) {
  TestCamera camera("KY", "", {kVcamMarker});
  camera.Set(kTorch, "true");
  Idle(camera, 20);
  EXPECT_EQ(camera.Get(kTorch), "true");
  for (const char* const phase : {"false", "true", "false", "true"}) {
    Idle(camera, 1);
    EXPECT_EQ(camera.Get(kTorch), phase);
  }
}

TEST(IdleTest, MessagesDelayTheMarkersAndAreNoTimeOuts) {
  TestCamera camera("KY", "", {kVcamMarker});
  for (int i = 0; i < 60; ++i) {  // half a minute in which the queue is never quiet for a second
    camera.Set(".desk.clock.advance", "0.5");
    camera.Set(".desk.task.ping", std::to_string(i + 1));
    EXPECT_EQ(camera.Get(".desk.task.ping"), std::to_string(i + 1));
  }
  EXPECT_EQ(camera.Get(kChannel), "IR");
  Idle(camera, 19);
  EXPECT_EQ(camera.Get(kChannel), "IR");
  Idle(camera, 1);
  EXPECT_EQ(camera.Get(kChannel), "VISUAL");
}

// A wait that fails is no time-out, takes no processor, and keeps nobody waiting for long.
TEST(IdleTest, FailedWaitsDrainTheQueueAndAreNoTimeOuts) {
  TestCamera camera("KY", "", {kVcamMarker});
  Idle(camera, 5);
  camera.Set(".desk.task.wait_fail", "0,10");
  Idle(camera, 1);                        // the wait that was under way
  camera.Set(".desk.task.ping", "4711");  // answered a second later: time has passed
  Idle(camera, 9);
  EXPECT_EQ(camera.Get(".desk.task.wait_fail"), "0,0");
  Idle(camera, 13);
  EXPECT_EQ(camera.Get(kChannel), "IR");
  Idle(camera, 1);
  EXPECT_EQ(camera.Get(kChannel), "VISUAL");
}

// What a short record does not bring is nothing, not the rest of the record before.
TEST(QueueTest, AShortRecordLeavesNothingOfTheOneBefore) {
  TestCamera camera("KY");
  camera.Set(".desk.task.ping", "4711");
  EXPECT_EQ(camera.Get(".desk.task.ping"), "4711");
  camera.Set(".desk.task.send", "7");
  Idle(camera, 0);
  EXPECT_EQ(camera.Get(".desk.task.ping"), "0");
}

TEST(QueueTest, PingsAndSubscriptionsReachTheFrameworkAndOthersAreDropped) {
  TestCamera camera("KY");
  camera.Set(".desk.task.send", "3");
  camera.Set(".desk.task.send", "0");
  camera.Set(".desk.task.ping", "4711");
  camera.Run("test.items.eeprom.main");
  camera.Set(".desk.task.subscribe", "test.items.eeprom.main");
  EXPECT_EQ(camera.Get(".desk.task.subscribe"), "test.items.eeprom.main=OK      ");
  EXPECT_NE(camera.Camera().Write(".desk.task.subscribe", TARQ::CResourceValue("no.such")), 0U);
}

TEST(QueueTest, HoldsAHundredRecordsAndHandsThemOnInOrder) {
  BareCamera camera;
  TARQ::CQueue queue;
  queue.Init(L"BitQ", 100, 32, 0);
  for (DWORD i = 0; i < 100; ++i) EXPECT_TRUE(desk::SendKind(i));
  EXPECT_FALSE(desk::SendKind(100));
  DWORD record[8] = {};
  for (DWORD i = 0; i < 100; ++i) {
    ASSERT_EQ(queue.Receive(record, 0, 0, 32), 0U);
    EXPECT_EQ(record[0], i);
  }
  EXPECT_NE(queue.Receive(record, 0, 0, 32), 0U);
  queue.Delete();
  EXPECT_FALSE(desk::SendKind(1));
}

TEST(StopTest, SignalThatIsNoStopDrainsTheQueueAndGoesOn) {
  TestCamera camera("KY");
  camera.Set(".desk.task.signal", "true");
  camera.Set(".desk.task.ping", "1");
  camera.Set(".desk.task.signal", "true");
  camera.Set(".desk.task.ping", "2");
  EXPECT_EQ(camera.Get(".desk.task.ping"), "2");
  camera.Stop();
  EXPECT_EQ(camera.ExitCode(), 0);
  EXPECT_FALSE(desk::SendKind(7));  // neither the task nor its queue is left
}

TEST(FactoryTest, MakesNothingOfAnotherName) {
  CBitSupvFactory factory;
  for (const char* const name : {"cbittask", "CBitTask ", ""}) {
    EXPECT_EQ(factory.Create(name), nullptr);
  }
}

TEST(VersionTest, IsPublishedOnceAndItsFailureFailsTheStart) {
  {
    TestCamera camera("KY");
    EXPECT_EQ(camera.Get(".version.sw.Diagor.number"), "23.0.1.1");
    EXPECT_EQ(camera.Get(".version.sw.Diagor.date").size(), 11U);
    EXPECT_EQ(camera.Get(".version.sw.Diagor.timeStamp").size(), 24U);
  }
  TestCamera hidden("KY", ".desk.hidden=version");
  EXPECT_FALSE(hidden.Started());
  EXPECT_NE(hidden.ExitCode(), 0);
  EXPECT_EQ(hidden.Get(".version.sw.Diagor.number"), "no such node");
}

}  // namespace
}  // namespace test
