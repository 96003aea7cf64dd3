// Routes, who may, and what the station says of itself.
#include "station/service/api.h"

#include <algorithm>
#include <charconv>

#include "http/event_stream.h"
#include "http/json_body.h"
#include "station/page/page_files.h"
#include "station/runner/plan.h"
#include "station/service/json.h"
#include "station/service/refusal.h"
#include "station/store/text.h"

namespace station {

using http::Problem;
using http::Reply;

namespace {

using Names = std::vector<std::string>;

Names PartsOf(std::string_view path) {
  Names parts;
  while (!path.empty()) {
    path.remove_prefix(1);
    const std::size_t end = std::min(path.find('/'), path.size());
    parts.emplace_back(path.substr(0, end));
    path.remove_prefix(end);
  }
  return parts;
}

// Each part decoded by itself: a name may have a '/'. None where an escape is malformed.
std::optional<Names> DecodedParts(std::string_view target) {
  Names parts = PartsOf(target.substr(0, target.find('?')));
  for (std::string& part : parts) {
    auto decoded = http::ParseTarget(part);
    if (!decoded) return std::nullopt;
    part = std::move(decoded->path);
  }
  return parts;
}

// "{}", or "{}.html": a name that is not empty, and what follows it.
std::optional<std::string> NameIn(const std::string& part, std::string_view pattern) {
  const std::string_view suffix = pattern.substr(2);
  if (part.size() <= suffix.size() || !part.ends_with(suffix)) return std::nullopt;
  return part.substr(0, part.size() - suffix.size());
}

// What stands in place of the braces; none: it is another path.
std::optional<Names> Matched(const Names& parts, std::string_view path) {
  const Names patterns = PartsOf(path);
  if (parts.size() != patterns.size()) return std::nullopt;
  Names names;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (!patterns[i].starts_with("{}")) {
      if (parts[i] != patterns[i]) return std::nullopt;
      continue;
    }
    auto name = NameIn(parts[i], patterns[i]);
    if (!name) return std::nullopt;
    names.push_back(std::move(*name));
  }
  return names;
}

}  // namespace

