// Runs, and what many of them tell.
#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>

#include "station/report/writers.h"
#include "station/runner/run.h"
#include "station/service/api.h"
#include "station/service/json.h"
#include "station/service/refusal.h"
#include "station/store/text.h"

namespace station {

using http::Reply;

namespace {

std::string CursorText(const RunRecord& run) {
  return std::to_string(run.startedAt).append(".").append(run.id);
}

RunCursor CursorOf(const std::string& text) {
  RunCursor cursor;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, cursor.startedAt);
  if (parsed.ec != std::errc() || parsed.ptr == end || *parsed.ptr != '.') {
    throw Malformed("cursor is none that a page ended with");
  }
  cursor.id.assign(parsed.ptr + 1, end);
  return cursor;
}

std::int64_t NumberOf(const std::string& text) {
  std::int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end ? number : -1;
}

// Tests chosen by hand: JSON's texts are TOML's too.
Plan ChosenPlan(const Json& items) {
  const bool isList =
      items.is_array() && !items.empty() &&
      std::all_of(items.begin(), items.end(), [](const Json& each) { return each.is_string(); });
  if (!isList) throw Malformed(R"(items is no list of texts, as ["clock.*", "battery"])");
  return PlanOf("title = \"Chosen tests\"\nitems = " + TextOf(items) + "\n", "the tests chosen");
}

struct FileKind {
  std::string_view suffix;
  const char* contentType;
  void (*write)(std::ostream& out, const RunReport& report, const SigningKey& key);
};
// A suffix that ends another one comes behind it.
constexpr std::array<FileKind, 5> kFiles = {{
    {".json", "application/json",
     [](std::ostream& out, const RunReport& report, const SigningKey& key) {
       out << JsonOf(report, key.Id());
     }},
    {".sig", "application/octet-stream",
     [](std::ostream& out, const RunReport& report, const SigningKey& key) {
       out << key.Sign(JsonOf(report, key.Id()));
     }},
    {".measurements.csv", "text/csv; charset=utf-8",
     [](std::ostream& out, const RunReport& report, const SigningKey& /*key*/) {
       WriteMeasurements(out, report);
     }},
    {".csv", "text/csv; charset=utf-8",
     [](std::ostream& out, const RunReport& report, const SigningKey& /*key*/) {
       WriteAttempts(out, report);
     }},
    {".xml", "application/xml",
     [](std::ostream& out, const RunReport& report, const SigningKey& /*key*/) {
       WriteJunit(out, report);
     }},
}};

}  // namespace

RunRecord Api::RunOf(const std::string& id) {
  auto run = mParts.store.FindRun(id);
  if (!run) throw NoSuch("there is no run " + id);
  return *run;
}

RunFilter Api::FilterOf(const Call& call) const {
  RunFilter filter;
  filter.serial = call.Wish("serial");
  filter.variant = call.Wish("variant");
  filter.planTitle = call.Wish("plan");
  filter.operatorName = call.Wish("operator");
  filter.from = call.WishedTime("from");
  filter.to = call.WishedTime("to");
  if (const auto outcome = call.Wish("outcome")) {
    filter.outcome = OutcomeOf(*outcome);
    if (!filter.outcome) {
      throw Malformed("there is no outcome " + *outcome +
                      ": running, passed, passed on retry, failed, incomplete");
    }
  }
  return filter;
}

Api::Answer Api::GetRuns(const Call& call) {
  constexpr std::size_t kUsual = 50;
  constexpr std::size_t kMost = 500;
  const std::size_t limit = std::max<std::size_t>(1, call.WishedCount("limit", kUsual, kMost));
  std::optional<RunCursor> after;
  if (const auto cursor = call.Wish("cursor")) after = CursorOf(*cursor);
  auto runs = mParts.store.Runs(FilterOf(call), after, limit + 1);
  Json next;
  if (runs.size() > limit) {
    runs.pop_back();
    next = CursorText(runs.back());
  }
  Json json = Json::array();
  for (const RunRecord& run : runs) json.push_back(SummaryOf(run));
  return JsonReply({{"runs", json}, {"next", next}});
}

CameraState& Api::CameraOfSerial(const std::string& serial) {
  if (serial == kUnknown) throw Unfit("the camera tells no serial: it is to be named");
  std::string others;
  bool areAllThere = true;
  for (CameraState& camera : mParts.cameras) {
    const CameraFacts facts = camera.Facts();
    if (facts.isReachable && facts.serial == serial) return camera;
    areAllThere = areAllThere && facts.isReachable;
    others.append(others.empty() ? "" : ", ").append(camera.Id()).append(": ");
    others.append(facts.isReachable ? facts.serial : "not reachable");
  }
  const std::string what = "no camera has the serial " + serial + " (" + others + ")";
  throw areAllThere ? NoSuch(what) : Refusal(503, "Not reachable", what);
}

