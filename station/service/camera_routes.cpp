// What cameras tell, and what is done to them.
#include <algorithm>
#include <charconv>
#include <chrono>
#include <thread>

#include "client/log_lines.h"
#include "client/run_plan.h"
#include "station/runner/run.h"
#include "station/service/api.h"
#include "station/service/json.h"
#include "station/service/refusal.h"

namespace station {

using http::Reply;

namespace {

// As the camera takes it; -1: it is no whole number.
std::int64_t CoordinateIn(const Json& body, const char* key) {
  const bool isWhole = body.contains(key) && body[key].is_number_unsigned();
  return isWhole ? body[key].get<std::int64_t>() : -1;
}

}  // namespace

CameraState& Api::CameraOf(const std::string& id) {
  const auto found = std::find_if(mParts.cameras.begin(), mParts.cameras.end(),
                                  [&id](const CameraState& each) { return each.Id() == id; });
  if (found != mParts.cameras.end()) return *found;
  std::string known;
  for (const CameraState& each : mParts.cameras) {
    known.append(known.empty() ? "" : ", ").append(each.Id());
  }
  throw NoSuch("there is no camera " + id + "; there are: " + known);
}

client::CameraClient Api::ClientOf(const CameraState& camera) const {
  constexpr client::TimeOuts kPatience{std::chrono::seconds(5), std::chrono::seconds(10)};
  constexpr std::chrono::seconds kWrite{30};
  const auto deadline = std::chrono::steady_clock::now() + kWrite;
  return {camera.Address().host, camera.Address().port,
          [this, deadline] { return mEnds || std::chrono::steady_clock::now() > deadline; },
          kPatience};
}

Api::Answer Api::GetCameras(const Call& /*call*/) {
  // Before the cameras are looked at: of what came until then they know.
  const std::string event = mParts.events.Name() + "-" + std::to_string(mParts.events.Newest());
  Json cameras = Json::array();
  for (const CameraState& each : mParts.cameras) cameras.push_back(CameraJson(each.Facts()));
  return JsonReply({{"cameras", cameras}, {"event", event}});
}

Api::Answer Api::GetCamera(const Call& call) {
  return JsonReply(CameraJson(CameraOf(call.names[0]).Facts()));
}

Api::Answer Api::GetItems(const Call& call) {
  client::CameraClient camera = ClientOf(CameraOf(call.names[0]));
  Json items = Json::array();
  for (const client::TestItem& each : client::TestItems(camera)) items.push_back(ItemJson(each));
  return JsonReply({{"items", items}});
}

Api::Answer Api::GetScreen(const Call& call) {
  const CameraState& camera = CameraOf(call.names[0]);
  try {
    return JsonReply(ClientOf(camera).Screen());
  } catch (const client::RefusedError& error) {
    if (!error.IsUnknown()) throw;
    throw NoSuch("camera " + camera.Id() + " does not tell what is on its screen");
  }
}

Api::Answer Api::GetPicture(const Call& call) {
  const bool viewFinder = call.target.QueryValue("display") == "viewfinder";
  CameraState& camera = CameraOf(call.names[0]);
  return Reply{200, "image/png",
               camera.Picture(viewFinder, [&] { return ClientOf(camera).Picture(viewFinder); })};
}

Api::Answer Api::GetKnobs(const Call& call) {
  return JsonReply(ClientOf(CameraOf(call.names[0])).Knobs());
}

Api::Answer Api::GetTree(const Call& call) {
  constexpr std::size_t kDeepest = 32;
  const auto depth = static_cast<int>(call.WishedCount("depth", 0, kDeepest));
  const std::string path = call.names.size() > 1 ? call.names[1] : "";  // the root
  return JsonReply(ClientOf(CameraOf(call.names[0])).Get(path, depth));
}

Api::Answer Api::GetLog(const Call& call) {
  static constexpr const char* kKinds[] = {"header", "record", "fragment"};
  const bool isSystems = call.target.QueryValue("system") == "1";
  std::string text;
  try {
    text = ClientOf(CameraOf(call.names[0]))
               .File(isSystems ? "FlashFS/log/syslog.txt" : "FlashFS/tmp/bitlog.txt");
  } catch (const client::RefusedError& error) {
    // A healthy camera has no system log until something is written to it.
    if (!isSystems || !error.IsUnknown()) throw;
  }
  Json lines = Json::array();
  for (const client::LogLine& line : client::LogLines(text)) {
    lines.push_back({{"kind", kKinds[static_cast<std::size_t>(line.kind)]}, {"text", line.text}});
  }
  return JsonReply({{"lines", lines}});
}

Json Api::SetKnob(const Call& call, const std::string& path, const Json& value) {
  CameraState& camera = CameraOf(call.names[0]);
  try {
    Json reply = ClientOf(camera).Set("." + path, value);
    camera.ForgetPictures();
    return reply;
  } catch (const client::RefusedError& error) {
    if (!error.IsUnknown()) throw;
    throw NoSuch(camera.Facts().isDesk
                     ? "camera " + camera.Id() + " has no knob " + path
                     : "camera " + camera.Id() +
                           " is no desk camera: it has neither knobs, nor keys and touches to be "
                           "pressed from here");
  }
}

Api::Answer Api::PutKey(const Call& call) {
  const auto key = TextIn(call.Body(), "key");
  if (!key) throw Malformed(R"(the body is not of the form {"key": "Up"})");
  SetKnob(call, "desk.key", *key);
  return JsonReply({{"key", *key}});
}

Api::Answer Api::PutTouch(const Call& call) {
  const Json body = call.Body();
  const std::int64_t x = CoordinateIn(body, "x");
  const std::int64_t y = CoordinateIn(body, "y");
  if (x < 0 || y < 0) throw Malformed(R"(the body is not of the form {"x": 320, "y": 176})");
  SetKnob(call, "desk.touch", std::to_string(x) + "," + std::to_string(y));
  return JsonReply({{"x", x}, {"y", y}});
}

// Its button, for as long as a finger stays on it: also where the client leaves meanwhile.
Api::Answer Api::PutLaser(const Call& call) {
  constexpr std::chrono::milliseconds kPressed{1000};
  constexpr char kButton[] = "desk.laser.pressed";
  SetKnob(call, kButton, true);
  std::this_thread::sleep_for(kPressed);
  SetKnob(call, kButton, false);
  return JsonReply({{"pressed_ms", kPressed.count()}});
}

Api::Answer Api::PutKnob(const Call& call) {
  const std::string& path = call.names[1];
  const Json body = call.Body();
  if (!body.contains("value")) throw Malformed(R"(the body is not of the form {"value": ...})");
  if (!path.starts_with("desk.")) throw NoSuch(path + " is no knob: they begin with desk.");
  const Json reply = SetKnob(call, path, body["value"]);
  mParts.runs.Audit(WhoActs(call, body), "knob " + path + " of camera " + call.names[0] +
                                             " set to " + TextOf(body["value"]));
  return JsonReply({{"path", path}, {"value", reply["value"]}});
}

// Healthy it stays the camera that it was: the serial that it was started with is not the
// variant's.
Api::Answer Api::PostRestore(const Call& call) {
  const Json body = call.Body();
  CameraState& camera = CameraOf(call.names[0]);
  const std::string known = camera.Facts().serial;
  SetKnob(call, "desk.restore", true);
  client::CameraClient client = ClientOf(camera);
  const std::string serial = IdentityOf(client).serial;
  if (known.empty() || known == kUnknown) {
    camera.Change([&serial](CameraFacts& facts) { facts.serial = serial; });
  } else if (known != serial) {
    client.Set(".version.product.serial", known);
  }
  mParts.runs.Audit(WhoActs(call, body), "camera " + call.names[0] + " restored");
  return JsonReply({{"restored", true}});
}

}  // namespace station