const std::vector<Api::Route>& Api::Routes() {
  using enum Role;
  static const std::vector<Route> kRoutes = {
      {"GET", "/", Anybody, &Api::GetPage, true},
      {"GET", "/healthz", Anybody, &Api::GetHealth},
      {"GET", "/metrics", Anybody, &Api::GetMetrics},
      {"POST", "/api/v1/sign-in", Anybody, &Api::PostSignIn},
      {"POST", "/api/v1/sign-out", Anybody, &Api::PostSignOut},
      {"GET", "/api/v1/users", Administrator, &Api::GetUsers},
      {"POST", "/api/v1/users", Administrator, &Api::PostUser},
      {"PUT", "/api/v1/users/{}", Administrator, &Api::PutUser},
      {"GET", "/api/v1/station", Operator, &Api::GetStation},
      {"GET", "/api/v1/events", Operator, &Api::GetEvents, true},
      {"GET", "/api/v1/plans", Operator, &Api::GetPlans},
      {"GET", "/api/v1/explain", Operator, &Api::GetExplanation},
      {"GET", "/api/v1/cameras", Operator, &Api::GetCameras},
      {"GET", "/api/v1/cameras/{}", Operator, &Api::GetCamera},
      {"GET", "/api/v1/cameras/{}/items", Operator, &Api::GetItems},
      {"GET", "/api/v1/cameras/{}/screen", Operator, &Api::GetScreen},
      {"GET", "/api/v1/cameras/{}/screen.png", Operator, &Api::GetPicture},
      {"GET", "/api/v1/cameras/{}/knobs", Operator, &Api::GetKnobs},
      {"GET", "/api/v1/cameras/{}/tree", Operator, &Api::GetTree},
      {"GET", "/api/v1/cameras/{}/tree/{}", Operator, &Api::GetTree},
      {"GET", "/api/v1/cameras/{}/log", Operator, &Api::GetLog},
      {"PUT", "/api/v1/cameras/{}/keys", Operator, &Api::PutKey},
      {"PUT", "/api/v1/cameras/{}/touch", Operator, &Api::PutTouch},
      {"PUT", "/api/v1/cameras/{}/laser", Operator, &Api::PutLaser},
      {"PUT", "/api/v1/cameras/{}/knobs/{}", Engineer, &Api::PutKnob},
      {"POST", "/api/v1/cameras/{}/restore", Engineer, &Api::PostRestore},
      {"GET", "/api/v1/runs", Operator, &Api::GetRuns},
      {"POST", "/api/v1/runs", Operator, &Api::PostRun},
      {"GET", "/api/v1/runs/{}.html", Operator, &Api::GetReport},
      {"GET", "/api/v1/runs/{}.json", Operator, &Api::GetExport},
      {"GET", "/api/v1/runs/{}.sig", Operator, &Api::GetExport},
      {"GET", "/api/v1/runs/{}.measurements.csv", Operator, &Api::GetExport},
      {"GET", "/api/v1/runs/{}.csv", Operator, &Api::GetExport},
      {"GET", "/api/v1/runs/{}.xml", Operator, &Api::GetExport},
      {"GET", "/api/v1/runs/{}", Operator, &Api::GetRun},
      {"POST", "/api/v1/runs/{}/abort", Operator, &Api::PostAbort},
      {"POST", "/api/v1/runs/{}/resume", Operator, &Api::PostResume},
      {"PUT", "/api/v1/runs/{}/note", Operator, &Api::PutNote},
      {"GET", "/api/v1/runs/{}/attempts/{}/evidence", Operator, &Api::GetEvidence},
      {"GET", "/api/v1/runs/{}/attempts/{}/picture.png", Operator, &Api::GetEvidencePicture},
      {"GET", "/api/v1/statistics/yield", Operator, &Api::GetYield},
      {"GET", "/api/v1/statistics/failures", Operator, &Api::GetFailures},
      {"GET", "/api/v1/statistics/trend", Operator, &Api::GetTrend},
      {"GET", "/api/v1/statistics/measurements", Operator, &Api::GetMeasurements},
      {"GET", "/api/v1/statistics/curves", Operator, &Api::GetCurves},
      {"GET", "/{}", Anybody, &Api::GetPage, true},
  };
  return kRoutes;
}

Api::Api(Parts parts, Longer longer) : mParts(std::move(parts)), mLonger(std::move(longer)) {}

Api::Answer Api::Misdirected(const http::Request& request) const {
  constexpr const char* kTitle = "Not from here";
  if (mParts.signIns == nullptr) {
    if (http::IsLocal(request) && http::IsItsOwn(request, "http")) return std::nullopt;
    return Problem(403, kTitle,
                   "this station answers requests to localhost only, of pages its own alone");
  }
  if (!http::IsFor(request, mParts.config.hosts)) {
    return Problem(403, kTitle,
                   "this station answers by the names that its settings list as hosts, and its own "
                   "page alone");
  }
  if (request.isSecure) return std::nullopt;
  Reply reply = Problem(403, kTitle, "this station answers https alone");
  // Whoever typed the name alone comes to the page all the same.
  const bool isRead = request.method == "GET" || request.method == "HEAD";
  if (isRead && request.target.starts_with("/")) {
    reply.status = 308;
    reply.headers.emplace_back("Location", "https://" + request.host + request.target);
  }
  return reply;
}

void Api::Handle(const http::Request& request, const http::Send& send) {
  if (auto answer = Misdirected(request)) {
    send(std::move(*answer));
    return;
  }
  const auto target = http::ParseTarget(request.target);
  const auto parts = DecodedParts(request.target);
  if (!target || !parts) {
    send(Problem(400, "Malformed", "the path has a malformed percent escape"));
    return;
  }
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  std::string others;
  for (const Route& route : Routes()) {
    auto names = Matched(*parts, route.path);
    if (!names) continue;
    if (route.method != method) {
      if (others.find(route.method) == std::string::npos)
        others.append(others.empty() ? "" : ", ").append(route.method);
      continue;
    }
    Call call{request, *target, std::move(*names), Actor(), send};
    // Who asks is looked up where others need not wait for it.
    const bool isOpen = mParts.signIns == nullptr || route.least == Role::Anybody;
    if (route.isQuick && isOpen) {
      Answers(route, std::move(call));
    } else if (!mLonger([this, &route, call] { Answers(route, call); })) {
      send(Problem(503, "No room", "the machine has no thread left; try again later"));
    }
    return;
  }
  if (others.empty()) {
    send(Problem(
        404, "No such resource",
        "there is nothing at " + target->path + "; docs/station-api.md lists what there is"));
    return;
  }
  Reply reply = Problem(405, "Not allowed", "that path takes " + others);
  reply.headers.emplace_back("Allow", others);
  send(std::move(reply));
}

