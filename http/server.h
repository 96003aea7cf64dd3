// The server side of HTTP/1.1 on the loopback address: a port, its connections, and threads for
// answers that take long.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "http/limits.h"
#include "http/message.h"

namespace http {

class Server {
 public:
  // complain: told, on any thread, what went wrong that no client hears of.
  using Complain = std::function<void(const std::string& what)>;

  Server(Handler handler, const Limits& limits, Complain complain);
  // Ends the connections; answers that are still to come are sent no more.
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Port 0: any free one. An error's text, or empty. Clients can connect, and wait.
  std::string Bind(std::uint16_t port);
  std::uint16_t Port() const;
  // Starts to answer.
  void Serve();
  // Answers no more; the connections end with the server.
  void Stop();

  // Runs what may wait long on a thread of its own. False: the machine has none.
  bool RunLong(std::function<void()> work);
  // On any thread, without blocking: the streams have something to send.
  void ContinueStreams();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace http
