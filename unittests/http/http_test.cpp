// The server side of HTTP over sockets: limits, misbehaving clients, who makes room for whom.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <semaphore>

#include "http/connections.h"
#include "http/server.h"
#include "support/raw_client.h"
#include "support/test_camera.h"

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
            limits,
            [this](const std::string& /*what*/) {
              ++mComplaints;
              mComplained.release();
            }) {
    EXPECT_EQ(mServer.Bind(0), "");
    mServer.Serve();
  }
  void Answer(const http::Request& request, const http::Send& send) {
    if (request.method == "PUT") ++mWrites;
    if (mFile != nullptr && request.target == "/file") {
      send({200, "text/plain", "", mFile});
    } else if (request.target == "/healthz") {
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
  std::atomic<int> mComplaints{0};
  std::counting_semaphore<> mComplained{0};
  std::shared_ptr<const http::File> mFile;
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
  const std::string chunked = put + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string unnamed = "PUT /node HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n";
  const auto repeated = [](std::size_t bytes, const std::string& line) {
    std::string all;
    while (all.size() < bytes) all += line;
    return all;
  };
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
      {"chunks without end",
       chunked + repeated(200000, "400\r\n" + std::string(0x400, ' ') + "\r\n"), "413"},
      {"trailer without end", chunked + "0\r\n" + repeated(200000, "X: x\r\n"), "413"},
      {"chunk headers without end",
       chunked + repeated(40000, "f;" + std::string(100, 'x') + "\r\n" + body + "\r\n"), "413"},
      {"a long chunk header", chunked + "f;" + std::string(17000, 'x') + "\r\n" + body, "413"},
      {"a long trailer", chunked + "0\r\nX: " + std::string(17000, 'x') + "\r\n\r\n", "413"},
      {"host in the trailer", unnamed + "0\r\nHost: localhost\r\n\r\n", "400"},
      {"origin in the trailer", chunked + "0\r\nOrigin: http://localhost\r\n\r\n", "400"},
      {"length in the trailer", chunked + "0\r\nContent-Length: 0\r\n\r\n", "400"},
      {"a list of lengths", put + "Content-Length: 15,15\r\n\r\n" + body, "400"},
      {"another encoding", put + "Transfer-Encoding: gzip\r\n\r\n" + Put("/node", body), "501"},
      {"two encodings", put + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", "501"},
      {"chunk of nonsense", put + "Transfer-Encoding: chunked\r\n\r\nzz\r\n", "400"},
  };
  for (const Case& each : cases) {
    const std::string answer = Exchange(each.bytes);
    EXPECT_TRUE(answer.starts_with(std::string("HTTP/1.1 ") + each.status)) << each.name << answer;
    EXPECT_EQ(answer.rfind("HTTP/1.1 "), 0U) << each.name << answer;
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
    if (becomes < kLength) {
      EXPECT_LT(body, kLength);
    } else {
      EXPECT_EQ(body, kLength);
    }
  }
}

// Takes every descriptor of the process but one.
class Shortage {
 public:
  Shortage() {
    getrlimit(RLIMIT_NOFILE, &mBefore);
    const rlimit few = {100, mBefore.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    for (int next = 0; (next = open("/dev/null", O_RDONLY)) >= 0;) mTaken.push_back(next);
    GiveOneBack();
  }
  ~Shortage() {
    while (!mTaken.empty()) GiveOneBack();
    setrlimit(RLIMIT_NOFILE, &mBefore);
  }
  Shortage(const Shortage&) = delete;
  Shortage& operator=(const Shortage&) = delete;
  void GiveOneBack() {
    close(mTaken.back());
    mTaken.pop_back();
  }

 private:
  rlimit mBefore = {};
  std::vector<int> mTaken;
};

TEST_F(HttpTest, AShortageOfDescriptorsIsSaidOnceAndOver) {
  const sockaddr_in address = {AF_INET, htons(mServer.Port()), {htonl(INADDR_LOOPBACK)}, {}};
  for (int round = 0; round < 3; ++round) {
    Shortage shortage;
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    if (round == 0) mComplained.acquire();
    shortage.GiveOneBack();
    EXPECT_EQ(write(client, kHealth, sizeof kHealth - 1), static_cast<ssize_t>(sizeof kHealth - 1));
    char answer[12] = {};
    EXPECT_EQ(read(client, answer, sizeof answer), static_cast<ssize_t>(sizeof answer));
    EXPECT_EQ(std::string(answer, sizeof answer), "HTTP/1.1 200");
    close(client);
  }
  EXPECT_EQ(mComplaints, 1);
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
