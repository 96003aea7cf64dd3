#include "station/service/json.h"

#include <algorithm>
#include <array>

#include "station/report/writers.h"
#include "station/runner/run.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr std::size_t kDate = 10;  // of a time's text

std::string WithoutBlanks(const std::string& text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

Json NamesJson(const std::vector<settings::ListedName>& names) {
  Json json = Json::array();
  for (const settings::ListedName& each : names) json.push_back(each.name);
  return json;
}

void AddKnown(Json& json, const AttemptReport& attempt, const std::string& variant) {
  const client::TestGuide* const guide =
      HasFailed(attempt) ? client::GuideOf(attempt.className) : nullptr;
  const client::ResultGuide* const result = guide == nullptr ? nullptr : guide->Find(attempt.code);
  json["about"] = guide == nullptr ? "" : guide->about;
  json["means"] = result == nullptr ? "" : result->means;
  json["try"] = result == nullptr ? "" : result->remedy;
  json["causes"] = Json::array();
  if (HasFailed(attempt)) {
    json["causes"] =
        CausesJson(client::CausesOf(attempt.item, attempt.className, attempt.code, variant));
  }
}

Json AttemptJson(const RunReport& report, const AttemptReport& attempt) {
  Json json = {{"number", attempt.number},
               {"item", attempt.item},
               {"class", attempt.className},
               {"round", attempt.round},
               {"retry", attempt.retry},
               {"started_at", TimeText(attempt.startedAt)},
               {"result", ResultText(report, attempt)},
               {"passed", attempt.passed},
               {"seconds", attempt.seconds},
               {"status", attempt.status},
               {"value", WithoutBlanks(attempt.value)},
               {"message", attempt.message},
               {"problem", attempt.problem}};
  json["measurements"] = Json::array();
  for (const MeasurementRecord& each : attempt.measurements) {
    json["measurements"].push_back(JsonOf(each));
  }
  AddKnown(json, attempt, report.run.variant);
  return json;
}

}  // namespace

bool NeedsOperator(std::string_view className, std::string_view item) {
  static constexpr std::array<std::string_view, 4> kClasses = {
      "CResBitButtons", "CResBitTouchScreen", "CResBitLaser", "CResBitLCD_I"};
  if (std::any_of(kClasses.begin(), kClasses.end(),
                  [className](std::string_view each) { return className.starts_with(each); })) {
    return true;
  }
  return className == "CResBitLCD" && !item.ends_with(".bitmaps");
}

std::string TextOf(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

http::Reply JsonReply(const Json& json, unsigned status) {
  return {status, "application/json", TextOf(json)};
}

Json RunJson(const RunReport& report) {
  Json json = SummaryOf(report.run);
  json["scanned_serial"] = report.run.scannedSerial;
  json["camera_time"] = report.run.cameraTime;
  json["versions"] = report.run.versions;
  json["plan_text"] = report.run.planText;
  json["progress"] = nullptr;
  json["attempts"] = Json::array();
  for (const AttemptReport& each : report.attempts) {
    json["attempts"].push_back(AttemptJson(report, each));
  }
  return json;
}

Json CausesJson(const std::vector<client::Cause>& causes) {
  Json json = Json::array();
  for (const client::Cause& cause : causes) {
    json.push_back({{"what", cause.what},
                    {"part", cause.part},
                    {"variants", cause.variants},
                    {"try", client::RemedyFor(cause.part)}});
  }
  return json;
}

void AddProgress(Json& json, const UnderWay& run) {
  json["item"] = run.item;
  json["done"] = run.done;
  json["left"] = run.left;
  json["time_left_ms"] = run.timeLeft ? Json(run.timeLeft->count()) : Json();
}

Json ScreenJson(const CameraFacts& camera) {
  Json screen = camera.screen;
  if (!screen.is_object() || !screen.contains("timeout_ms")) return screen;
  Json& left = screen["timeout_ms"];
  if (left.is_number()) {
    const auto passed = static_cast<double>(Now() - camera.screenToldAt);
    left = std::max(0.0, left.get<double>() - passed);
  }
  return screen;
}

Json CameraJson(const CameraFacts& camera) {
  Json json = {{"id", camera.id},
               {"name", camera.address.name},
               {"address", camera.address.Text()},
               {"serial", camera.serial},
               {"product", camera.product},
               {"is_desk", camera.isDesk},
               {"state", camera.State()},
               {"problem", camera.problem},
               {"run", nullptr},
               {"screen", ScreenJson(camera)},
               {"last_run", nullptr}};
  if (camera.run) {
    const RunRecord& run = camera.run->run;
    json["run"] = {{"id", run.id},
                   {"plan", run.planTitle},
                   {"operator", run.operatorName},
                   {"started_at", TimeText(run.startedAt)}};
    AddProgress(json["run"], *camera.run);
    json["run"]["waits"] = camera.run->waits;
  }
  if (camera.lastRun) {
    const RunRecord& run = *camera.lastRun;
    json["last_run"] = {{"id", run.id},
                        {"plan", run.planTitle},
                        {"outcome", OutcomeText(run.outcome)},
                        {"reason", run.reason},
                        {"ended_at", run.endedAt ? Json(TimeText(*run.endedAt)) : Json()}};
  }
  return json;
}

Json ItemJson(const client::TestItem& item) {
  const std::string name = client::ItemName(item.path);
  return {{"path", item.path},
          {"class", item.className},
          {"group", name.substr(0, name.find('.'))},
          {"value", WithoutBlanks(item.value)},
          {"interactive", NeedsOperator(item.className, item.path)}};
}

Json YieldJson(const YieldRow& row) {
  return {{"week", TimeText(row.week).substr(0, kDate)},
          {"variant", row.variant},
          {"cameras", row.cameras},
          {"passed", row.passed},
          {"incomplete", row.incomplete}};
}

Json FailureJson(const FailureRow& row) {
  Json codes = Json::array();
  for (const CodeCount& each : row.codes) {
    codes.push_back({{"code", each.code}, {"attempts", each.attempts}});
  }
  return {{"item", row.item}, {"attempts", row.attempts}, {"codes", codes}};
}

Json TrendJson(const TrendPoint& point) {
  Json json = {
      {"started_at", TimeText(point.startedAt)}, {"run", point.run}, {"serial", point.serial}};
  json.update(JsonOf(point.measurement));
  json.erase("name");
  return json;
}

Json UserJson(const UserRecord& user) {
  Json json{{"name", user.name}, {"role", user.role}, {"disabled_at", nullptr}};
  if (user.disabledAt) json["disabled_at"] = TimeText(*user.disabledAt);
  return json;
}

Json PlanJson(const Plan& plan, const std::string& name) {
  return {{"name", name},
          {"title", plan.title},
          {"items", NamesJson(plan.items)},
          {"except", NamesJson(plan.except)},
          {"rounds", plan.rounds},
          {"hours", plan.hours},
          {"retries", plan.retries},
          {"on_failure", plan.stopsOnFailure ? "stop" : "go on"},
          {"asks_operator", plan.asksOperator},
          {"text", plan.text},
          {"error", ""}};
}

Json EvidenceJson(const std::vector<EvidenceRecord>& evidence, const std::string& picture) {
  Json json;
  AddEvidence(json, evidence);
  if (!json["picture"].is_null()) json["picture"] = picture;
  return json;
}

Json ResultJson(const client::ResultGuide& guide, const std::vector<client::Cause>& causes) {
  return {{"result", guide.code},
          {"means", guide.means},
          {"try", guide.remedy},
          {"causes", CausesJson(causes)}};
}

}  // namespace station
