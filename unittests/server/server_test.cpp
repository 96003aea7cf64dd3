// The network face over sockets: clients beside each other, events.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>

#include "client/camera_client.h"
#include "server/camera_server.h"
#include "support/raw_client.h"
#include "support/test_camera.h"

namespace test {
namespace {

class ServerTest : public ::testing::Test {
 protected:
  ServerTest() {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }

  TestCamera mCamera{"KY"};
  // However slow the machine, nobody is dropped for its sake.
  desk::CameraServer mServer{mCamera.Camera(),
                             {.request = std::chrono::hours(1), .reply = std::chrono::hours(1)}};
};

TEST_F(ServerTest, LongWritesHaveTheirNumberAndReadsGetThrough) {
  constexpr int kMostLongWrites = 32;
  // None of them ends: nothing lets the camera's time pass while the test holds the turn.
  auto held = std::make_unique<desk::Clock::Participation>(mCamera.Camera().Clock(),
                                                           desk::Clock::Role::Follows);
  std::deque<RawClient> writers;
  for (int i = 0; i <= kMostLongWrites; ++i) {
    writers.emplace_back(mServer.Port(),
                         Put("/api/v1/camera/.desk.clock.advance", R"({"value":"1"})"));
  }
  // One of them is told at once; which one it is, the sockets decide.
  auto refused = writers.end();
  while (refused == writers.end()) {
    refused = std::find_if(writers.begin(), writers.end(),
                           [](RawClient& each) { return each.HasAnswer(); });
  }
  const std::string answer = refused->ReadUntil("}");
  EXPECT_TRUE(answer.starts_with("HTTP/1.1 503")) << answer;
  EXPECT_NE(answer.find("application/problem+json"), std::string::npos);
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(Answers(mServer.Port()));
  client::CameraClient client(mServer.Port());
  // It stores a value, and waits for nothing.
  EXPECT_EQ(client.Set(".desk.rtc.rate", 2)["status"], 0);
  EXPECT_EQ(client.Get(".desk.rtc", 32)["path"], "desk.rtc");
  // Clients that leave give back their connection at once, their write when it ends.
  for (RawClient& each : writers) each.Leave();
  std::deque<RawClient> others;
  for (int i = 0; i < 60; ++i) EXPECT_TRUE(others.emplace_back(mServer.Port(), kHealth).IsServed());
  held.reset();
}

double MegabytesInUse() {
  std::ifstream status("/proc/self/statm");
  std::size_t all = 0;
  std::size_t resident = 0;
  status >> all >> resident;
  return static_cast<double>(resident) * static_cast<double>(getpagesize()) / 1024 / 1024;
}

// More than the sockets hold between the two.
TEST_F(ServerTest, LargeRepliesThatNobodyTakesCostNoMemory) {
  mCamera.MakeFile("/FlashFS/tmp/large.txt", std::string(12UL * 1024 * 1024, 'x'));
  mCamera.MakeFile("/FlashFS/tmp/larger.txt", std::string(17UL * 1024 * 1024, 'x'));
  client::CameraClient client(mServer.Port());
  EXPECT_THROW(client.File("/FlashFS/tmp/larger.txt"), client::RefusedError);
  const double before = MegabytesInUse();
  std::deque<RawClient> takers;
  for (int i = 0; i < 60; ++i) {
    takers.emplace_back(
        mServer.Port(),
        "GET /api/v1/files/flashfs/tmp/large.txt HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(takers.back().IsServed());
  }
  EXPECT_TRUE(Answers(mServer.Port()));
  EXPECT_LT(MegabytesInUse() - before, 60);
}

TEST_F(ServerTest, ATestWhoseClientLeavesEndsAndIsRecorded) {
  client::CameraClient watcher(mServer.Port());
  const std::size_t lines = mCamera.LogLines().size();
  {
    // The test cannot end, nor begin, while this thread holds the turn.
    const desk::Clock::Participation held(mCamera.Camera().Clock(), desk::Clock::Role::Follows);
    RawClient writer(mServer.Port(),
                     Put("/api/v1/task/test.items.clock.clock", R"({"value":"run"})"));
    writer.Leave();
    EXPECT_TRUE(Answers(mServer.Port()));
  }
  while (watcher.Get("test.items.clock.clock")["value"] != "OK      ") {
  }
  mCamera.Camera().Deliveries().JoinAll();
  ASSERT_EQ(mCamera.LogLines().size(), lines + 1);
  EXPECT_TRUE(mCamera.LogLines().back().ends_with(";OK      ;Clock OK"));
}

// The events of a stream, one by one: "id kind data".
class EventReader {
 public:
  explicit EventReader(std::uint16_t port, const std::string& last = "")
      : mClient(port, "GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\nLast-Event-ID: " + last +
                          "\r\n\r\n"),
        mHead(mClient.ReadUntil("\r\n\r\n")) {}
  const std::string& Head() const { return mHead; }
  std::string Next() {
    const std::string text = mClient.ReadUntil("\n\n");
    mId = Field(text, "id: ");
    return Field(text, "event: ") + " " + Field(text, "data: ");
  }
  const std::string& Id() const { return mId; }

 private:
  static std::string Field(const std::string& text, const std::string& name) {
    const std::size_t at = text.find(name);
    if (at == std::string::npos) return "";
    return text.substr(at + name.size(), text.find('\n', at) - at - name.size());
  }
  RawClient mClient;
  std::string mHead;
  std::string mId;
};

TEST_F(ServerTest, EventsTellOfATestAndAreTakenUpWhereAClientLeft) {
  client::CameraClient client(mServer.Port());
  EventReader events(mServer.Port());
  EXPECT_NE(events.Head().find("Content-Type: text/event-stream"), std::string::npos);
  client.Set(".desk.rtc.rate", "0");
  client.Set("test.items.clock.clock", "run");
  const std::string expected[] = {
      R"(value {"at":0.0,"tree":"camera","path":"desk.rtc.rate","value":0.0})",
      R"(test-started {"at":0.0,"path":"test.items.clock.clock"})",
      R"(value {"at":5.0,"tree":"task","path":"test.items.clock.clock","value":"E 0012  "})",
      R"(record {"at":5.0,"text":")" + mCamera.LogLines().back() + "\"}",
      R"(test-ended {"at":5.0,"path":"test.items.clock.clock","status":1,"value":"E 0012  ",)"
      R"("elapsed_ms":5000.0})"};
  std::vector<std::string> ids;
  for (const std::string& line : expected) {
    EXPECT_EQ(events.Next(), line);
    ids.push_back(events.Id());
  }
  // A reset is a change, and no test.
  client.Set("test.items.clock.clock", "Untested");
  EXPECT_EQ(events.Next(),
            R"(value {"at":5.0,"tree":"task","path":"test.items.clock.clock","value":"Untested"})");

  EventReader resumed(mServer.Port(), ids[3]);
  EXPECT_EQ(resumed.Next(), expected[4]);
  EXPECT_EQ(resumed.Id(), ids[4]);
  // What comes from another camera begins with what is kept, and is told that it missed something.
  EventReader prophet(mServer.Port(), ids[4] + "0000");
  EXPECT_EQ(prophet.Next(), R"(gap {"missed":null})");
  EventReader stranger(mServer.Port(), "00000000-3");
  EXPECT_EQ(stranger.Next(), R"(gap {"missed":null})");
  EXPECT_TRUE(stranger.Next().starts_with("value "));
  EXPECT_EQ(stranger.Id(), ids[0].substr(0, ids[0].find('-')) + "-1");
}

// At once after a quiet time, else at the end of a tenth of a second, all in one; a key that was
// hit before changes nothing.
TEST_F(ServerTest, ChangesOfTheScreenAreToldTenTimesASecond) {
  mCamera.Set(".desk.operator.mode", "none");
  mCamera.Set(".desk.clock.at",
              "10 .desk.key=Up; 10.02 .desk.key=Down; 10.05 .desk.key=Left; 10.11 .desk.key=Push; "
              "10.5 .desk.key=Up; 11 .desk.key=Store");
  EventReader events(mServer.Port());
  mCamera.Run("test.items.buttons.buttons");
  struct Told {
    double at;
    int hit;  // -1: no dialog
    double left;
  };
  constexpr Told kExpected[] = {{1, 0, 60000},    {10, 1, 51000}, {10.1, 3, 50900},
                                {10.2, 4, 50800}, {11, 5, 50000}, {61, -1, 0}};
  for (const Told& told : kExpected) {
    std::string event = events.Next();
    while (!event.starts_with("screen ")) event = events.Next();
    const Json data = Json::parse(event.substr(event.find(' ')));
    const Json& dialog = data["dialog"];
    EXPECT_EQ(data["at"], told.at) << event;
    ASSERT_EQ(dialog.is_null(), told.hit < 0) << event;
    if (dialog.is_null()) continue;
    EXPECT_EQ(dialog["timeout_ms"], told.left);
    const auto hit = std::count_if(dialog["controls"].begin(), dialog["controls"].end(),
                                   [](const Json& control) { return control["hit"] == true; });
    EXPECT_EQ(hit, told.hit) << event;
  }
}

TEST_F(ServerTest, WhoComesBackTooLateIsToldWhatItMissed) {
  client::CameraClient client(mServer.Port());
  EventReader first(mServer.Port());
  client.Set("test.description.tester", "0");
  first.Next();
  for (int i = 1; i <= 1026; ++i) client.Set("test.description.tester", std::to_string(i));
  // 1024 are kept: two are gone.
  EventReader late(mServer.Port(), first.Id());
  EXPECT_EQ(late.Next(), R"(gap {"missed":2})");
  EXPECT_NE(late.Next().find("\"3\""), std::string::npos);
}

// It holds nobody up, and what is kept for it has its bound.
TEST_F(ServerTest, AStreamThatIsNotReadMissesEvents) {
  constexpr std::size_t kLength = 20000;
  EventReader lazy(mServer.Port());
  for (int i = 0; i < 1000; ++i) {
    mCamera.Write("test.description.tester", std::string(kLength, i % 2 == 0 ? 'a' : 'b'));
  }
  EXPECT_TRUE(Answers(mServer.Port()));
  const auto kept = mCamera.Camera().Events().After(0, 2000).events.size();
  EXPECT_GT(kept, 100U);
  EXPECT_LE(kept, 4UL * 1024 * 1024 / kLength);
  std::string event = lazy.Next();
  while (event.starts_with("value ")) event = lazy.Next();
  EXPECT_TRUE(event.starts_with("gap {\"missed\":")) << event.substr(0, 100);
}

TEST_F(ServerTest, SixteenStreamsOfEvents) {
  std::deque<EventReader> streams;
  for (int i = 0; i < 16; ++i) {
    streams.emplace_back(mServer.Port());
    EXPECT_TRUE(streams.back().Head().starts_with("HTTP/1.1 200"));
  }
  EXPECT_TRUE(EventReader(mServer.Port()).Head().starts_with("HTTP/1.1 503"));
  client::CameraClient(mServer.Port()).Set("test.description.tester", "seen");
  for (EventReader& each : streams) EXPECT_NE(each.Next().find("seen"), std::string::npos);
  streams.pop_front();
  while (!EventReader(mServer.Port()).Head().starts_with("HTTP/1.1 200")) {
  }
}

}  // namespace
}  // namespace test
