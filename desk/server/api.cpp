#include "server/api.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "camera/camera.h"
#include "http/event_stream.h"
#include "http/json_body.h"
#include "server/json.h"
#include "tarq/knob_node.h"
#include "tarq/node_access.h"

namespace desk {

using Json = nlohmann::ordered_json;
using http::Problem;
using http::Reply;
using http::Request;
using http::Send;
using TARQ::CResourceValue;
using TARQ::NodeAccess;

namespace {

constexpr std::string_view kTaskPrefix = "/api/v1/task";
constexpr std::string_view kCameraPrefix = "/api/v1/camera";
constexpr std::string_view kFilesPrefix = "/api/v1/files/";
constexpr std::uintmax_t kMostFile = 16ULL * 1024 * 1024;  // bytes

struct ParsedBody {
  std::optional<CResourceValue> value;
  Reply problem;
};

// For that node.
ParsedBody ParseBody(const std::string& body, const TARQ::CServerResource& node) {
  const auto refused = [](unsigned status, const std::string& title, const std::string& detail) {
    return ParsedBody{std::nullopt, Problem(status, title, detail)};
  };
  const auto [json, problem] = http::ParseJson(body);
  if (!problem.empty()) return refused(400, "Malformed", problem + "; send {\"value\": ...}");
  if (!json.is_object() || !json.contains("value")) {
    return refused(400, "Malformed", "the body is not of the form {\"value\": ...}");
  }
  std::optional<CResourceValue> value =
      ValueFromJson(json["value"], NodeAccess::Stored(node).Type());
  if (!value)
    return refused(422, "Refused", "a value is a bool, a number (an integer of 32 bits) or a text");
  return {std::move(value), {}};
}

Reply NoSuchNode(std::string_view path) {
  return Problem(404, "No such node",
                 "there is no node " + std::string(path) + "; GET its parent to see its children");
}

Reply Refused(std::string_view path) {
  return Problem(422, "Refused", "the node " + std::string(path) + " does not take that value");
}

Reply NoRoom() {
  return Problem(503, "No room", "too many writes are under way; try again later");
}

}  // namespace

// The place of one long write; given back when it is left, at the latest with its last holder.
class Api::Room {
 public:
  explicit Room(std::atomic<int>& taken) : mTaken(taken) {}
  ~Room() { Leave(); }
  Room(const Room&) = delete;
  Room& operator=(const Room&) = delete;
  void Leave() {
    if (!mIsLeft.exchange(true)) --mTaken;
  }

