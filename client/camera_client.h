// One camera over the protocol of docs/protocol.md.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace client {

using Json = nlohmann::ordered_json;

// Nobody answers, or what answers is no camera.
class ConnectionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The camera answered that it does not do that; what() says why.
class RefusedError : public std::runtime_error {
 public:
  RefusedError(unsigned httpStatus, const std::string& detail)
      : std::runtime_error(detail), status(httpStatus) {}
  unsigned status;  // of HTTP: 404, 409, 422...
};

// The caller's wish to stop was seen while an answer was awaited.
class InterruptedError : public std::runtime_error {
 public:
  InterruptedError() : std::runtime_error("interrupted") {}
};

// Something that happened on the camera: docs/protocol.md lists the kinds and their fields.
struct Event {
  std::string id;
  std::string kind;
  Json fields;
};

class CameraClient {
 public:
  // interrupted: asked while a request is under way; true gives up with InterruptedError.
  explicit CameraClient(std::uint16_t port, std::function<bool()> interrupted = {});
  ~CameraClient();
  CameraClient(const CameraClient&) = delete;
  CameraClient& operator=(const CameraClient&) = delete;

  // A node with its children; a leading dot: of the camera-wide tree.
  Json Get(const std::string& path, int depth = 0);
  // Returns when the write has been delivered, however long its test takes.
  Json Set(const std::string& path, const Json& value, bool traced = false);
  // A file of the camera's storage.
  std::string File(const std::string& path);

  // Takes the camera's events, on a connection of their own: from now on, or those after the event
  // of that id. Each is told while this client awaits an answer or events. In place of an earlier
  // subscription.
  using Told = std::function<void(const Event&)>;
  void Subscribe(Told told, const std::string& after = "");
  // Told holds no longer; nothing where there is no subscription.
  void Unsubscribe();
  // Returns when done() holds, true, or when the patience is over, false. ConnectionError when the
  // stream of events has ended.
  bool AwaitEvents(const std::function<bool()>& done, std::chrono::milliseconds patience);

 private:
  struct Connection;
  struct EventStream;
  struct Network;

  std::unique_ptr<Connection> Connect();
  void Ask(Connection& connection, const std::string& method, const std::string& target,
           const std::string& body, const std::string& lastEvent);
  std::string Body(Connection& connection);
  std::string Request(const std::string& method, const std::string& target,
                      const std::string& body);
  std::string Exchange(const std::string& method, const std::string& target,
                       const std::string& body);

  const std::uint16_t mPort;
  std::function<bool()> mInterrupted;
  std::unique_ptr<Network> mNetwork;
};

}  // namespace client
