#include "server/http_server.h"

#include <atomic>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <cstdio>
#include <list>
#include <mutex>
#include <thread>

#include "host/camera.h"
#include "server/api.h"

namespace desk {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kThreads = 4;                       // that read, answer reads and send
constexpr std::size_t kLongWrites = 32;                   // camera-wide writes that may wait
constexpr auto kReadDeadline = std::chrono::seconds(30);  // for a whole request, idling included
constexpr auto kSendDeadline = std::chrono::seconds(30);

// Threads for camera-wide writes, one each while it runs.
class LongRuns {
 public:
  ~LongRuns() {
    for (Run& run : mRuns) run.thread.join();
  }
  LongRuns() = default;
  LongRuns(const LongRuns&) = delete;
  LongRuns& operator=(const LongRuns&) = delete;

  bool Start(std::function<void()> work) {
    const std::lock_guard lock(mLock);
    for (auto run = mRuns.begin(); run != mRuns.end();) {
      if (run->finished) {
        run->thread.join();
        run = mRuns.erase(run);
      } else {
        ++run;
      }
    }
    if (mRuns.size() >= kLongWrites) return false;
    Run& run = mRuns.emplace_back();
    try {
      run.thread = std::thread([&run, work = std::move(work)] {
        try {
          work();
        } catch (const std::exception& error) {
          fprintf(stderr, "diagor: a camera-wide write ended by an exception: %s\n", error.what());
        }
        run.finished = true;
      });
    } catch (const std::system_error&) {  // the machine has no thread left
      mRuns.pop_back();
      return false;
    }
    return true;
  }

 private:
  struct Run {
    std::thread thread;
    std::atomic<bool> finished{false};
  };
  std::mutex mLock;
  std::list<Run> mRuns;
};

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, Api& api, std::atomic<std::size_t>& connections)
      : mStream(std::move(socket)), mApi(api), mConnections(connections) {
    ++mConnections;
  }
  ~Session() { --mConnections; }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Start() {
    beast::error_code ignored;
    mStream.socket().set_option(tcp::no_delay(true), ignored);
    asio::dispatch(mStream.get_executor(), [self = shared_from_this()] { self->ReadRequest(); });
  }

 private:
  void ReadRequest() {
    mParser.emplace();
    mHeadOnly = false;
    mParser->header_limit(HttpServer::kMostHeader);
    mParser->body_limit(HttpServer::kMostBody);
    mStream.expires_after(kReadDeadline);
    http::async_read(mStream, mBuffer, *mParser,
                     [self = shared_from_this()](beast::error_code error, std::size_t /*bytes*/) {
                       self->RequestRead(error);
                     });
  }

  void RequestRead(beast::error_code error) {
    if (error == http::error::end_of_stream) {
      Close();
      return;
    }
    if (error == http::error::body_limit || error == http::error::header_limit) {
      const bool body = error == http::error::body_limit;
      Reply(Problem(413, "Too large",
                    body ? "a body has at most 65536 bytes" : "a header has at most 16384 bytes"),
            false);
      return;
    }
    if (error.category() == http::make_error_code(http::error::bad_method).category()) {
      Reply(Problem(400, "Malformed", error.message()), false);
      return;
    }
    if (error) {
      Close();
      return;
    }
    const auto& message = mParser->get();
    const bool keepAlive = message.keep_alive();
    const ApiRequest request = {std::string(message.method_string()), std::string(message.target()),
                                std::string(message[http::field::host]),
                                std::string(message[http::field::origin]), message.body()};
    mHeadOnly = message.method() == http::verb::head;
    // The test takes its time.
    mStream.expires_never();
    mApi.Handle(request, [self = shared_from_this(), keepAlive](ApiReply reply) {
      asio::dispatch(self->mStream.get_executor(), [self, keepAlive, reply = std::move(reply)] {
        self->Reply(reply, keepAlive);
      });
    });
  }

  void Reply(const ApiReply& reply, bool keepAlive) {
    mReply = {};
    mReply.version(11);
    mReply.result(reply.status);
    mReply.set(http::field::content_type, reply.contentType);
    mReply.set(http::field::cache_control, "no-store");
    mReply.keep_alive(keepAlive);
    mReply.body() = reply.body;
    mReply.prepare_payload();
    if (mHeadOnly) mReply.body().clear();
    mStream.expires_after(kSendDeadline);
    http::async_write(
        mStream, mReply,
        [self = shared_from_this(), keepAlive](beast::error_code error, std::size_t /*bytes*/) {
          if (error || !keepAlive) {
            self->Close();
          } else {
            self->ReadRequest();
          }
        });
  }

  void Close() {
    beast::error_code ignored;
    mStream.socket().shutdown(tcp::socket::shutdown_send, ignored);
  }

  beast::tcp_stream mStream;
  Api& mApi;
  std::atomic<std::size_t>& mConnections;
  beast::flat_buffer mBuffer{HttpServer::kMostHeader + HttpServer::kMostBody};
  std::optional<http::request_parser<http::string_body>> mParser;
  http::response<http::string_body> mReply;
  bool mHeadOnly = false;
};

}  // namespace

struct HttpServer::State {
  explicit State(Camera& served)
      : camera(served),
        acceptor(context),
        api(served, [this](auto work) { return longRuns.Start(std::move(work)); }) {}

  // A request that fails in a way that nobody foresaw costs its connection, not the others'.
  void Run() {
    for (;;) {
      try {
        context.run();
        return;
      } catch (const std::exception& error) {
        fprintf(stderr, "diagor: a request ended by an exception: %s\n", error.what());
      }
    }
  }

  void Accept() {
    acceptor.async_accept(asio::make_strand(context),
                          [this](beast::error_code error, tcp::socket socket) {
                            if (!error) Take(std::move(socket));
                            if (acceptor.is_open()) Accept();
                          });
  }

  void Take(tcp::socket socket) {
    if (connections >= kMostConnections) {
      // Told and let go; nobody waits for a slow client here.
      static constexpr std::string_view kFull =
          "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
      beast::error_code ignored;
      socket.non_blocking(true, ignored);
      socket.write_some(asio::buffer(kFull), ignored);
      return;
    }
    std::make_shared<Session>(std::move(socket), api, connections)->Start();
  }

  Camera& camera;
  std::atomic<std::size_t> connections{0};
  asio::io_context context;
  tcp::acceptor acceptor;
  Api api;
  LongRuns longRuns;  // ended first: what it runs holds sessions
  std::vector<std::thread> threads;
};

HttpServer::HttpServer(Camera& camera) : mState(std::make_unique<State>(camera)) {}

HttpServer::~HttpServer() {
  mState->context.stop();
  for (std::thread& thread : mState->threads) thread.join();
  // Deliveries hold sessions too.
  mState->camera.Deliveries().JoinAll();
}

std::string HttpServer::Bind(std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  beast::error_code error;
  mState->acceptor.open(endpoint.protocol(), error);
  if (!error) mState->acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) mState->acceptor.bind(endpoint, error);
  if (!error) mState->acceptor.listen(asio::socket_base::max_listen_connections, error);
  return error ? error.message() : std::string();
}

std::uint16_t HttpServer::Port() const {
  beast::error_code ignored;
  return mState->acceptor.local_endpoint(ignored).port();
}

void HttpServer::Serve() {
  mState->Accept();
  for (std::size_t i = 0; i < kThreads; ++i) {
    mState->threads.emplace_back([this] { mState->Run(); });
  }
}

}  // namespace desk
