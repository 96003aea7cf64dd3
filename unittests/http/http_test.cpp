// The server side of HTTP over sockets: limits, misbehaving clients, who makes room for whom.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <semaphore>

#include "http/server.h"
#include "support/raw_client.h"
#include "support/test_camera.h"

namespace test {
namespace {

// More than the sockets hold between the two.
constexpr std::size_t kLarge = 12UL * 1024 * 1024;
constexpr char kGetLarge[] = "GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n";

class Quiet : public http::Stream {
 public:
  std::string Next() override { return {}; }
  std::string Beat() const override { return "still here\n"; }
};

class HttpTest : public ::testing::Test {
 protected:
  // Who is silent is dropped for somebody's sake, not after a while.
  explicit HttpTest(const http::Limits& limits = {.request = std::chrono::hours(1)})
      : mServer(
            [this](const http::Request& request, const http::Send& send) { Answer(request, send); },
            limits, [this](const std::string& /*what*/) { ++mComplaints; }) {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }
  void Answer(const http::Request& request, const http::Send& send) {
    if (request.method == "PUT") {
      ++mWrites;
      send({200, "text/plain", request.body});
    } else if (request.target == "/later") {
      mLater.push_back(send);
      mHeard.release();
    } else if (request.target == "/file") {
      send({200, "text/plain", "", mFile});
    } else if (request.target == "/large") {
      send({200, "text/plain", std::string(kLarge, 'x')});
    } else if (request.target == "/quiet") {
      send({200, "text/event-stream", "", nullptr, std::make_shared<Quiet>()});
    } else if (request.target == "/kept") {
      send({.body = "kept", .headers = {{"Cache-Control", "max-age=9"}}});
    } else if (request.target == "/healthz") {
      send({200, "application/json", R"({"status":"ok"})"});
    } else {
      send(http::Problem(404, "Nothing", "there is nothing"));
    }
  }
  std::string Exchange(const std::string& bytes) {
    return RawClient(mServer.Port(), bytes).ReadToEnd();
  }

