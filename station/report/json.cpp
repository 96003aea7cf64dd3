// A run as JSON: what is signed.
#include "station/report/encoding.h"
#include "station/report/writers.h"
#include "station/store/text.h"

namespace station {

namespace {

using client::Json;

Json TimeOrNull(const std::optional<Time>& time) {
  return time ? Json(TimeText(*time)) : Json();
}

Json NumberOrNull(const std::optional<double>& number) {
  return number ? Json(*number) : Json();
}

Json JsonOfAttempt(const RunReport& report, const AttemptReport& attempt) {
  Json json;
  json["number"] = attempt.number;
  json["item"] = attempt.item;
  json["class"] = attempt.className;
  json["round"] = attempt.round;
  json["retry"] = attempt.retry;
  json["started_at"] = TimeText(attempt.startedAt);
  json["result"] = ResultText(report, attempt);
  json["passed"] = attempt.passed;
  json["seconds"] = attempt.seconds;
  json["status"] = attempt.status;
  json["value"] = attempt.value;
  json["message"] = attempt.message;
  json["problem"] = attempt.problem;
  json["measurements"] = Json::array();
  for (const MeasurementRecord& each : attempt.measurements) {
    json["measurements"].push_back(JsonOf(each));
  }
  AddEvidence(json, attempt.evidence);
  return json;
}

}  // namespace

Json JsonOf(const MeasurementRecord& measurement) {
  return {{"name", measurement.name},
          {"unit", measurement.unit},
          {"value", measurement.value},
          {"lower", NumberOrNull(measurement.lower)},
          {"upper", NumberOrNull(measurement.upper)}};
}

void AddEvidence(Json& json, const std::vector<EvidenceRecord>& evidence) {
  json["records"] = Json::array();
  json["trace"] = nullptr;
  json["picture"] = nullptr;
  for (const EvidenceRecord& each : evidence) {
    switch (each.kind) {
      case EvidenceKind::Record:
        json["records"].push_back(Settled(each.bytes));
        break;
      case EvidenceKind::Trace: {
        Json trace = Json::parse(each.bytes, nullptr, false);
        if (trace.is_object()) json["trace"] = std::move(trace);
        break;
      }
      case EvidenceKind::Picture:
        json["picture"] = Base64(each.bytes);
        break;
    }
  }
}

Json SummaryOf(const RunRecord& run) {
  Json json;
  json["id"] = run.id;
  json["station"] = run.station;
  json["camera"] = {{"serial", run.serial}, {"name", run.cameraName}, {"variant", run.variant}};
  json["plan"] = run.planTitle;
  json["operator"] = run.operatorName;
  json["started_at"] = TimeText(run.startedAt);
  json["ended_at"] = TimeOrNull(run.endedAt);
  json["outcome"] = OutcomeText(run.outcome);
  json["reason"] = run.reason;
  json["note"] = run.note;
  return json;
}

std::string JsonOf(const RunReport& report, const std::string& key) {
  const RunRecord& run = report.run;
  Json json;
  json["format"] = "diagor run 1";
  json["key"] = key.empty() ? Json() : Json(key);
  json["id"] = run.id;
  json["station"] = run.station;
  json["versions"] = run.versions;
  json["camera"] = {{"serial", run.serial},
                    {"name", run.cameraName},
                    {"variant", run.variant},
                    {"scanned_serial", run.scannedSerial}};
  json["plan"] = {{"title", run.planTitle}, {"text", run.planText}};
  json["operator"] = run.operatorName;
  json["started_at"] = TimeText(run.startedAt);
  json["ended_at"] = TimeOrNull(run.endedAt);
  json["camera_time"] = run.cameraTime;
  json["outcome"] = OutcomeText(run.outcome);
  json["reason"] = run.reason;
  json["note"] = run.note;
  json["attempts"] = Json::array();
  for (const AttemptReport& attempt : report.attempts) {
    json["attempts"].push_back(JsonOfAttempt(report, attempt));
  }
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace station
