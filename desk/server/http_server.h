// The network face: HTTP/1.1 on the loopback address.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace desk {

class Camera;

class HttpServer {
 public:
  static constexpr std::size_t kMostConnections = 64;
  static constexpr std::size_t kMostHeader = 16UL * 1024;  // bytes
  static constexpr std::size_t kMostBody = 64UL * 1024;    // bytes

  explicit HttpServer(Camera& camera);
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
