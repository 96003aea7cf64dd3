// The server side of HTTP over sockets: limits, misbehaving clients, who makes room for whom.
#include <gtest/gtest.h>

#include <atomic>

#include "http/connections.h"
#include "http/server.h"
#include "support/raw_client.h"

namespace test {
namespace {

// More than the sockets hold between the two.
constexpr std::size_t kLarge = 12UL * 1024 * 1024;
constexpr char kGetLarge[] = "GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n";

class HttpTest : public ::testing::Test {
 protected:
  explicit HttpTest(const http::Limits& limits = {})
      : mServer(
            [this](const http::Request& request, const http::Send& send) { Answer(request, send); },
            limits, [](const std::string& what) { ADD_FAILURE() << what; }) {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }
  void Answer(const http::Request& request, const http::Send& send) {
    if (request.method == "PUT") ++mWrites;
    if (request.target == "/healthz") {
      send({200, "application/json", R"({"status":"ok"})"});
    } else if (request.target == "/large") {
      send({200, "text/plain", std::string(kLarge, 'x')});
    } else if (request.method == "PUT") {
      send({200, "text/plain", request.body});
    } else {
      send(http::Problem(404, "Nothing", "there is nothing"));
    }
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

  std::atomic<int> mWrites{0};
  http::Server mServer;
};

TEST_F(HttpTest, RequestsInTurnOnOneConnection) {
  RawClient client(mServer.Port());
  client.Send(std::string(kHealth) + kHealth + "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(client.ReadUntil("{\"status\":\"ok\"}").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("{\"status\":\"ok\"}").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("\r\n").starts_with("HTTP/1.1 404"));
}

// What is no request, or is too large, gets its answer even while the client still sends; then the
// connection ends, and nobody has heard of it.
TEST_F(HttpTest, MalformedAndOversizedRequestsAreAnsweredAndEndTheConnection) {
  const std::string head = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n";
  const std::string put = "PUT /node HTTP/1.1\r\nHost: localhost\r\n";
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
  EXPECT_EQ(mWrites, 0);
  EXPECT_TRUE(Answers());
}

TEST_F(HttpTest, SixtyIdleAndSixtySlowClientsKeepNobodyOut) {
  std::deque<RawClient> idle;
  std::deque<RawClient> slow;
  const std::string request = Put("/node", R"({"value":"run"})");
  for (int i = 0; i < 60; ++i) idle.emplace_back(mServer.Port());
  for (int i = 0; i < 60; ++i) slow.emplace_back(mServer.Port());
  // A byte of each, then a read: so it goes on for as long as they like.
  for (const char byte : request.substr(0, request.size() - 1)) {
    for (RawClient& each : slow) each.Send(std::string(1, byte));
    EXPECT_TRUE(Answers());
  }
  // Those that were silent longest made room; the last of them is still there.
  EXPECT_EQ(idle.front().ReadToEnd(), "");
  slow.back().Send(request.substr(request.size() - 1));
  EXPECT_TRUE(slow.back().ReadUntil("}").starts_with("HTTP/1.1 200"));
}

class ImpatientHttpTest : public HttpTest {
 protected:
  ImpatientHttpTest()
      : HttpTest(
            {.request = std::chrono::milliseconds(50), .reply = std::chrono::milliseconds(50)}) {}
};

// The deadline is for the whole request: bytes that trickle in do not extend it.
TEST_F(ImpatientHttpTest, SlowRequestsEnd) {
  RawClient idle(mServer.Port());
  EXPECT_EQ(idle.ReadToEnd(), "");
  RawClient slow(mServer.Port());
  while (slow.Send("x")) {
  }
  RawClient halfway(mServer.Port());
  halfway.Send("PUT /node HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n{");
  EXPECT_EQ(halfway.ReadToEnd(), "");
}

TEST_F(ImpatientHttpTest, RepliesThatNobodyTakesEnd) {
  RawClient taker(mServer.Port());
  taker.Send(kGetLarge);
  EXPECT_TRUE(taker.ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  // They are dropped after as long a time, and come later.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(RawClient(mServer.Port()).ReadToEnd(), "");
  EXPECT_LT(taker.ReadToEnd().size(), kLarge);
}

TEST_F(HttpTest, AReplyThatNobodyTakesMakesRoom) {
  RawClient taker(mServer.Port());
  taker.Send(kGetLarge);
  EXPECT_TRUE(taker.ReadUntil("\r\n").starts_with("HTTP/1.1 200"));
  std::deque<RawClient> idle;
  for (int i = 0; i < 64; ++i) idle.emplace_back(mServer.Port());
  EXPECT_TRUE(Answers());
  EXPECT_LT(taker.ReadToEnd().size(), kLarge);
}

TEST_F(HttpTest, HeadIsTheHeadAlone) {
  const std::string answer =
      Exchange("HEAD /healthz HTTP/1.1\r\nHost: LocalHost\r\nConnection: close\r\n\r\n");
  EXPECT_NE(answer.find("Content-Length: 15\r\n"), std::string::npos) << answer;
  EXPECT_TRUE(answer.ends_with("\r\n\r\n")) << answer;
}

// Who is dropped when a place is wanted.
TEST(ConnectionsTest, TheLongestSilentMakesRoom) {
  struct Fake : http::Connection {
    void Drop() override { gone = true; }
    void ContinueStream() override { ++told; }
    bool gone = false;
    int told = 0;
  };
  http::Connections connections(3, 1, [](http::Deadline) {});
  std::vector<std::shared_ptr<Fake>> fakes(6);
  for (auto& each : fakes) each = std::make_shared<Fake>();
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(connections.Enter(*fakes[static_cast<std::size_t>(i)]));
  EXPECT_TRUE(connections.ComeTo(*fakes[0], http::Connection::Stage::Served));
  EXPECT_TRUE(connections.ComeTo(*fakes[1], http::Connection::Stage::Silent));  // since now
  EXPECT_TRUE(connections.Enter(*fakes[3]));
  EXPECT_TRUE(fakes[2]->gone);
  EXPECT_FALSE(connections.ComeTo(*fakes[2], http::Connection::Stage::Served));
  EXPECT_TRUE(connections.ComeTo(*fakes[1], http::Connection::Stage::Streaming));
  EXPECT_FALSE(connections.ComeTo(*fakes[3], http::Connection::Stage::Streaming));
  EXPECT_TRUE(connections.ComeTo(*fakes[3], http::Connection::Stage::Served));
  EXPECT_FALSE(connections.Enter(*fakes[4]));  // nobody is silent
  connections.ContinueStreams();
  EXPECT_EQ(fakes[1]->told, 1);
  EXPECT_EQ(fakes[0]->told, 0);
  connections.Forget(*fakes[0]);
  EXPECT_TRUE(connections.Enter(*fakes[5]));
}

}  // namespace
}  // namespace test
