#include "server/api.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <optional>

#include "host/camera.h"
#include "server/json.h"
#include "tarq/node_access.h"

namespace desk {

using Json = nlohmann::ordered_json;
using TARQ::CResourceValue;
using TARQ::NodeAccess;

namespace {

constexpr std::string_view kTaskPrefix = "/api/v1/task";
constexpr std::string_view kCameraPrefix = "/api/v1/camera";
constexpr std::string_view kFilesPrefix = "/api/v1/files/";
constexpr std::uintmax_t kMostFile = 16ULL * 1024 * 1024;  // bytes; a reply holds all of it

std::optional<std::string> PercentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    unsigned byte = 0;
    if (i + 2 >= text.size()) return std::nullopt;
    const char* const digits = text.data() + i + 1;
    const auto parsed = std::from_chars(digits, digits + 2, byte, 16);
    if (parsed.ptr != digits + 2 || byte == 0) return std::nullopt;
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

// The value of "name=value" in a query; none when it is not there.
std::optional<std::string_view> QueryValue(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const std::size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    const std::size_t equals = std::min(pair.find('='), pair.size());
    if (pair.substr(0, equals) == name) return pair.substr(std::min(equals + 1, pair.size()));
  }
  return std::nullopt;
}

// A page elsewhere must not drive the camera: neither by its own origin nor by a name that it made
// point here.
bool IsLocal(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  std::string_view host = text;
  if (host.starts_with("http://")) host.remove_prefix(7);
  for (const std::string_view name : {"localhost", "127.0.0.1", "[::1]"}) {
    if (!host.starts_with(name)) continue;
    std::string_view port = host.substr(name.size());
    if (port.empty()) return true;
    if (port.front() != ':') continue;
    port.remove_prefix(1);
    return port.find_first_not_of("0123456789") == std::string_view::npos;
  }
  return false;
}

struct ParsedBody {
  std::optional<CResourceValue> value;
  ApiReply problem;
};

ParsedBody ParseBody(const std::string& body) {
  const auto refused = [](unsigned status, const std::string& title, const std::string& detail) {
    return ParsedBody{std::nullopt, Problem(status, title, detail)};
  };
  bool tooDeep = false;
  const Json json = Json::parse(
      body,
      [&](int depth, Json::parse_event_t /*event*/, Json& /*parsed*/) {
        tooDeep = tooDeep || depth > Api::kMostDepth;
        return !tooDeep;
      },
      false);
  if (tooDeep) return refused(400, "Malformed", "JSON nested deeper than 32 levels");
  if (json.is_discarded()) {
    return refused(400, "Malformed", "the body is no JSON; send {\"value\": ...}");
  }
  if (!json.is_object() || !json.contains("value")) {
    return refused(400, "Malformed", "the body is not of the form {\"value\": ...}");
  }
  std::optional<CResourceValue> value = ValueFromJson(json["value"]);
  if (!value)
    return refused(422, "Refused", "a value is a bool, a number (an integer of 32 bits) or a text");
  return {std::move(value), {}};
}

ApiReply NoSuchNode(std::string_view path) {
  return Problem(404, "No such node",
                 "there is no node " + std::string(path) + "; GET its parent to see its children");
}

ApiReply Refused(std::string_view path) {
  return Problem(422, "Refused", "the node " + std::string(path) + " does not take that value");
}

ApiReply NoRoom() {
  return Problem(503, "No room", "too many writes and pictures are under way; try again later");
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

ApiReply Problem(unsigned status, const std::string& title, const std::string& detail) {
  Json json;
  json["type"] = "about:blank";
  json["title"] = title;
  json["status"] = status;
  json["detail"] = detail;
  return {status, "application/problem+json", Dump(json), {}};
}

Api::Api(Camera& camera, RunLong runLong) : mCamera(camera), mRunLong(std::move(runLong)) {}

void Api::Handle(const ApiRequest& request, const Send& send) {
  if (!IsLocal(request.host) || (!request.origin.empty() && !IsLocal(request.origin))) {
    send(Problem(403, "Not from here", "this camera answers requests to localhost only"));
    return;
  }
  const std::size_t mark = std::min(request.target.find('?'), request.target.size());
  const std::string_view query =
      std::string_view(request.target).substr(std::min(mark + 1, request.target.size()));
  const std::optional<std::string> path = PercentDecoded(request.target.substr(0, mark));
  const bool reads = request.method == "GET" || request.method == "HEAD";
  const auto below = [&path](std::string_view prefix) {
    return path->starts_with(prefix) &&
           (path->size() == prefix.size() || (*path)[prefix.size()] == '/');
  };
  const auto rest = [&path](std::string_view prefix) {
    return std::string_view(*path).substr(std::min(prefix.size() + 1, path->size()));
  };
  if (!path) {
    send(Problem(400, "Malformed", "the path has a malformed percent escape"));
  } else if (below(kTaskPrefix)) {
    HandleTree(request, true, rest(kTaskPrefix), query, send);
  } else if (below(kCameraPrefix)) {
    HandleTree(request, false, rest(kCameraPrefix), query, send);
  } else if (!reads) {
    send(Problem(405, "Not allowed", "only nodes below task and camera can be written"));
  } else if (path->starts_with(kFilesPrefix)) {
    send(ReadFile(std::string_view(*path).substr(kFilesPrefix.size() - 1)));
  } else if (*path == "/api/v1/screen.png") {
    SendScreen(QueryValue(query, "display") == "viewfinder", send);
  } else if (*path == "/api/v1/events") {
    send(Events(request, query));
  } else if (*path == "/healthz") {
    send({200, "application/json", R"({"status":"ok"})", {}});
  } else {
    send(Problem(404, "No such resource",
                 "try /api/v1/task, /api/v1/camera, /api/v1/events, /api/v1/files/{path}, "
                 "/api/v1/screen.png or /healthz"));
  }
}

// A picture takes a while to draw: other reads do not wait for it.
void Api::SendScreen(bool viewFinder, const Send& send) {
  const auto room = TakeRoom();
  const bool starts =
      room != nullptr && mRunLong([this, viewFinder, send, room] {
        const auto screen = mCamera.Screen().Render(viewFinder ? CameraScreen::Display::ViewFinder
                                                               : CameraScreen::Display::Lcd);
        const std::vector<std::uint8_t> png = screen->Png();
        room->Leave();
        if (png.empty()) {
          send(Problem(500, "No picture", "the screen could not be drawn; try again"));
        } else {
          send({200, "image/png", std::string(png.begin(), png.end()), {}});
        }
      });
  if (!starts) send(NoRoom());
}

// An id is the camera's name and a number: one of another camera says nothing of what was missed
// here.
ApiReply Api::Events(const ApiRequest& request, std::string_view query) const {
  const EventLog& log = mCamera.Events();
  const std::string last = request.lastEvent.empty()
                               ? std::string(QueryValue(query, "after").value_or(""))
                               : request.lastEvent;
  EventsFrom from;
  if (last.empty()) {
    from.after = log.Newest();
  } else if (last != "0") {
    const std::string ours = log.Name() + "-";
    const char* const end = last.data() + last.size();
    const bool isOurs = last.starts_with(ours);
    const auto parsed = isOurs ? std::from_chars(last.data() + ours.size(), end, from.after)
                               : std::from_chars_result{};
    from.missedUnknown =
        !isOurs || parsed.ec != std::errc() || parsed.ptr != end || from.after > log.Newest();
    if (from.missedUnknown) from.after = 0;
  }
  return {200, "text/event-stream", "", from};
}

void Api::HandleTree(const ApiRequest& request, bool isTask, std::string_view path,
                     std::string_view query, const Send& send) {
  if (request.method == "PUT") {
    if (isTask) {
      WriteTask(request, path, QueryValue(query, "trace") == "1", send);
    } else {
      WriteCamera(request, path, send);
    }
    return;
  }
  if (request.method != "GET" && request.method != "HEAD") {
    send(Problem(405, "Not allowed", "a node is read with GET and written with PUT"));
    return;
  }
  int depth = 0;
  if (const auto text = QueryValue(query, "depth")) {
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
    return;
  }
  send({200, "application/json", Dump(NodeJson(*node, depth)), {}});
}

void Api::WriteTask(const ApiRequest& request, std::string_view path, bool traced,
                    const Send& send) {
  TARQ::CServerResource* const node = NodeAccess::Find(NodeAccess::Root(mCamera.TaskTree()), path);
  if (node == nullptr) {
    send(NoSuchNode(path));
    return;
  }
  const ParsedBody body = ParseBody(request.body);
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
      *node, *body.value, traced,
      [node, traced, send, room, name = std::string(path)](const Delivered& delivered) {
        room->Leave();
        if (delivered.status == TARQ::kStatusRefused) {
          send(Refused(name));
        } else {
          send({200, "application/json", Dump(DeliveredJson(*node, delivered, traced)), {}});
        }
      });
  if (started == Deliveries::Start::Busy) {
    send(Problem(409, "Busy", "an earlier write to this node is still running; try again later"));
  } else if (started == Deliveries::Start::NoThread) {
    send(NoRoom());
  }
}

// A camera-wide write may wait too: an advance of the clock, a ping.
void Api::WriteCamera(const ApiRequest& request, std::string_view path, const Send& send) {
  TARQ::CServerResource* const node =
      NodeAccess::Find(NodeAccess::Root(mCamera.CameraTree()), path);
  if (node == nullptr) {
    send(NoSuchNode(path));
    return;
  }
  ParsedBody body = ParseBody(request.body);
  if (!body.value) {
    send(body.problem);
    return;
  }
  const auto room = TakeRoom();
  const bool runs = room != nullptr &&
                    mRunLong([node, send, room, value = *body.value, name = std::string(path)] {
                      const DWORD status = NodeAccess::Write(*node, value);
                      room->Leave();
                      if (status != 0) {
                        send(Refused(name));
                        return;
                      }
                      CResourceValue stored("");
                      Json json;
                      json["status"] = 0;
                      json["value"] =
                          NodeAccess::Read(*node, stored) == 0 ? ValueJson(stored) : Json(nullptr);
                      json["records"] = Json::array();
                      send({200, "application/json", Dump(json), {}});
                    });
  if (!runs) send(NoRoom());
}

ApiReply Api::ReadFile(std::string_view path) const {
  const auto file = mCamera.Files().Resolve(path);
  std::error_code error;
  if (!file || !std::filesystem::is_regular_file(*file, error)) {
    return Problem(404, "No such file", "the camera's storage has no file " + std::string(path));
  }
  if (std::filesystem::file_size(*file, error) > kMostFile && !error) {
    return Problem(413, "Too large",
                   "a file of more than 16 MiB is not sent; read it from the "
                   "folder that stands for the storage");
  }
  std::ifstream stream(*file, std::ios::binary);
  if (!stream) return Problem(403, "Not readable", "the file cannot be read");
  std::string contents{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
  return {200, "text/plain; charset=utf-8", std::move(contents), {}};
}

}  // namespace desk