CameraState& Api::CameraForRun(const Json& body) {
  if (const auto id = TextIn(body, "camera")) return CameraOf(*id);
  const std::string serial = TextIn(body, "serial").value_or("");
  if (serial.empty()) throw Malformed("the body names no camera and no serial");
  return CameraOfSerial(serial);
}

RunRequest Api::RequestOf(const Call& call, const Json& body) const {
  RunRequest request;
  const auto plan = TextIn(body, "plan");
  const bool isChosen = body.contains("items");
  if (isChosen == plan.has_value()) throw Malformed("the body names a plan or items, not both");
  request.mayContradict = FlagIn(body, "despite_serial");
  if ((isChosen || request.mayContradict) && call.actor.role < Role::Engineer) {
    throw Refusal(403, "Not allowed", "tests chosen by hand, or another serial, take an engineer");
  }
  if (isChosen) {
    try {
      request.plan = ChosenPlan(body["items"]);
    } catch (const Refusal&) {
      throw;
    } catch (const std::runtime_error& error) {
      throw Unfit(error.what());
    }
  } else {
    const std::string folder = mParts.config.plans.string();
    const auto names = PlanNames(folder);
    // From the list alone: never a path from outside.
    if (std::find(names.begin(), names.end(), *plan) == names.end()) {
      throw NoSuch("there is no plan " + *plan + "; GET /api/v1/plans lists them");
    }
    try {
      request.plan = LoadPlan(folder + "/" + *plan + ".toml");
    } catch (const std::runtime_error& error) {
      throw Unfit(error.what());
    }
  }
  // Who has signed in tests, whoever the page says.
  request.operatorName =
      call.actor.name.empty() ? TextIn(body, "operator").value_or("") : call.actor.name;
  if (request.plan.asksOperator && request.operatorName.empty()) {
    throw Unfit("the plan " + *plan + " asks who tests: operator is missing");
  }
  constexpr std::size_t kLongestName = 512;
  if (request.operatorName.size() > kLongestName) throw Unfit("operator has more than 512 bytes");
  request.scannedSerial = TextIn(body, "serial").value_or("");
  return request;
}

Api::Answer Api::PostRun(const Call& call) {
  const Json body = call.Body();
  const RunRequest request = RequestOf(call, body);
  mParts.runs.Start(CameraForRun(body), request, WhoActs(call, body),
                    [&call](const RunRecord& run) {
                      constexpr unsigned kCreated = 201;
                      Reply reply = JsonReply(SummaryOf(run), kCreated);
                      reply.headers.emplace_back("Location", "/api/v1/runs/" + run.id);
                      call.send(std::move(reply));
                    });
  return std::nullopt;
}

Api::Answer Api::GetRun(const Call& call) {
  RunReport report;
  report.run = RunOf(call.names[0]);
  for (AttemptRecord& each : mParts.store.Attempts(report.run.id)) {
    report.attempts.push_back({std::move(each), {}});
  }
  Json json = RunJson(report);
  if (const auto camera = mParts.runs.CameraOf(report.run.id)) {
    Json& progress = json["progress"];
    progress = {{"camera", camera->id}};
    AddProgress(progress, *camera->run);
    progress["waits"] = camera->run->waits;
  }
  return JsonReply(json);
}

Api::Answer Api::PostAbort(const Call& call) {
  const Json body = call.Body();
  const bool isNow = FlagIn(body, "now");
  const RunRecord run = RunOf(call.names[0]);
  const std::string who = WhoActs(call, body);
  if (!mParts.runs.Abort(run.id, isNow)) {
    throw NotNow("run " + run.id + " is not under way at this station");
  }
  mParts.runs.Audit(who, "run " + run.id + " aborted" + (isNow ? " at once" : ""));
  return JsonReply(SummaryOf(run));
}

Api::Answer Api::PostResume(const Call& call) {
  const Json body = call.Body();
  const RunRecord run = RunOf(call.names[0]);
  if (mParts.runs.CameraOf(run.id)) throw NotNow("run " + run.id + " is under way");
  if (run.outcome != Outcome::Running && run.outcome != Outcome::Incomplete) {
    throw NotNow("run " + run.id + " is complete: " + std::string(OutcomeText(run.outcome)));
  }
  mParts.runs.Resume(CameraOfSerial(run.serial), run, WhoActs(call, body),
                     [&call](const RunRecord& begun) { call.send(JsonReply(SummaryOf(begun))); });
  return std::nullopt;
}

Api::Answer Api::PutNote(const Call& call) {
  const Json body = call.Body();
  const auto note = TextIn(body, "note");
  if (!note) throw Malformed(R"(the body is not of the form {"note": "..."})");
  RunRecord run = RunOf(call.names[0]);
  mParts.store.WriteNote(run.id, *note);
  mParts.runs.Audit(WhoActs(call, body), "note of run " + run.id + " written");
  run.note = *note;
  return JsonReply(SummaryOf(run));
}

Api::Answer Api::GetReport(const Call& call) {
  std::ostringstream text;
  WriteHtml(text, GatherReport(mParts.store, RunOf(call.names[0])), mParts.key.Id());
  return Reply{.contentType = "text/html; charset=utf-8",
               .body = std::move(text).str(),
               .headers = {{"Content-Security-Policy", HtmlPolicy() + "; sandbox"}}};
}

