// What the network face answers, apart from sockets: paths, JSON, problems.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "http/message.h"
#include "http/target.h"

namespace desk {

class Camera;

class Api {
 public:
  // Runs something that may wait long on a thread that no read needs; false: there is none.
  using RunLong = std::function<bool(std::function<void()>)>;

  static constexpr int kMostDepth = 32;       // of JSON, in and out
  static constexpr int kMostLongWrites = 32;  // deliveries, camera-wide writes and pictures at once

  Api(Camera& camera, RunLong runLong);

  // send is called once: at once for a read, on another thread when a write has ended.
  void Handle(const http::Request& request, const http::Send& send);

 private:
  void HandleTree(const http::Request& request, bool isTask, std::string_view path,
                  const http::Target& target, const http::Send& send);
  void WriteTask(const http::Request& request, std::string_view path, bool traced,
                 const http::Send& send);
  void WriteCamera(const http::Request& request, std::string_view path, const http::Send& send);
  void SendScreen(bool viewFinder, const http::Send& send);
  http::Reply Events(const http::Request& request, const http::Target& target) const;
  http::Reply ReadFile(std::string_view path) const;

  class Room;
  std::shared_ptr<Room> TakeRoom();

  Camera& mCamera;
  RunLong mRunLong;
  std::atomic<int> mLongWrites{0};
};

}  // namespace desk