 private:
  std::atomic<int>& mTaken;
  std::atomic<bool> mIsLeft{false};
};

std::shared_ptr<Api::Room> Api::TakeRoom() {
  auto room = std::make_shared<Room>(mLongWrites);
  return ++mLongWrites > kMostLongWrites ? nullptr : room;
}

Api::Api(Camera& camera, Threads threads) : mCamera(camera), mThreads(std::move(threads)) {}

void Api::Handle(const Request& request, const Send& send) {
  if (!http::IsLocal(request)) {
    send(Problem(403, "Not from here", "this camera answers requests to localhost only"));
    return;
  }
  const std::optional<http::Target> target = http::ParseTarget(request.target);
  if (!target) {
    send(Problem(400, "Malformed", "the path has a malformed percent escape"));
    return;
  }
  const std::string& path = target->path;
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const auto below = [&path](std::string_view prefix) {
    return path.starts_with(prefix) && (path.size() == prefix.size() || path[prefix.size()] == '/');
  };
  const auto rest = [&path](std::string_view prefix) {
    return std::string_view(path).substr(std::min(prefix.size() + 1, path.size()));
  };
  if (below(kTaskPrefix)) {
    HandleTree(request, true, rest(kTaskPrefix), *target, send);
  } else if (below(kCameraPrefix)) {
    HandleTree(request, false, rest(kCameraPrefix), *target, send);
  } else if (path == "/api/v1/lease" && (reads || request.method == "PUT")) {
    send(reads ? LeaseReply() : TakeLease(request.body));
  } else if (!reads) {
    send(Problem(405, "Not allowed",
                 "only nodes below task and camera, and the lease, can be written"));
  } else if (path.starts_with(kFilesPrefix)) {
    SendFile(path.substr(kFilesPrefix.size() - 1), send);
  } else if (path == "/api/v1/screen") {
    send(DialogReply());
  } else if (path == "/api/v1/screen.png") {
    SendScreen(target->QueryValue("display") == "viewfinder", send);
  } else if (path == "/api/v1/knobs") {
    mThreads.aside([this, send] { send({200, "application/json", Dump(KnobsJson(mCamera))}); });
  } else if (path == "/api/v1/events") {
    send(Events(request, *target));
  } else if (path == "/healthz") {
    send({200, "application/json", R"({"status":"ok"})"});
  } else {
    send(Problem(404, "No such resource",
                 "try /api/v1/task, /api/v1/camera, /api/v1/knobs, /api/v1/lease, /api/v1/events, "
                 "/api/v1/files/{path}, /api/v1/screen, /api/v1/screen.png or /healthz"));
  }
}

Reply Api::LeaseReply() {
  const std::optional<Lease::Holder> holder = mLease.Now();
  Json json;
  json["owner"] = holder ? Json(holder->owner) : Json(nullptr);
  json["seconds"] = holder ? holder->seconds : 0;
  return {200, "application/json", Dump(json)};
}

Reply Api::TakeLease(const std::string& body) {
  constexpr std::size_t kMostOwner = 200;  // bytes
  constexpr double kMostSeconds = 3600;
  const auto [json, problem] = http::ParseJson(body);
  if (!problem.empty()) return Problem(400, "Malformed", problem);
  const bool isObject = json.is_object() && json.contains("owner") && json.contains("seconds");
  if (!isObject || !json["owner"].is_string() || !json["seconds"].is_number()) {
    return Problem(400, "Malformed",
                   "the body is not of the form {\"owner\": \"...\", \"seconds\": ...}");
  }
  const auto owner = json["owner"].get<std::string>();
  const auto seconds = json["seconds"].get<double>();
  if (owner.empty() || owner.size() > kMostOwner || seconds < 0 || seconds > kMostSeconds) {
    return Problem(422, "Refused", "an owner has 1 to 200 bytes, a lease 0 to 3600 seconds");
  }
  if (mLease.Take(owner, seconds)) return LeaseReply();
  // Whose time is over meanwhile is named all the same: the next try gets it.
  const std::optional<Lease::Holder> holder = mLease.Now();
  std::string detail = holder ? holder->owner : std::string("another one");
  detail.append(" has this camera for ");
  detail.append(std::to_string(static_cast<int>(holder ? holder->seconds + 1 : 1)));
  detail.append(" more seconds");
  return Problem(409, "Taken", detail);
}

void Api::SendScreen(bool viewFinder, const Send& send) {
  mThreads.aside([this, viewFinder, send] {
    const auto screen = mCamera.Screen().Render(viewFinder ? CameraScreen::Display::ViewFinder
                                                           : CameraScreen::Display::Lcd);
    const std::vector<std::uint8_t> png = screen->Png();
    if (png.empty()) {
      send(Problem(500, "No picture", "the screen could not be drawn; try again"));
    } else {
      send({200, "image/png", std::string(png.begin(), png.end())});
    }
  });
}

Reply Api::DialogReply() const {
  const std::optional<WaitingDialog> dialog = mCamera.Windows().DialogNow();
  return {200, "application/json", Dump(DialogJson(dialog, mCamera.Clock().Now()))};
}

Reply Api::Events(const Request& request, const http::Target& target) const {
  const std::string last = request.lastEvent.empty()
                               ? std::string(target.QueryValue("after").value_or(""))
                               : request.lastEvent;
  return {200, "text/event-stream", "", nullptr,
          std::make_shared<http::EventStream<EventLog>>(mCamera.Events(), last, EventText)};
}

void Api::HandleTree(const Request& request, bool isTask, std::string_view path,
                     const http::Target& target, const Send& send) {
  if (request.method == "PUT") {
    if (isTask) {
      const auto trace = target.QueryValue("trace");
      WriteTask(request, path,
                trace == "1"        ? TraceWish::Always
                : trace == "failed" ? TraceWish::OfFailure
                                    : TraceWish::None,
                send);
    } else {
      WriteCamera(request, path, send);
    }
    return;
  }
  if (request.method != "GET" && request.method != "HEAD") {
    send(Problem(405, "Not allowed", "a node is read with GET and written with PUT"));
    return;
  }
  ReadNode(isTask, path, target, send);
}

void Api::ReadNode(bool isTask, std::string_view path, const http::Target& target,
                   const Send& send) {
  int depth = 0;
  if (const auto text = target.QueryValue("depth")) {
    const auto parsed = std::from_chars(text->data(), text->data() + text->size(), depth);
    if (parsed.ec != std::errc() || parsed.ptr != text->data() + text->size() || depth < 0 ||
        depth > kMostDepth) {
      send(Problem(400, "Malformed", "depth is a number from 0 to 32"));
      return;
    }
  }
  TARQ::CResourceTree& tree = isTask ? mCamera.TaskTree() : mCamera.CameraTree();
  TARQ::CServerResource* const node = NodeAccess::Find(NodeAccess::Root(tree), path);
  if (node == nullptr) {
    send(NoSuchNode(path));
  } else if (depth == 0) {
    send({200, "application/json", Dump(NodeJson(*node, depth))});
  } else {  // many nodes: others who want one do not wait for them
    mThreads.aside([node, depth, send] {
      send({200, "application/json", Dump(NodeJson(*node, depth))});
    });
  }
}

void Api::WriteTask(const Request& request, std::string_view path, TraceWish trace,
                    const Send& send) {
  TARQ::CServerResource* const node = NodeAccess::Find(NodeAccess::Root(mCamera.TaskTree()), path);
  if (node == nullptr) {
    send(NoSuchNode(path));
    return;
  }
  const ParsedBody body = ParseBody(request.body, *node);
  if (!body.value) {
    send(body.problem);
    return;
  }
  const auto room = TakeRoom();
  if (room == nullptr) {
    send(NoRoom());
    return;
  }
  const auto started = mCamera.Deliveries().Deliver(
      *node, *body.value, trace != TraceWish::None,
      [node, trace, send, room, name = std::string(path)](const Delivered& delivered) {
        room->Leave();
        if (delivered.status == TARQ::kStatusRefused) {
          send(Refused(name));
        } else {
          send({200, "application/json", Dump(DeliveredJson(*node, delivered, trace))});
        }
      });
  if (started == Deliveries::Start::Busy) {
    send(Problem(409, "Busy", "an earlier write to this node is still running; try again later"));
  } else if (started == Deliveries::Start::NoThread) {
    send(NoRoom());
  }
}

namespace {

Reply WriteNow(TARQ::CServerResource& node, const CResourceValue& value, std::string_view path) {
  if (NodeAccess::Write(node, value) != 0) return Refused(path);
  CResourceValue stored("");
  Json json;
  json["status"] = 0;
  json["value"] = NodeAccess::Read(node, stored) == 0 ? ValueJson(stored) : Json(nullptr);
  json["records"] = Json::array();
  return {200, "application/json", Dump(json)};
}

}  // namespace

// A setting is there at once. Another camera-wide write may wait: an advance of the clock, a ping.
void Api::WriteCamera(const Request& request, std::string_view path, const Send& send) {
  TARQ::CServerResource* const node =
      NodeAccess::Find(NodeAccess::Root(mCamera.CameraTree()), path);
  if (node == nullptr) {
    send(NoSuchNode(path));
    return;
  }
  const ParsedBody body = ParseBody(request.body, *node);
  if (!body.value) {
    send(body.problem);
    return;
  }
  if (IsSetting(*node)) {
    send(WriteNow(*node, *body.value, path));
    return;
  }
  const auto room = TakeRoom();
  const bool runs = room != nullptr && mThreads.longer([node, send, room, value = *body.value,
                                                        name = std::string(path)] {
    Reply reply = WriteNow(*node, value, name);
    room->Leave();
    send(std::move(reply));
  });
  if (!runs) send(NoRoom());
}

void Api::SendFile(const std::string& path, const Send& send) {
  mThreads.aside([this, path, send] { send(FileReply(path)); });
}

Reply Api::FileReply(const std::string& path) const {
  const auto found = mCamera.Files().Resolve(path);
  std::error_code error;
  if (!found || !std::filesystem::is_regular_file(*found, error)) {
    return Problem(404, "No such file", "the camera's storage has no file " + path);
  }
  std::shared_ptr<const http::File> file = http::File::Open(*found);
  if (file == nullptr) return Problem(403, "Not readable", "the file cannot be read");
  if (file->Size() > kMostFile) {
    return Problem(413, "Too large",
                   "a file of more than 16 MiB is not sent; read it from the "
                   "folder that stands for the storage");
  }
  return {200, "text/plain; charset=utf-8", "", std::move(file)};
}

}  // namespace desk
