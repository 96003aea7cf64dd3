#include "server/camera_server.h"

#include <cstdio>

#include "camera/camera.h"

namespace desk {

CameraServer::CameraServer(Camera& camera, const http::Limits& limits)
    : mCamera(camera),
      mApi(camera, {.aside = [this](auto work) { mServer.RunAside(std::move(work)); },
                    .longer = [this](auto work) { return mServer.RunLong(std::move(work)); }}),
      mServer([this](const http::Request& request,
                     const http::Send& send) { mApi.Handle(request, send); },
              limits,
              [](const std::string& what) { fprintf(stderr, "diagor: %s\n", what.c_str()); }),
      mScreenWatch(camera) {
  camera.Events().OnAdd([this] { mServer.ContinueStreams(); });
}

CameraServer::~CameraServer() {
  mCamera.Events().OnAdd({});
  mServer.Stop();
  // What is being delivered holds connections.
  mCamera.Deliveries().JoinAll();
}

}  // namespace desk