Api::Answer Api::GetExport(const Call& call) {
  const auto kind = std::find_if(kFiles.begin(), kFiles.end(), [&call](const FileKind& each) {
    return call.target.path.ends_with(each.suffix);
  });
  const RunReport report = GatherReport(mParts.store, RunOf(call.names[0]));
  const std::string name = "run-" + report.run.id + std::string(kind->suffix);
  std::ostringstream text;
  kind->write(text, report, mParts.key);
  mParts.runs.Audit(WhoActs(call, Json::object()),
                    "run " + report.run.id + " handed out as " + name);
  return Reply{.contentType = kind->contentType,
               .body = std::move(text).str(),
               .headers = {{"Content-Disposition", "attachment; filename=\"" + name + "\""}}};
}

Api::Answer Api::GetEvidence(const Call& call) {
  const RunRecord run = RunOf(call.names[0]);
  const std::int64_t number = NumberOf(call.names[1]);
  const auto attempts = mParts.store.Attempts(run.id);
  const bool isThere = std::any_of(attempts.begin(), attempts.end(),
                                   [number](const auto& each) { return each.number == number; });
  if (!isThere) throw NoSuch("run " + run.id + " has no attempt " + call.names[1]);
  const std::string picture =
      "/api/v1/runs/" + run.id + "/attempts/" + std::to_string(number) + "/picture.png";
  return JsonReply(EvidenceJson(mParts.store.Evidence(run.id, number), picture));
}

Api::Answer Api::GetEvidencePicture(const Call& call) {
  const RunRecord run = RunOf(call.names[0]);
  for (EvidenceRecord& each : mParts.store.Evidence(run.id, NumberOf(call.names[1]))) {
    if (each.kind == EvidenceKind::Picture) return Reply{200, "image/png", std::move(each.bytes)};
  }
  throw NoSuch("no picture of that attempt is kept");
}

Api::Answer Api::GetYield(const Call& call) {
  const auto plan = call.Wish("plan");
  if (!plan) throw Malformed("plan, a plan's title, is missing");
  Json rows = Json::array();
  for (const YieldRow& row : mParts.store.Yield(*plan, call.WishedTime("from").value_or(0),
                                                call.WishedTime("to").value_or(Now() + 1))) {
    rows.push_back(YieldJson(row));
  }
  return JsonReply({{"rows", rows}});
}

Api::Answer Api::GetFailures(const Call& call) {
  Json rows = Json::array();
  for (const FailureRow& row : mParts.store.Failures(FilterOf(call))) {
    rows.push_back(FailureJson(row));
  }
  return JsonReply({{"rows", rows}});
}

Api::Answer Api::GetMeasurements(const Call& /*call*/) {
  Json known = Json::array();
  for (const KnownMeasurement& each : mParts.store.Measurements()) {
    known.push_back({{"item", each.item}, {"name", each.name}, {"unit", each.unit}});
  }
  return JsonReply({{"measurements", known}});
}

// What else is kept as an item's trace has no curve.
Api::Answer Api::GetCurves(const Call& call) {
  constexpr std::size_t kUsual = 10;
  constexpr std::size_t kMost = 100;
  const std::size_t limit = std::max<std::size_t>(1, call.WishedCount("limit", kUsual, kMost));
  const std::string item = client::FullPath(call.Wish("item").value_or("items.cooler.cooler"));
  Json curves = Json::array();
  // Those that were kept before there were curves have none.
  for (const KeptTrace& each : mParts.store.Traces(item, call.Wish("serial"), 2 * limit)) {
    if (curves.size() == limit) break;
    const Json trace = Json::parse(each.bytes, nullptr, false);
    if (!trace.is_object() || !trace.contains("curve")) continue;
    curves.push_back({{"started_at", TimeText(each.startedAt)},
                      {"run", each.run},
                      {"serial", each.serial},
                      {"points", trace["curve"]}});
  }
  return JsonReply({{"curves", curves}});
}

Api::Answer Api::GetTrend(const Call& call) {
  constexpr std::size_t kUsual = 200;
  constexpr std::size_t kMost = 5000;
  TrendFilter filter;
  filter.item = call.Wish("item").value_or("");
  filter.measurement = call.Wish("measurement").value_or("");
  if (filter.item.empty() || filter.measurement.empty()) {
    throw Malformed("item and measurement must be there");
  }
  filter.item = client::FullPath(filter.item);
  filter.serial = call.Wish("serial");
  filter.from = call.WishedTime("from");
  filter.to = call.WishedTime("to");
  const std::size_t limit = std::max<std::size_t>(1, call.WishedCount("limit", kUsual, kMost));
  Json points = Json::array();
  for (const TrendPoint& point : mParts.store.Trend(filter, limit)) {
    points.push_back(TrendJson(point));
  }
  return JsonReply({{"points", points}});
}

}  // namespace station
