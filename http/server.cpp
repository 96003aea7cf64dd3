#include "http/server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/strand.hpp>
#include <thread>
#include <vector>

#include "http/connections.h"
#include "http/long_runs.h"
#include "http/session.h"

namespace http {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;

namespace {

constexpr std::size_t kThreads = 4;  // that read, answer reads and send
// Before the next try to accept, when the machine has no descriptor left.
constexpr auto kAcceptPause = std::chrono::milliseconds(100);

}  // namespace

struct Server::State {
  State(Handler handler, const Limits& limits, Complain toldOfTroubles)
      : complain(std::move(toldOfTroubles)),
        connections(limits.connections, limits.streams),
        sessions{std::move(handler), connections, limits, {}},
        acceptor(context),
        acceptPause(context),
        longRuns(complain) {}

  // A request that fails in a way that nobody foresaw costs its connection, not the others'.
  void Run() {
    for (;;) {
      try {
        context.run();
        return;
      } catch (const std::exception& error) {
        complain(std::string("a request ended by an exception: ") + error.what());
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
      complain(std::string("a connection ended by an exception: ") + error.what());
    }
  }

  const Complain complain;
  Connections connections;
  SessionContext sessions;
  asio::io_context context;  // its handlers hold sessions
  tcp::acceptor acceptor;
  asio::steady_timer acceptPause;
  LongRuns longRuns;  // ended first: what it runs holds sessions
  std::vector<std::thread> threads;
};

Server::Server(Handler handler, const Limits& limits, Complain complain)
    : mState(std::make_unique<State>(std::move(handler), limits, std::move(complain))) {}

Server::~Server() {
  Stop();
}

void Server::Stop() {
  mState->context.stop();
  for (std::thread& thread : mState->threads) thread.join();
  mState->threads.clear();
}

std::string Server::Bind(std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
  beast::error_code error;
  mState->acceptor.open(endpoint.protocol(), error);
  if (!error) mState->acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) mState->acceptor.bind(endpoint, error);
  if (!error) mState->acceptor.listen(asio::socket_base::max_listen_connections, error);
  return error ? error.message() : std::string();
}

std::uint16_t Server::Port() const {
  beast::error_code ignored;
  return mState->acceptor.local_endpoint(ignored).port();
}

void Server::Serve() {
  mState->Accept();
  for (std::size_t i = 0; i < kThreads; ++i) {
    mState->threads.emplace_back([this] { mState->Run(); });
  }
}

bool Server::RunLong(std::function<void()> work) {
  return mState->longRuns.Start(std::move(work));
}

void Server::ContinueStreams() {
  mState->connections.ContinueStreams();
}

}  // namespace http
