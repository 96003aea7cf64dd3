// runs and show: what is kept.
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

}  // namespace

int Runs(Station& station, const Options& options) {
  const auto runs = station.store->Runs(FilterOf(options), std::nullopt, options.limit);
  if (options.json) {
    client::Json json = client::Json::array();
    for (const RunRecord& run : runs) json.push_back(station::SummaryOf(run));
    PrintJson(json);
    return kNothingFailed;
  }
  std::vector<std::vector<std::string>> rows = {
      {"RUN", "STARTED", "CAMERA", "SERIAL", "PLAN", "OUTCOME"}};
  for (const RunRecord& run : runs) {
    std::string outcome(station::OutcomeText(run.outcome));
    if (!run.reason.empty()) outcome.append(" (").append(Shown(run.reason)).append(")");
    rows.push_back({run.id, LocalText(run.startedAt), Shown(run.cameraName), Shown(run.serial),
                    Shown(run.planTitle), std::move(outcome)});
  }
  PrintTable(rows);
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
