// runs and show: what is kept.
#include <algorithm>
#include <iomanip>
#include <iostream>

#include "client/results.h"
#include "diagor-station/command.h"
#include "station/report/run_report.h"
#include "station/report/writers.h"
#include "station/store/text.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

using station::RunRecord;

client::Json JsonOf(const RunRecord& run) {
  client::Json json;
  json["id"] = run.id;
  json["station"] = run.station;
  json["camera"] = {{"serial", run.serial}, {"name", run.cameraName}, {"variant", run.variant}};
  json["plan"] = run.planTitle;
  json["operator"] = run.operatorName;
  json["started_at"] = station::TimeText(run.startedAt);
  json["ended_at"] = run.endedAt ? client::Json(station::TimeText(*run.endedAt)) : client::Json();
  json["outcome"] = station::OutcomeText(run.outcome);
  json["reason"] = run.reason;
  json["note"] = run.note;
  return json;
}

}  // namespace

int Runs(Station& station, const Options& options) {
  const auto runs = station.store->Runs(FilterOf(options), std::nullopt, options.limit);
  if (options.json) {
    client::Json json = client::Json::array();
    for (const RunRecord& run : runs) json.push_back(JsonOf(run));
    PrintJson(json);
    return kNothingFailed;
  }
  std::cout << std::left << std::setw(38) << "RUN" << std::setw(21) << "STARTED" << std::setw(12)
            << "CAMERA" << std::setw(14) << "SERIAL" << std::setw(18) << "PLAN"
            << "OUTCOME\n";
  for (const RunRecord& run : runs) {
    std::cout << std::setw(38) << run.id << std::setw(21) << LocalText(run.startedAt)
              << std::setw(12) << Shown(run.cameraName) << std::setw(14) << Shown(run.serial)
              << std::setw(18) << Shown(run.planTitle) << station::OutcomeText(run.outcome);
    if (!run.reason.empty()) std::cout << " (" << Shown(run.reason) << ")";
    std::cout << "\n";
  }
  if (runs.size() == options.limit) {
    std::cout << "The " << options.limit << " latest; --limit shows more.\n";
  }
  return kNothingFailed;
}

int Show(Station& station, const Options& options) {
  const auto report = station::GatherReport(*station.store, FindRun(station, options.run));
  if (options.json) {
    std::cout << station::JsonOf(report, "");
    return kNothingFailed;
  }
  const RunRecord& run = report.run;
  std::cout << "Run       " << run.id << "\n"
            << "Outcome   " << station::OutcomeText(run.outcome)
            << (run.reason.empty() ? "" : " (" + Shown(run.reason) + ")") << "\n"
            << "Camera    " << Shown(run.cameraName) << ", " << Shown(run.variant) << ", serial "
            << Shown(run.serial) << "\n"
            << "Plan      " << Shown(run.planTitle) << "\n"
            << "Operator  " << Shown(run.operatorName) << "\n"
            << "Started   " << LocalText(run.startedAt) << "\n"
            << "Ended     " << (run.endedAt ? LocalText(*run.endedAt) : "") << "\n";
  if (!run.note.empty()) std::cout << "Note      " << Shown(run.note) << "\n";
  std::cout << "\n";
  client::Report results = station::ResultsOf(report);
  client::AddCauses(results);
  client::WriteTable(std::cout, results,
                     HasColours() ? client::TableStyle::Coloured : client::TableStyle::Terminal,
                     !options.quiet);
  return kNothingFailed;
}

}  // namespace station_tool
