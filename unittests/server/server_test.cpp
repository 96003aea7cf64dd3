// The network face over sockets: limits, misbehaving clients, events.
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <deque>

#include "client/camera_client.h"
#include "server/connections.h"
#include "server/http_server.h"
#include "support/test_camera.h"

namespace test {
namespace {

using boost::asio::ip::tcp;

constexpr char kHealth[] = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n";

std::string Put(const std::string& target, const std::string& body,
                const std::string& headers = "") {
  return "PUT " + target + " HTTP/1.1\r\nHost: localhost\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

// A connection whose bytes the test writes itself.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port) {
    mSocket.connect({boost::asio::ip::address_v4::loopback(), port});
  }
  // False: the other side has closed.
  bool Send(const std::string& bytes) {
    boost::system::error_code error;
    boost::asio::write(mSocket, boost::asio::buffer(bytes), error);
    return !error;
  }
  std::string ReadToEnd() {
    boost::system::error_code error;
    boost::asio::read(mSocket, boost::asio::dynamic_buffer(mText), error);
    return std::exchange(mText, {});
  }
  // Up to and including the text; what came in all when the connection ends before.
  std::string ReadUntil(const std::string& text) {
    boost::system::error_code error;
    const std::size_t count =
        boost::asio::read_until(mSocket, boost::asio::dynamic_buffer(mText), text, error);
    std::string read = mText.substr(0, error ? mText.size() : count);
    mText.erase(0, read.size());
    return read;
  }
  void Leave() { mSocket.close(); }
  int Handle() { return mSocket.native_handle(); }

 private:
  boost::asio::io_context mContext;
  tcp::socket mSocket{mContext};
  std::string mText;
};

// Blocks until one of them has an answer.
RawClient& FirstAnswered(std::deque<RawClient>& clients) {
  std::vector<pollfd> sockets;
  sockets.reserve(clients.size());
  for (RawClient& each : clients) sockets.push_back({each.Handle(), POLLIN, 0});
  poll(sockets.data(), sockets.size(), -1);
  const auto answered = std::find_if(sockets.begin(), sockets.end(),
                                     [](const pollfd& each) { return each.revents != 0; });
  return clients.at(static_cast<std::size_t>(answered - sockets.begin()));
}

class ServerTest : public ::testing::Test {
 protected:
  explicit ServerTest(const desk::ServerLimits& limits = {}) : mServer(mCamera.Camera(), limits) {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
    // Once the task answers, it has done what it does at its start.
    mCamera.Set(".desk.task.ping", "1");
  }
  std::string Exchange(const std::string& bytes) {
    RawClient client(mServer.Port());
    client.Send(bytes);
    return client.ReadToEnd();
  }
  bool Answers() {
    RawClient client(mServer.Port());
    client.Send(kHealth);
    return client.ReadUntil("\r\n").starts_with("HTTP/1.1 200");
  }

