// The network face of one camera.
#pragma once

#include <cstdint>
#include <string>

#include "http/server.h"
#include "server/api.h"
#include "server/screen_watch.h"

namespace desk {

class Camera;

class CameraServer {
 public:
  explicit CameraServer(Camera& camera, const http::Limits& limits = {});
  // Ends the connections; writes that still run are not answered any more.
  ~CameraServer();
  CameraServer(const CameraServer&) = delete;
  CameraServer& operator=(const CameraServer&) = delete;

  // Port 0: any free one. An error's text, or empty. Clients can connect, and wait.
  std::string Bind(std::uint16_t port) { return mServer.Bind(port); }
  std::uint16_t Port() const { return mServer.Port(); }
  // Starts to answer.
  void Serve() { mServer.Serve(); }

 private:
  Camera& mCamera;
  Api mApi;
  http::Server mServer;
  ScreenWatch mScreenWatch;
};

}  // namespace desk
