// The network face over sockets: clients beside each other, events.
#include <gtest/gtest.h>
#include <unistd.h>

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
  bool Answers() {
    RawClient client(mServer.Port());
    client.Send(kHealth);
    return client.ReadUntil("\r\n").starts_with("HTTP/1.1 200");
  }

  TestCamera mCamera{"KY"};
  desk::CameraServer mServer{mCamera.Camera()};
};

TEST_F(ServerTest, ServesAClientOverOneConnection) {
  client::CameraClient client(mServer.Port());
  EXPECT_EQ(client.Set("test.description.tester", "Somebody \xC3\xA4")["value"],
            "Somebody \xC3\xA4");
  EXPECT_EQ(client.Get("test.description.tester")["value"], "Somebody \xC3\xA4");
  EXPECT_EQ(client.Set(".desk.clock.advance", 2.5)["status"], 0);
  EXPECT_EQ(client.Get(".desk.clock.now")["value"], "2.5");
  EXPECT_EQ(client.Set("test.items.clock.clock", "run", true)["elapsed_ms"], 5000.0);
  EXPECT_EQ(client.File("flashfs/TMP/bitlog.txt"), mCamera.Contents("/FlashFS/tmp/bitlog.txt"));
  EXPECT_THROW(client.Get("test.nobody"), client::RefusedError);
}

TEST_F(ServerTest, LongWritesHaveTheirNumberAndReadsGetThrough) {
  constexpr int kMostLongWrites = 32;
  // None of them ends: nothing lets the camera's time pass while the test holds the turn.
  auto held = std::make_unique<desk::Clock::Participation>(mCamera.Camera().Clock(),
                                                           desk::Clock::Role::Follows);
  std::deque<RawClient> writers;
  for (int i = 0; i <= kMostLongWrites; ++i) {
    writers.emplace_back(mServer.Port());
    writers.back().Send(Put("/api/v1/camera/.desk.clock.advance", R"({"value":"1"})"));
  }
  // One of them is told at once; which one it is, the sockets decide.
  const std::string refused = FirstAnswered(writers).ReadUntil("}");
  EXPECT_TRUE(refused.starts_with("HTTP/1.1 503")) << refused;
  EXPECT_NE(refused.find("application/problem+json"), std::string::npos);
  for (int i = 0; i < 20; ++i) EXPECT_TRUE(Answers());
  client::CameraClient client(mServer.Port());
  EXPECT_EQ(client.Set(".desk.rtc.rate", 2)["status"],
            0);  // it stores a value, and waits for nothing
  EXPECT_EQ(client.Get(".desk.rtc", 32)["path"], "desk.rtc");
  // Clients that leave give back their connection at once, their write when it ends.
  for (RawClient& each : writers) each.Leave();
  std::deque<RawClient> others;
  for (int i = 0; i < 60; ++i) {
    others.emplace_back(mServer.Port());
    others.back().Send(kHealth);
    EXPECT_TRUE(others.back().ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  }
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
    takers.emplace_back(mServer.Port());
    takers.back().Send(
        "GET /api/v1/files/flashfs/tmp/large.txt HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_TRUE(takers.back().ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  }
  EXPECT_TRUE(Answers());
  EXPECT_LT(MegabytesInUse() - before, 60);
}

TEST_F(ServerTest, ATestWhoseClientLeavesEndsAndIsRecorded) {
  client::CameraClient watcher(mServer.Port());
  const std::size_t lines = mCamera.LogLines().size();
  {
    // The test cannot end, nor begin, while this thread holds the turn.
    const desk::Clock::Participation held(mCamera.Camera().Clock(), desk::Clock::Role::Follows);
    RawClient writer(mServer.Port());
    writer.Send(Put("/api/v1/task/test.items.clock.clock", R"({"value":"run"})"));
    writer.Leave();
    EXPECT_TRUE(Answers());
  }
  while (watcher.Get("test.items.clock.clock")["value"] != "OK      ") {
  }
  mCamera.Camera().Deliveries().JoinAll();
  ASSERT_EQ(mCamera.LogLines().size(), lines + 1);
  EXPECT_TRUE(mCamera.LogLines().back().ends_with(";OK      ;Clock OK"));
}

TEST_F(ServerTest, FourWritersOfLongFieldsMixNoLines) {
  constexpr std::size_t kLength = 70000;
  // Five fields; together they are far longer than what the system writes in one piece.
  for (const char* const field : {"tester", "env", "article", "serial", "category"}) {
    mCamera.Write(std::string("test.description.") + field, std::string(kLength, *field));
  }
  std::vector<std::thread> writers;
  for (const char* const item : {"main", "goka", "fpa", "gota"}) {
    writers.emplace_back([this, item] {
      client::CameraClient writer(mServer.Port());
      for (int i = 0; i < 10; ++i) writer.Set(std::string("test.items.eeprom.") + item, "run");
    });
  }
  for (std::thread& writer : writers) writer.join();
  std::string fields;
  for (const char letter : {'t', 'e', 'a', 's', 'c'}) fields += std::string(kLength, letter) + ";";
  const std::vector<std::string> lines = mCamera.LogLines();
  ASSERT_EQ(lines.size(), 10U + 40U);
  for (std::size_t i = 10; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].find(fields), std::string("12:00:00;2013-08-29;").size());
    EXPECT_TRUE(lines[i].ends_with(" EEPROM:Detected, "));
  }
}

