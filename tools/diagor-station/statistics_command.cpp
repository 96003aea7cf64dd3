// statistics: what many runs tell.
#include "client/run_plan.h"
#include "diagor-station/command.h"
#include "station/runner/run.h"
#include "station/store/text.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

constexpr std::size_t kDate = 10;  // of a time's text

}  // namespace

int Yield(Station& station, const Options& options) {
  const auto rows = station.store->Yield(options.planTitle, TimeFrom(options.from).value_or(0),
                                         TimeFrom(options.to).value_or(station::Now() + 1));
  client::Json json = client::Json::array();
  for (const station::YieldRow& row : rows) {
    json.push_back({{"week", station::TimeText(row.week).substr(0, kDate)},
                    {"variant", row.variant},
                    {"cameras", row.cameras},
                    {"passed", row.passed},
                    {"incomplete", row.incomplete}});
  }
  if (options.json) {
    PrintJson(json);
    return kNothingFailed;
  }
  std::vector<std::vector<std::string>> table = {
      {"WEEK", "VARIANT", "CAMERAS", "FIRST-PASS YIELD", "INCOMPLETE RUNS"}};
  for (const station::YieldRow& row : rows) {
    constexpr std::int64_t kPercent = 100;
    const std::string share =
        row.cameras == 0 ? "-" : std::to_string(kPercent * row.passed / row.cameras) + " %";
    table.push_back({station::TimeText(row.week).substr(0, kDate), Shown(row.variant),
                     std::to_string(row.cameras), share + " (" + std::to_string(row.passed) + ")",
                     std::to_string(row.incomplete)});
  }
  PrintTable(table);
  return kNothingFailed;
}

int Failures(Station& station, const Options& options) {
  const auto rows = station.store->Failures(FilterOf(options));
  if (options.json) {
    client::Json json = client::Json::array();
    for (const station::FailureRow& row : rows) {
      client::Json codes = client::Json::array();
      for (const station::CodeCount& each : row.codes) {
        codes.push_back({{"code", each.code}, {"attempts", each.attempts}});
      }
      json.push_back({{"item", row.item}, {"attempts", row.attempts}, {"codes", codes}});
    }
    PrintJson(json);
    return kNothingFailed;
  }
  std::vector<std::vector<std::string>> table = {{"ITEM", "FAILED", "RESULTS"}};
  for (const station::FailureRow& row : rows) {
    std::string codes;
    for (const station::CodeCount& each : row.codes) {
      codes.append(codes.empty() ? "" : ", ").append(Shown(each.code));
      codes.append(" (").append(std::to_string(each.attempts)).append(")");
    }
    table.push_back({Shown(row.item), std::to_string(row.attempts), std::move(codes)});
  }
  PrintTable(table);
  return kNothingFailed;
}

int Trend(Station& station, const Options& options) {
  station::TrendFilter filter;
  filter.item = client::FullPath(options.item);
  filter.measurement = options.measurement;
  if (!options.serial.empty()) filter.serial = options.serial;
  filter.from = TimeFrom(options.from);
  filter.to = TimeFrom(options.to);
  const auto points = station.store->Trend(filter, options.limit);
  const auto limit = [](const std::optional<double>& value) {
    return value ? client::Json(*value) : client::Json();
  };
  if (options.json) {
    client::Json json = client::Json::array();
    for (const station::TrendPoint& point : points) {
      json.push_back({{"started_at", station::TimeText(point.startedAt)},
                      {"run", point.run},
                      {"serial", point.serial},
                      {"value", point.measurement.value},
                      {"unit", point.measurement.unit},
                      {"lower", limit(point.measurement.lower)},
                      {"upper", limit(point.measurement.upper)}});
    }
    PrintJson(json);
    return kNothingFailed;
  }
  const auto text = [](const std::optional<double>& value) {
    return value ? client::Json(*value).dump() : std::string();
  };
  std::vector<std::vector<std::string>> table = {{"STARTED", "SERIAL", "VALUE", "LIMITS", "RUN"}};
  for (const station::TrendPoint& point : points) {
    const station::MeasurementRecord& found = point.measurement;
    table.push_back(
        {LocalText(point.startedAt), Shown(point.serial),
         client::Json(found.value).dump() + " " + Shown(found.unit),
         found.lower || found.upper ? text(found.lower) + " .. " + text(found.upper) : "",
         point.run});
  }
  PrintTable(table);
  return kNothingFailed;
}

}  // namespace station_tool
