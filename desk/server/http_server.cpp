#include "server/http_server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <cstdio>
#include <list>
#include <mutex>
#include <thread>

#include "host/camera.h"
#include "server/session.h"

namespace desk {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kThreads = 4;  // that read, answer reads and send
// Before the next try to accept, when the machine has no descriptor left.
constexpr auto kAcceptPause = std::chrono::milliseconds(100);

// Threads for camera-wide writes and pictures, one each while it runs.
class LongRuns {
 public:
  ~LongRuns() {
    for (Run& run : mRuns) run.thread.join();
  }
  LongRuns() = default;
  LongRuns(const LongRuns&) = delete;
  LongRuns& operator=(const LongRuns&) = delete;

  // False: the machine has no thread left.
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
    } catch (const std::system_error&) {
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

}  // namespace

struct HttpServer::State {
  State(Camera& served, const ServerLimits& limits)
      : camera(served),
        connections(ServerLimits::kMostConnections, ServerLimits::kMostEventStreams),
        sessions{api, served.Events(), connections, limits, {}},
        acceptor(context),
        acceptPause(context),
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
                            if (!error) {
                              Take(std::move(socket));
                              Accept();
                            } else if (acceptor.is_open()) {
                              connections.MakeRoom();
                              AcceptLater();
                            }
                          });
  }

  void AcceptLater() {
    acceptPause.expires_after(kAcceptPause);
    acceptPause.async_wait([this](beast::error_code error) {
      if (!error) Accept();
    });
  }

  void Take(tcp::socket socket) {
    try {
      const auto session = std::make_shared<Session>(std::move(socket), sessions);
      if (connections.Enter(*session)) {
        session->Start();
      } else {
        session->Refuse();
      }
    } catch (const std::exception& error) {  // it costs this connection; the next one is accepted
      fprintf(stderr, "diagor: a connection ended by an exception: %s\n", error.what());
    }
  }

  Camera& camera;
  Connections connections;
  SessionContext sessions;
  asio::io_context context;  // its handlers hold sessions
  tcp::acceptor acceptor;
  asio::steady_timer acceptPause;
  Api api;
  LongRuns longRuns;  // ended first: what it runs holds sessions
  std::vector<std::thread> threads;
};

HttpServer::HttpServer(Camera& camera, const ServerLimits& limits)
    : mState(std::make_unique<State>(camera, limits)) {
  camera.Events().OnAdd([this] { mState->connections.TellOfEvents(); });
}

HttpServer::~HttpServer() {
  mState->camera.Events().OnAdd({});
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
