// The server side of HTTP/1.1: a port, one thread that reads requests, answers what is quick and
// sends, and other threads for the rest.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "http/limits.h"
#include "http/message.h"

namespace http {

class SecureLayer;

class Server {
 public:
  // complain: told, on any thread, what went wrong that no client hears of.
  using Complain = std::function<void(const std::string& what)>;

  // secure: clients may speak TLS; who does not is answered too, see Request::isSecure.
  Server(Handler handler, const Limits& limits, Complain complain,
         std::shared_ptr<SecureLayer> secure = nullptr);
  // Ends the connections. What was given to Run... is waited for; whoever else still has an answer
  // to send must be done with it.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Port 0: any free one. address: one of this machine, or "0.0.0.0", "::" for all of them. An
  // error's text, or empty. Clients can connect, and wait.
  std::string Bind(std::uint16_t port, const std::string& address = "127.0.0.1");
  std::uint16_t Port() const;
  // Starts to answer.
  void Serve();
  // Answers no more; the connections end with the server.
  void Stop();

  // For answers that take a while and end: done in turn on one other thread.
  void RunAside(std::function<void()> work);
  // For answers that may wait for ever: a thread each. False: the machine has none left.
  bool RunLong(std::function<void()> work);
  // On any thread, without blocking: the streams have something to send.
  void ContinueStreams();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace http