void Api::Answers(const Route& route, Call call) {
  Answer answer;
  try {
    // On the loopback address nobody signs in.
    call.actor = mParts.signIns == nullptr
                     ? Actor{"", Role::Administrator}
                     : mParts.signIns->WhoHas(http::CookieOf(call.request, kSessionCookie));
    if (call.actor.role < route.least) {
      if (call.actor.role == Role::Anybody) {
        throw Refusal(401, "Not signed in", "sign in first: POST /api/v1/sign-in");
      }
      throw Refusal(403, "Not allowed",
                    std::string("that takes the role ").append(RoleText(route.least)));
    }
    answer = (this->*route.answer)(call);
  } catch (const StoreError&) {
    // Where it is and what its server says is for those who have signed in.
    answer =
        call.actor.role == Role::Anybody
            ? Problem(503, "Not kept",
                      "the database does not answer; on the station, diagor-station runs says why")
            : ProblemOfException();
  } catch (...) {
    answer = ProblemOfException();
  }
  if (answer) call.send(std::move(*answer));
}

std::optional<std::string> Api::Call::Wish(std::string_view name) const {
  const auto text = target.QueryValue(name);
  if (!text || text->empty()) return std::nullopt;
  auto decoded = http::DecodedQuery(*text);
  if (!decoded) throw Malformed(std::string(name).append(" has a malformed percent escape"));
  return decoded;
}

std::optional<Time> Api::Call::WishedTime(std::string_view name) const {
  constexpr std::size_t kDate = 10;
  const auto text = Wish(name);
  if (!text) return std::nullopt;
  const auto time = TimeOf(text->size() == kDate ? *text + "T00:00:00Z" : *text);
  if (!time) {
    throw Malformed(std::string(name).append(" is no time, as 2026-11-25 or 2026-11-25T08:30:00Z"));
  }
  return time;
}

std::size_t Api::Call::WishedCount(std::string_view name, std::size_t usual,
                                   std::size_t most) const {
  const auto text = Wish(name);
  if (!text) return usual;
  std::size_t count = 0;
  const char* const end = text->data() + text->size();
  const auto parsed = std::from_chars(text->data(), end, count);
  if (parsed.ec != std::errc() || parsed.ptr != end || count > most) {
    throw Malformed(std::string(name).append(" is no number up to ").append(std::to_string(most)));
  }
  return count;
}

Json Api::Call::Body() const {
  if (request.body.empty()) return Json::object();
  auto [json, problem] = http::ParseJson(request.body);
  if (!problem.empty()) throw Malformed(problem);
  if (!json.is_object()) throw Malformed("the body is no JSON object");
  return json;
}

std::optional<std::string> TextIn(const Json& body, const char* key) {
  if (!body.contains(key)) return std::nullopt;
  if (!body[key].is_string()) throw Malformed(std::string(key).append(" is no text"));
  // It goes into JSON and into the camera's records.
  return Settled(body[key].get<std::string>());
}

bool FlagIn(const Json& body, const char* key) {
  if (!body.contains(key)) return false;
  if (!body[key].is_boolean())
    throw Malformed(std::string(key).append(" is neither true nor false"));
  return body[key].get<bool>();
}

std::string Api::WhoActs(const Call& call, const Json& body) const {
  if (!call.actor.name.empty()) return call.actor.name;
  const std::string said = TextIn(body, "operator").value_or("");
  return said.empty() ? mParts.machineUser : said;
}