  TestCamera mCamera{"KY"};
  desk::HttpServer mServer;
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

TEST_F(ServerTest, RequestsInTurnOnOneConnection) {
  RawClient client(mServer.Port());
  client.Send(std::string(kHealth) + kHealth + "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(client.ReadUntil("{\"status\":\"ok\"}").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("{\"status\":\"ok\"}").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("\r\n").starts_with("HTTP/1.1 404"));
}

// What is no request, or is too large, gets its answer even while the client still sends; then the
// connection ends and the camera has not been touched.
TEST_F(ServerTest, MalformedAndOversizedRequestsAreAnsweredAndEndTheConnection) {
  const std::string main = "/api/v1/task/test.items.eeprom.main";
  const std::string head = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n";
  const std::string put = "PUT " + main + " HTTP/1.1\r\nHost: localhost\r\n";
  std::string endlessChunks = put + "Transfer-Encoding: chunked\r\n\r\n";
  std::string endlessTrailer = endlessChunks + "0\r\n";
  for (int i = 0; i < 200; ++i) endlessChunks += "400\r\n" + std::string(0x400, ' ') + "\r\n";
  for (int i = 0; i < 20000; ++i) endlessTrailer += "Trailer: x\r\n";
  const std::string body = R"({"value":"run"})";
  struct Case {
    const char* name;
    std::string bytes;
    const char* status;
  };
  const Case cases[] = {
      {"nonsense", "nonsense\r\n\r\n", "400"},
      {"header", head + "X: " + std::string(20000, 'x'), "413"},
      {"many headers", head + std::string(300000, 'x') + "\r\n\r\n", "413"},
      {"body", put + "Content-Length: 65537\r\n\r\n", "413"},
      {"body that comes", put + "Content-Length: 1000000\r\n\r\n" + std::string(1000000, ' '),
       "413"},
      {"two lengths", put + "Content-Length: 15\r\nContent-Length: 16\r\n\r\n" + body, "400"},
      {"the length twice", put + "Content-Length: 15\r\nContent-Length: 15\r\n\r\n" + body, "400"},
      {"length and chunks",
       put + "Content-Length: 15\r\nTransfer-Encoding: chunked\r\n\r\nf\r\n" + body +
           "\r\n0\r\n\r\n",
       "400"},
      {"two hosts", head + "Host: example.com\r\n\r\n", "400"},
      {"two origins", head + "Origin: http://localhost\r\nOrigin: http://x\r\n\r\n", "400"},
      {"negative length", put + "Content-Length: -1\r\n\r\n" + body, "400"},
      {"chunks without end", endlessChunks, "413"},
      {"trailer without end", endlessTrailer, "413"},
      {"chunk of nonsense", put + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "400"},
  };
  for (const Case& each : cases) {
    EXPECT_TRUE(Exchange(each.bytes).starts_with(std::string("HTTP/1.1 ") + each.status))
        << each.name;
  }
  EXPECT_EQ(mCamera.Get("test.items.eeprom.main"), "Untested");
  EXPECT_TRUE(Answers());
}

TEST_F(ServerTest, SixtyIdleAndSixtySlowClientsKeepNobodyOut) {
  std::deque<RawClient> idle;
  std::deque<RawClient> slow;
  const std::string request = Put("/api/v1/task/test.items.eeprom.main", R"({"value":"run"})");
  for (int i = 0; i < 60; ++i) idle.emplace_back(mServer.Port());
  for (int i = 0; i < 60; ++i) slow.emplace_back(mServer.Port());
  client::CameraClient reader(mServer.Port());
  // A byte of each, then a read: so it goes on for as long as they like.
  for (const char byte : request.substr(0, 60)) {
    for (RawClient& each : slow) each.Send(std::string(1, byte));
    EXPECT_EQ(reader.Get("test.items.eeprom.main")["value"], "Untested");
    EXPECT_TRUE(Answers());
  }
  // Those that were silent longest made room; the last of them is still there.
  EXPECT_EQ(idle.front().ReadToEnd(), "");
  slow.back().Send(request.substr(60));
  EXPECT_TRUE(slow.back().ReadUntil("}").starts_with("HTTP/1.1 200"));
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

class ImpatientServerTest : public ServerTest {
 protected:
  ImpatientServerTest()
      : ServerTest(
            {.request = std::chrono::milliseconds(50), .reply = std::chrono::milliseconds(50)}) {}
};

// The deadline is for the whole request: bytes that trickle in do not extend it.
TEST_F(ImpatientServerTest, SlowRequestsEnd) {
  RawClient idle(mServer.Port());
  EXPECT_EQ(idle.ReadToEnd(), "");
  RawClient slow(mServer.Port());
  while (slow.Send("x")) {
  }
  RawClient halfway(mServer.Port());
  halfway.Send(
      "PUT /api/v1/task/test.errcnt HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n{");
  EXPECT_EQ(halfway.ReadToEnd(), "");
}

// More than the sockets hold between the two.
constexpr std::size_t kLargeFile = 12UL * 1024 * 1024;
constexpr char kGetLargeFile[] =
    "GET /api/v1/files/FlashFS/tmp/large.txt HTTP/1.1\r\nHost: localhost\r\n\r\n";

TEST_F(ImpatientServerTest, RepliesThatNobodyTakesEnd) {
  mCamera.MakeFile("/FlashFS/tmp/large.txt", std::string(kLargeFile, 'x'));
  RawClient taker(mServer.Port());
  taker.Send(kGetLargeFile);
  EXPECT_TRUE(taker.ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  // They are let go after as long a time, and come later.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(RawClient(mServer.Port()).ReadToEnd(), "");
  EXPECT_LT(taker.ReadToEnd().size(), kLargeFile);
}

TEST_F(ServerTest, AReplyThatNobodyTakesMakesRoom) {
  mCamera.MakeFile("/FlashFS/tmp/large.txt", std::string(kLargeFile, 'x'));
  RawClient taker(mServer.Port());
  taker.Send(kGetLargeFile);
  EXPECT_TRUE(taker.ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  std::deque<RawClient> idle;
  for (int i = 0; i < 64; ++i) idle.emplace_back(mServer.Port());
  EXPECT_TRUE(Answers());
  EXPECT_LT(taker.ReadToEnd().size(), kLargeFile);
  mCamera.MakeFile("/FlashFS/tmp/larger.txt", std::string(17UL * 1024 * 1024, 'x'));
  EXPECT_TRUE(Exchange("GET /api/v1/files/FlashFS/tmp/larger.txt HTTP/1.1\r\nHost: localhost\r\n"
                       "Connection: close\r\n\r\n")
                  .starts_with("HTTP/1.1 413"));
}

TEST_F(ServerTest, HeadIsTheHeadAlone) {
  const std::string answer =
      Exchange("HEAD /healthz HTTP/1.1\r\nHost: LocalHost\r\nConnection: close\r\n\r\n");
  EXPECT_NE(answer.find("Content-Length: 15\r\n"), std::string::npos) << answer;
  EXPECT_TRUE(answer.ends_with("\r\n\r\n")) << answer;
}

// Who is let go when a place is wanted.
TEST(ConnectionsTest, TheLongestSilentMakesRoom) {
  struct Fake : desk::Connection {
    void LetGo() override { gone = true; }
    void EventsCame() override { ++told; }
    bool gone = false;
    int told = 0;
  };
  desk::Connections connections(3, 1);
  std::vector<std::shared_ptr<Fake>> fakes(6);
  for (auto& each : fakes) each = std::make_shared<Fake>();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(connections.Enter(*fakes[static_cast<std::size_t>(i)]));
  EXPECT_TRUE(connections.ComeTo(*fakes[0], desk::Connection::Stage::Served));
  EXPECT_TRUE(connections.ComeTo(*fakes[1], desk::Connection::Stage::Silent));  // since now
  EXPECT_TRUE(connections.Enter(*fakes[3]));
  EXPECT_TRUE(fakes[2]->gone);
  EXPECT_FALSE(connections.ComeTo(*fakes[2], desk::Connection::Stage::Served));
  EXPECT_TRUE(connections.ComeTo(*fakes[1], desk::Connection::Stage::Streaming));
  EXPECT_FALSE(connections.ComeTo(*fakes[3], desk::Connection::Stage::Streaming));
  EXPECT_TRUE(connections.ComeTo(*fakes[3], desk::Connection::Stage::Served));
  EXPECT_FALSE(connections.Enter(*fakes[4]));  // nobody is silent
  connections.TellOfEvents();
  EXPECT_EQ(fakes[1]->told, 1);
  EXPECT_EQ(fakes[0]->told, 0);
  connections.Forget(*fakes[0]);
  EXPECT_TRUE(connections.Enter(*fakes[5]));
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