// The events of a stream, one by one: "id kind data".
class EventReader {
 public:
  EventReader(std::uint16_t port, const std::string& headers) : mClient(port) {
    mClient.Send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n");
    mHead = mClient.ReadUntil("\r\n\r\n");
  }
  const std::string& Head() const { return mHead; }
  std::string Next() {
    const std::string text = mClient.ReadUntil("\n\n");
    std::string line;
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
  EventReader events(mServer.Port(), "");
  EXPECT_NE(events.Head().find("Content-Type: text/event-stream"), std::string::npos);
  client.Set(".desk.rtc.rate", "0");
  client.Set("test.items.clock.clock", "run");
  const std::string record = mCamera.LogLines().back();
  constexpr char kEnded[] =
      R"({"at":5.0,"path":"test.items.clock.clock","status":1,"value":"E 0012  ","elapsed_ms":5000.0})";
  const std::vector<std::string> expected = {
      R"(value {"at":0.0,"tree":"camera","path":".desk.rtc.rate","value":0.0})",
      R"(test-started {"at":0.0,"path":"test.items.clock.clock"})",
      R"(value {"at":5.0,"tree":"task","path":"test.items.clock.clock","value":"E 0012  "})",
      R"(record {"at":5.0,"text":")" + record + "\"}",
      std::string("test-ended ").append(kEnded),
  };
  std::vector<std::string> ids;
  for (std::string line : expected) {
    const std::size_t dot = line.find("\".desk");
    if (dot != std::string::npos) line.erase(dot + 1, 1);
    EXPECT_EQ(events.Next(), line);
    ids.push_back(events.Id());
  }
  // A reset is a change, and no test.
  client.Set("test.items.clock.clock", "Untested");
  EXPECT_EQ(events.Next(),
            R"(value {"at":5.0,"tree":"task","path":"test.items.clock.clock","value":"Untested"})");

  EventReader resumed(mServer.Port(), "Last-Event-ID: " + ids[3] + "\r\n");
  EXPECT_EQ(resumed.Next(), expected[4]);
  EXPECT_EQ(resumed.Id(), ids[4]);
  // What comes from another camera begins with what is kept, and is told that it missed something.
  EventReader prophet(mServer.Port(), "Last-Event-ID: " + ids[4] + "0000\r\n");
  EXPECT_EQ(prophet.Next(), R"(gap {"missed":null})");
  EventReader stranger(mServer.Port(), "Last-Event-ID: 00000000-3\r\n");
  EXPECT_EQ(stranger.Next(), R"(gap {"missed":null})");
  EXPECT_TRUE(stranger.Next().starts_with("value "));
  EXPECT_EQ(stranger.Id(), ids[0].substr(0, ids[0].find('-')) + "-1");
}

TEST_F(ServerTest, WhoComesBackTooLateIsToldWhatItMissed) {
  client::CameraClient client(mServer.Port());
  EventReader first(mServer.Port(), "");
  client.Set("test.description.tester", "0");
  first.Next();
  const std::string lastSeen = first.Id();
  for (int i = 1; i <= 1026; ++i) {
    const std::string number = std::to_string(i);
    client.Set("test.description.tester", number);
    EXPECT_TRUE(first.Next().ends_with(std::string(R"("value":")").append(number).append("\"}")));
  }
  // 1024 are kept: two are gone.
  EventReader late(mServer.Port(), "Last-Event-ID: " + lastSeen + "\r\n");
  EXPECT_EQ(late.Next(), R"(gap {"missed":2})");
  EXPECT_NE(late.Next().find("\"3\""), std::string::npos);
}

// It holds nobody up, and what is kept for it has its bound.
TEST_F(ServerTest, AStreamThatIsNotReadMissesEvents) {
  constexpr std::size_t kLength = 20000;
  EventReader lazy(mServer.Port(), "");
  for (int i = 0; i < 1000; ++i) {
    mCamera.Write("test.description.tester", std::string(kLength, i % 2 == 0 ? 'a' : 'b'));
  }
  EXPECT_TRUE(Answers());
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
    streams.emplace_back(mServer.Port(), "");
    EXPECT_TRUE(streams.back().Head().starts_with("HTTP/1.1 200"));
  }
  EXPECT_TRUE(EventReader(mServer.Port(), "").Head().starts_with("HTTP/1.1 503"));
  client::CameraClient(mServer.Port()).Set("test.description.tester", "seen");
  for (EventReader& each : streams) EXPECT_NE(each.Next().find("seen"), std::string::npos);
  streams.pop_front();
  while (!EventReader(mServer.Port(), "").Head().starts_with("HTTP/1.1 200")) {
  }
}

// Reads are no participants of the clock: they come at any moment of a test.
TEST_F(ServerTest, ReadsGetThroughWhileTestsRunAndStore) {
  std::atomic<bool> done{false};
  std::thread reader([&] {
    client::CameraClient client(mServer.Port());
    while (!done) {
      const LONG count = client.Get("test.errcnt")["value"].get<LONG>();
      EXPECT_TRUE(count == 0 || count == 1) << count;
      client.Get("test", 32);
    }
  });
  std::thread counter([&] {
    client::CameraClient client(mServer.Port());
    while (!done) EXPECT_LE(client.Get("test.errcnt")["value"].get<LONG>(), 1);
  });
  client::CameraClient client(mServer.Port());
  for (int i = 0; i < 20; ++i) {
    client.Set(".desk.rtc.rate", i % 2 == 0 ? "0" : "1");
    EXPECT_EQ(client.Set("test.items.clock.clock", "run")["value"],
              i % 2 == 0 ? "E 0012  " : "OK      ");
    client.Set("test.clearResult", true);
  }
  done = true;
  reader.join();
  counter.join();
}

}  // namespace
}  // namespace test