// The page's files are a part of the program: a browser asks for them anew after each update.
Api::Answer Api::GetPage(const Call& call) {
  const std::string name = call.names.empty() ? "" : call.names[0];
  const PageFile* const file = FindPageFile(name);
  if (file == nullptr) {
    return Problem(404, "No such resource",
                   "there is nothing at /" + name + "; docs/station-api.md lists what there is");
  }
  return Reply{.contentType = std::string(file->contentType),
               .body = std::string(file->bytes),
               .headers = {{"Content-Security-Policy", std::string(PagePolicy())}}};
}

Api::Answer Api::GetStation(const Call& call) {
  const auto waiting = std::count_if(
      mParts.cameras.begin(), mParts.cameras.end(),
      [](const CameraState& camera) { return camera.Facts().State().starts_with("waits"); });
  return JsonReply({{"name", mParts.config.name},
                    {"version", mParts.version},
                    {"who", call.actor.name},
                    {"role", RoleText(call.actor.role)},
                    {"plans", PlanNames(mParts.config.plans.string()).size()},
                    {"cameras", mParts.cameras.size()},
                    {"waiting", waiting}});
}

Api::Answer Api::GetHealth(const Call& /*call*/) {
  mParts.store.Runs({}, std::nullopt, 1);
  return JsonReply({{"status", "ok"}});
}

Api::Answer Api::GetMetrics(const Call& /*call*/) {
  std::string text;
  const auto add = [&text](const std::string& name, const char* kind, const std::string& label,
                           const auto& counts) {
    text.append("# TYPE diagor_station_").append(name).append(" ").append(kind).append("\n");
    for (const auto& [value, count] : counts) {
      text.append("diagor_station_").append(name).append("{").append(label).append("=\"");
      text.append(value).append("\"} ").append(std::to_string(count)).append("\n");
    }
  };
  std::map<std::string, std::uint64_t> states;
  for (const CameraState& camera : mParts.cameras) ++states[camera.Facts().State()];
  const Runs::Counts counts = mParts.runs.CountsNow();
  add("runs_total", "counter", "outcome", counts.runs);
  add("attempts_total", "counter", "result", counts.attempts);
  add("cameras", "gauge", "state", states);
  return Reply{200, "text/plain; version=0.0.4; charset=utf-8", text};
}

Api::Answer Api::GetEvents(const Call& call) {
  const std::string last =
      call.request.lastEvent.empty() ? call.Wish("after").value_or("") : call.request.lastEvent;
  std::shared_ptr<http::Stream> stream = std::make_shared<http::EventStream<Events>>(
      mParts.events, last, [](const StationEvent& event) { return event.data; });
  if (mParts.signIns != nullptr) {
    stream =
        mParts.signIns->Guarded(std::move(stream), http::CookieOf(call.request, kSessionCookie));
  }
  return Reply{200, "text/event-stream", "", nullptr, std::move(stream)};
}

Api::Answer Api::GetPlans(const Call& /*call*/) {
  const std::string folder = mParts.config.plans.string();
  Json plans = Json::array();
  for (const std::string& name : PlanNames(folder)) {
    try {
      plans.push_back(PlanJson(FindPlan(name, folder), name));
    } catch (const std::runtime_error& error) {
      plans.push_back({{"name", name}, {"error", error.what()}});
    }
  }
  return JsonReply({{"plans", plans}});
}

Api::Answer Api::GetExplanation(const Call& call) {
  const std::string className = call.Wish("class").value_or("");
  const client::TestGuide* const guide = client::GuideOf(className);
  if (guide == nullptr) throw NoSuch("there is no test of a class \"" + className + "\"");
  const std::string item = call.Wish("item").value_or("");
  const std::string variant = call.Wish("variant").value_or("");
  const auto code = call.Wish("code");
  const auto resultOf = [&](const client::ResultGuide& result, const std::string& told) {
    return ResultJson({told, result.means, result.remedy},
                      client::CausesOf(item, className, told, variant));
  };
  Json results = Json::array();
  if (code) {
    const client::ResultGuide* const result = guide->Find(*code);
    if (result == nullptr)
      throw NoSuch("a test of the class " + className + " has no result " + *code);
    results.push_back(resultOf(*result, *code));
  } else {
    for (const client::ResultGuide& each : guide->results) {
      results.push_back(resultOf(each, each.code));
    }
  }
  return JsonReply(
      {{"item", item}, {"class", className}, {"about", guide->about}, {"results", results}});
}

}  // namespace station
