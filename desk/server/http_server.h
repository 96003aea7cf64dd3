// The network face: HTTP/1.1 on the loopback address.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace desk {

class Camera;

// Beyond these a client is told so, or let go. A slow or silent one costs the others nothing.
struct ServerLimits {
  // A new connection beyond them takes the place of the one that has been silent longest; while
  // none is silent it is told that there is no room.
  static constexpr std::size_t kMostConnections = 64;
  static constexpr std::size_t kMostRefused = 32;  // at once; more of them are let go unheard
  static constexpr std::size_t kMostEventStreams = 16;
  static constexpr std::size_t kMostHeader = 16UL * 1024;  // bytes
  static constexpr std::size_t kMostBody = 64UL * 1024;    // bytes

  // Each for the whole of it, however many bytes come meanwhile.
  std::chrono::milliseconds request{30'000};  // from a connection or the last reply on; idling too
  std::chrono::milliseconds reply{30'000};    // until the client has taken it
  std::chrono::milliseconds farewell{2'000};  // what a client still sends after the last reply
};

class HttpServer {
 public:
  explicit HttpServer(Camera& camera, const ServerLimits& limits = {});
  // Ends the connections; writes that still run are not answered any more.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  // Port 0: any free one. An error's text, or empty. Clients can connect, and wait.
  std::string Bind(std::uint16_t port);
  std::uint16_t Port() const;
  // Starts to answer.
  void Serve();

 private:
  struct State;
  std::unique_ptr<State> mState;
};

}  // namespace desk
