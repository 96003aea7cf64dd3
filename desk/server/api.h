// What the network face answers, apart from sockets: paths, JSON, problems.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace desk {

class Camera;

struct ApiRequest {
  std::string method;
  std::string target;  // path and query, as sent
  std::string host;    // of the headers; empty: not sent
  std::string origin;
  std::string lastEvent;  // the id of the event that the client saw last
  std::string body;
};

// Where a stream of events begins.
struct EventsFrom {
  std::uint64_t after = 0;
  bool missedUnknown = false;  // the client comes from another camera
};

struct ApiReply {
  unsigned status = 200;
  std::string contentType = "application/json";
  std::string body;
  std::optional<EventsFrom> events;  // a stream of events follows in place of the body
};

class Api {
 public:
  using Send = std::function<void(ApiReply)>;
  // Runs something that may wait long on a thread that no read needs; false: there is none.
  using RunLong = std::function<bool(std::function<void()>)>;

  static constexpr int kMostDepth = 32;       // of JSON, in and out
  static constexpr int kMostLongWrites = 32;  // deliveries, camera-wide writes and pictures at once

  Api(Camera& camera, RunLong runLong);

  // send is called once: at once for a read, on another thread when a write has ended.
  void Handle(const ApiRequest& request, const Send& send);

 private:
  void HandleTree(const ApiRequest& request, bool isTask, std::string_view path,
                  std::string_view query, const Send& send);
  void WriteTask(const ApiRequest& request, std::string_view path, bool traced, const Send& send);
  void WriteCamera(const ApiRequest& request, std::string_view path, const Send& send);
  void SendScreen(bool viewFinder, const Send& send);
  ApiReply Events(const ApiRequest& request, std::string_view query) const;
  ApiReply ReadFile(std::string_view path) const;

  class Room;
  std::shared_ptr<Room> TakeRoom();

  Camera& mCamera;
  RunLong mRunLong;
  std::atomic<int> mLongWrites{0};
};

ApiReply Problem(unsigned status, const std::string& title, const std::string& detail);

}  // namespace desk