  std::atomic<int> mWrites{0};
  std::atomic<int> mComplaints{0};
  std::vector<http::Send> mLater;
  std::counting_semaphore<> mHeard{0};  // a request that is answered later
  std::shared_ptr<const http::File> mFile;
  http::Server mServer;
};

class BeatTest : public HttpTest {
 protected:
  BeatTest() : HttpTest({.streams = 2, .beat = std::chrono::milliseconds(1)}) {}
};

// Who reads hears again and again that a stream is there; who went away is found out by it.
TEST_F(BeatTest, AStreamWithNothingToSayIsHeardOf) {
  const std::string quiet = "GET /quiet HTTP/1.1\r\nHost: localhost\r\n\r\n";
  RawClient client(mServer.Port(), quiet);
  for (int i = 0; i < 3; ++i) EXPECT_NE(client.ReadUntil("still here\n"), "");
  { RawClient(mServer.Port(), quiet).ReadUntil("still here\n"); }
  std::string again;
  while (!again.starts_with("HTTP/1.1 200")) {
    again = RawClient(mServer.Port(), quiet).ReadUntil("\r\n");
  }
}

// A head is answered by the head alone: the next answer follows at once.
TEST_F(HttpTest, RequestsInTurnOnOneConnection) {
  RawClient client(mServer.Port(), "HEAD /healthz HTTP/1.1\r\nHost: localhost\r\n\r\n" +
                                       (kHealth + Put("/node", "written")) +
                                       "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"
                                       "GET /kept HTTP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_NE(client.ReadUntil("\r\n\r\n").find("Content-Length: 15\r\n"), std::string::npos);
  EXPECT_TRUE(client.ReadUntil("{\"status\":\"ok\"}").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("written").starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(client.ReadUntil("\r\n").starts_with("HTTP/1.1 404"));
  client.ReadUntil("there is nothing\"}");
  const std::string kept = client.ReadUntil("\r\nkept");
  EXPECT_NE(kept.find("\r\nCache-Control: max-age=9\r\n"), std::string::npos) << kept;
  EXPECT_EQ(kept.find("no-store"), std::string::npos) << kept;
}

// What is no request, or is too large, gets its answer even while the client still sends; then the
// connection ends, and nobody has heard of it.
TEST_F(HttpTest, MalformedAndOversizedRequestsAreAnsweredAndEndTheConnection) {
  const std::string head = "GET /healthz HTTP/1.1\r\nHost: localhost\r\n";
  const std::string put = "PUT /node HTTP/1.1\r\nHost: localhost\r\n";
  const std::string chunked = put + "Transfer-Encoding: chunked\r\n\r\n";
  const auto repeated = [](int times, const std::string& line) {
    std::string all;
    for (int i = 0; i < times; ++i) all += line;
    return all;
  };
  const std::string body = R"({"value":"run"})";
  const std::string large = std::string(17000, 'x');
  const std::tuple<const char*, const char*, std::string> cases[] = {
      {"nonsense", "400", "nonsense\r\n\r\n"},
      {"a header without end", "413", head + "X: " + large},
      {"body", "413", put + "Content-Length: 65537\r\n\r\n"},
      {"body that comes", "413",
       put + "Content-Length: 1000000\r\n\r\n" + std::string(1000000, ' ')},
      {"the length twice", "400", put + repeated(2, "Content-Length: 15\r\n") + "\r\n" + body},
      {"a list of lengths", "400", put + "Content-Length: 15,15\r\n\r\n" + body},
      {"two hosts", "400", head + "Host: example.com\r\n\r\n"},
      {"two origins", "400", head + "Origin: http://localhost\r\nOrigin: http://x\r\n\r\n"},
      {"chunks without end", "413",
       chunked + repeated(200, "400\r\n" + std::string(0x400, ' ') + "\r\n")},
      {"trailer without end", "413", chunked + "0\r\n" + repeated(40000, "X: x\r\n")},
      {"chunk headers without end", "413",
       chunked + repeated(400, "f;" + std::string(100, 'x') + "\r\n" + body + "\r\n")},
      {"a long chunk header", "413", chunked + "f;" + large + "\r\n" + body},
      {"host in the trailer", "400",
       "PUT /node HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\nHost: localhost\r\n\r\n"},
      {"origin in the trailer", "400", chunked + "0\r\nOrigin: http://localhost\r\n\r\n"},
      {"length in the trailer", "400", chunked + "0\r\nContent-Length: 0\r\n\r\n"},
      {"another encoding", "501", put + "Transfer-Encoding: gzip\r\n\r\n" + Put("/node", body)},
      {"two encodings", "501", put + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n"},
  };
  for (const auto& [name, status, bytes] : cases) {
    const std::string answer = Exchange(bytes);
    EXPECT_TRUE(answer.starts_with(std::string("HTTP/1.1 ") + status)) << name << answer;
    EXPECT_EQ(answer.rfind("HTTP/1.1 "), 0U) << name << answer;
  }
  EXPECT_TRUE(Answers(mServer.Port()));
  EXPECT_EQ(mWrites, 0);
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
    EXPECT_TRUE(Answers(mServer.Port()));
  }
  // Those that were silent longest made room; the last of them is still there.
  EXPECT_EQ(idle.front().ReadToEnd(), "");
  slow.back().Send(request.substr(request.size() - 1));
  EXPECT_TRUE(slow.back().IsServed());
}

class FullHttpTest : public HttpTest {
 protected:
  FullHttpTest() : HttpTest({.connections = 2, .refused = 1}) {}
};

// Nobody who waits for an answer makes room: who comes then is told so.
TEST_F(FullHttpTest, WhoIsServedStays) {
  std::deque<RawClient> served;
  for (int i = 0; i < 2; ++i) {
    served.emplace_back(mServer.Port(), "GET /later HTTP/1.1\r\nHost: localhost\r\n\r\n");
    mHeard.acquire();
  }
  RawClient third(mServer.Port());
  EXPECT_TRUE(third.ReadUntil("\r\n").starts_with("HTTP/1.1 503"));
  EXPECT_EQ(Exchange(""), "");  // one at a time is told
  for (const http::Send& send : mLater) send({200, "text/plain", "at last"});
  for (RawClient& each : served) EXPECT_TRUE(each.ReadUntil("at last").ends_with("at last"));
  EXPECT_TRUE(Answers(mServer.Port()));  // they are silent again
}

class ImpatientHttpTest : public HttpTest {
 protected:
  ImpatientHttpTest()
      : HttpTest(
            {.request = std::chrono::milliseconds(50), .reply = std::chrono::milliseconds(50)}) {}
};

// The deadline is for the whole request: bytes that trickle in do not extend it.
TEST_F(ImpatientHttpTest, SlowRequestsEnd) {
  EXPECT_EQ(Exchange(""), "");
  RawClient slow(mServer.Port());
  while (slow.Send("x")) {
  }
  EXPECT_EQ(Exchange("PUT /node HTTP/1.1\r\nHost: localhost\r\nContent-Length: 9\r\n\r\n{"), "");
}

TEST_F(ImpatientHttpTest, RepliesThatNobodyTakesEnd) {
  RawClient taker(mServer.Port(), kGetLarge);
  EXPECT_TRUE(taker.IsServed());
  // They are dropped after as long a time, and come later.
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Exchange(""), "");
  EXPECT_LT(taker.ReadToEnd().size(), kLarge);
}

TEST_F(HttpTest, AReplyThatNobodyTakesMakesRoom) {
  RawClient taker(mServer.Port(), kGetLarge);
  EXPECT_TRUE(taker.IsServed());
  std::deque<RawClient> idle;
  for (int i = 0; i < 64; ++i) idle.emplace_back(mServer.Port());
  EXPECT_TRUE(Answers(mServer.Port()));
  EXPECT_LT(taker.ReadToEnd().size(), kLarge);
}

// Its length is what was promised, or the connection ends.
TEST_F(HttpTest, AFileThatChangesWhileItIsSent) {
  const TemporaryFolder folder;
  const std::filesystem::path path = folder.Path() / "file.txt";
  constexpr std::size_t kLength = 200'000;  // several pieces
  for (const std::size_t becomes : {kLength, kLength + 1, kLength - 1, std::size_t{0}}) {
    std::ofstream(path) << std::string(kLength, 'x');
    mFile = http::File::Open(path);
    std::filesystem::resize_file(path, becomes);
    const std::string answer = Exchange(
        "HEAD /file HTTP/1.1\r\nHost: localhost\r\n\r\n"
        "GET /file HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const std::string length = "Content-Length: " + std::to_string(kLength) + "\r\n";
    EXPECT_NE(answer.find(length), answer.rfind(length));
    const std::size_t body = answer.size() - answer.rfind("\r\n\r\n") - 4;
    EXPECT_LE(body, kLength);
    EXPECT_EQ(body == kLength, becomes >= kLength) << body;
  }
}

TEST_F(HttpTest, AShortageOfDescriptorsIsSaidOnceAndOver) {
  const sockaddr_in address = {AF_INET, htons(mServer.Port()), {htonl(INADDR_LOOPBACK)}, {}};
  rlimit enough = {};
  getrlimit(RLIMIT_NOFILE, &enough);
  std::deque<RawClient> silent;
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(silent.emplace_back(mServer.Port(), kHealth).IsServed());
  std::vector<int> clients;
  for (std::size_t i = 0; i + 1 < silent.size(); ++i) {
    const int client = clients.emplace_back(socket(AF_INET, SOCK_STREAM, 0));
    // What would be given next is no longer given.
    const int next = dup(client);
    close(next);
    const rlimit few = {static_cast<rlim_t>(next), enough.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    silent[i].ReadToEnd();  // the one that was silent for longest makes room
    EXPECT_EQ(write(client, kHealth, sizeof kHealth - 1), static_cast<ssize_t>(sizeof kHealth - 1));
    char answer[12] = {};
    EXPECT_EQ(read(client, answer, sizeof answer), static_cast<ssize_t>(sizeof answer));
    EXPECT_EQ(std::string(answer, sizeof answer), "HTTP/1.1 200");
    setrlimit(RLIMIT_NOFILE, &enough);
  }
  // And nobody else did.
  silent.back().Send(kHealth);
  EXPECT_TRUE(silent.back().ReadUntil("HTTP/1.1 200").ends_with("HTTP/1.1 200"));
  for (const int each : clients) close(each);
  EXPECT_EQ(mComplaints, 1);
}

}  // namespace
}  // namespace test
