#include "http/server.h"

#include <atomic>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <thread>

#include "http/lane.h"
#include "http/long_runs.h"
#include "http/session.h"

namespace http {

namespace asio = boost::asio;
namespace beast = boost::beast;
using tcp = asio::ip::tcp;

namespace {

// Before the next try to accept, when the machine has no descriptor left and none of ours was
// given back.
constexpr auto kAcceptPause = std::chrono::milliseconds(20);

// Who waited to be accepted has left.
bool HasLeft(const beast::error_code& error) {
  return error == asio::error::would_block || error == asio::error::connection_aborted ||
         error == boost::system::errc::protocol_error;
}

}  // namespace

struct Server::State {
  State(Handler handler, const Limits& limits, Complain onTrouble,
        std::shared_ptr<SecureLayer> secure)
      : complain(std::move(onTrouble)),
        connections(limits.connections, limits.streams,
                    [this](Deadline deadline) { WakeAt(deadline); }),
        sessions{.network = network,
                 .handler = std::move(handler),
                 .limits = limits,
                 .connections = connections,
                 .files = files,
                 .secure = std::move(secure),
                 .closed = [this] { acceptPause.cancel(); }},
        acceptor(network),
        acceptPause(network),
        deadlines(network),
        files(complain),
        aside(complain),
        longRuns(complain) {}

  ~State() { connections.DropAll(); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // A request that fails in a way that nobody foresaw costs its connection, not the others'.
  void Run() {
    for (;;) {
      try {
        network.run();
        return;
      } catch (const std::exception& error) {
        complain(std::string("a request ended by an exception: ") + error.what());
      }
    }
  }

  // Only once somebody waits: without a descriptor left, the system says so even where nobody
  // does, and a silent client would make room for no one.
  void Accept() {
    acceptor.async_wait(tcp::acceptor::wait_read, [this](beast::error_code error) {
      Socket socket(network);
      if (!error) acceptor.accept(socket, error);
      if (!error) Take(std::move(socket));
      if (!error || HasLeft(error)) {
        Accept();
      } else if (acceptor.is_open()) {
        AcceptLater(error);
      }
    });
  }

  // As soon as one of ours gives its descriptor back, or another one did unseen.
  void AcceptLater(beast::error_code error) {
    if (!isShort) complain("no connection can be accepted for now: " + error.message());
    isShort = true;
    acceptPause.expires_after(connections.MakeRoom() ? std::chrono::milliseconds(0) : kAcceptPause);
    acceptPause.async_wait([this](beast::error_code /*error*/) { Accept(); });
  }

  void Take(Socket socket) {
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

  void WakeAt(Deadline deadline) {
    deadlines.expires_at(deadline);
    deadlines.async_wait([this](beast::error_code error) {
      if (error) return;
      const Deadline next = connections.DropOverdue(std::chrono::steady_clock::now());
      if (next != kNoDeadline) WakeAt(next);
    });
  }

  const Complain complain;
  Connections connections;
  SessionContext sessions;
  asio::io_context network{1};  // its handlers hold sessions
  tcp::acceptor acceptor;
  asio::steady_timer acceptPause;
  asio::steady_timer deadlines;
  bool isShort = false;  // of descriptors; that is said once
  Lane files;
  Lane aside;
  LongRuns longRuns;
  std::atomic<bool> streamsAreTold{false};  // that there is something to send
  std::thread thread;
};

Server::Server(Handler handler, const Limits& limits, Complain complain,
               std::shared_ptr<SecureLayer> secure)
    : mState(std::make_unique<State>(std::move(handler), limits, std::move(complain),
                                     std::move(secure))) {}

Server::~Server() {
  Stop();
}

void Server::Stop() {
  mState->network.stop();
  if (mState->thread.joinable()) mState->thread.join();
}

std::string Server::Bind(std::uint16_t port, const std::string& address) {
  beast::error_code error;
  const tcp::endpoint endpoint(asio::ip::make_address(address, error), port);
  if (!error) mState->acceptor.open(endpoint.protocol(), error);
  if (!error) mState->acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) mState->acceptor.bind(endpoint, error);
  // Who waited may have left, which the system tells in more than one way: accept returns then, in
  // place of waiting for the next one on the thread that serves all others.
  if (!error) mState->acceptor.non_blocking(true, error);
  if (!error) {
    mState->acceptor.set_option(asio::socket_base::enable_connection_aborted(true), error);
  }
  if (!error) mState->acceptor.listen(asio::socket_base::max_listen_connections, error);
  return error ? error.message() : std::string();
}

std::uint16_t Server::Port() const {
  beast::error_code ignored;
  return mState->acceptor.local_endpoint(ignored).port();
}

void Server::Serve() {
  mState->Accept();
  mState->thread = std::thread([state = mState.get()] { state->Run(); });
}

void Server::RunAside(std::function<void()> work) {
  mState->aside.Run(std::move(work));
}

bool Server::RunLong(std::function<void()> work) {
  return mState->longRuns.Start(std::move(work));
}

// A stream that begins meanwhile looks itself.
void Server::ContinueStreams() {
  if (!mState->connections.HasStreams() || mState->streamsAreTold.exchange(true)) return;
  asio::post(mState->network, [state = mState.get()] {
    state->streamsAreTold = false;
    state->connections.ContinueStreams();
  });
}

}  // namespace http
