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

  // The camera has no such node, file or request.
  bool IsUnknown() const { return status == 404; }
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

// Each for the whole of what it limits: bytes that trickle in extend none.
struct TimeOuts {
  std::chrono::milliseconds connect = std::chrono::seconds(10);  // until a camera has answered
  std::chrono::milliseconds answer = std::chrono::seconds(30);   // of a read
};

// A process may have as many as it likes, each for one thread.
// Whether a write's answer tells what the program asked of the camera; OfFailure: where its status
// is not 0, or it leaves another text than a test that passed.
enum class Traced { No, OfFailure, Always };

class CameraClient {
 public:
  using Interrupted = std::function<bool()>;
  // Connects when it is first asked for something. host: a name or an address.
  // interrupted: asked while a request is under way; true gives up with InterruptedError.
  CameraClient(std::string host, std::uint16_t port, Interrupted interrupted = {},
               TimeOuts timeOuts = {});
  // A camera on this machine.
  explicit CameraClient(std::uint16_t port, Interrupted interrupted = {});
  ~CameraClient();
  CameraClient(const CameraClient&) = delete;
  CameraClient& operator=(const CameraClient&) = delete;

  // A node with its children; a leading dot: of the camera-wide tree.
  Json Get(const std::string& path, int depth = 0);
  // Returns when the write has been delivered, however long its test takes; ConnectionError when
  // the camera is lost meanwhile.
  Json Set(const std::string& path, const Json& value, Traced traced = Traced::No);
  // All knobs of a simulated camera, with the faults that they make: docs/protocol.md.
  Json Knobs();
  // Who has the camera to himself, "owner" or null, and for how many "seconds" more. A camera that
  // knows no leases refuses with 404.
  Json Lease();
  // Takes or renews it for that long; 0 gives it back. RefusedError (409) says who has it.
  Json TakeLease(const std::string& owner, double seconds);
  // The dialog on the camera's screen, or null. A camera that does not tell it refuses with 404.
  Json Screen();
  // What stands on its screen or in its viewfinder, as PNG.
  std::string Picture(bool viewFinder);
  // A file of the camera's storage.
  std::string File(const std::string& path);

  // Takes the camera's events, on a connection of their own: from now on, or those after the event
  // of that id. onEvent is called for each while this client awaits an answer or events. In place
  // of an earlier subscription.
  using OnEvent = std::function<void(const Event&)>;
  void Subscribe(OnEvent onEvent, const std::string& after = "");
  // onEvent is not called any more; nothing where there is no subscription.
  void Unsubscribe();
  // Returns when done() holds, true, or when the patience is over, false. ConnectionError when the
  // stream of events has ended.
  bool AwaitEvents(const std::function<bool()>& done, std::chrono::milliseconds patience);
  // Lets that much time pass; InterruptedError as everywhere.
  void Pause(std::chrono::milliseconds length);

 private:
  struct Connection;
  struct EventStream;
  struct Network;
  struct Question;

  std::unique_ptr<Connection> ConnectTo();
  void OpenSocket(Connection& connection);
  void Ask(Connection& connection, const Question& question);
  std::string Body(Connection& connection);
  std::string Request(const Question& question);
  std::string Exchange(const Question& question);

  const std::string mHost;
  const std::uint16_t mPort;
  const Interrupted mInterrupted;
  const TimeOuts mTimeOuts;
  std::unique_ptr<Network> mNetwork;
};

}  // namespace client
