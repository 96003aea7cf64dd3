// statistics: what many runs tell.
#include <algorithm>
#include <iomanip>
#include <iostream>

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
  std::cout << std::left << std::setw(13) << "WEEK" << std::setw(12) << "VARIANT" << std::setw(10)
            << "CAMERAS" << std::setw(20) << "FIRST-PASS YIELD"
            << "INCOMPLETE RUNS\n";
  for (const station::YieldRow& row : rows) {
    constexpr std::int64_t kPercent = 100;
    const std::string share =
        row.cameras == 0 ? "-" : std::to_string(kPercent * row.passed / row.cameras) + " %";
    std::cout << std::setw(13) << station::TimeText(row.week).substr(0, kDate) << std::setw(12)
              << Shown(row.variant) << std::setw(10) << row.cameras << std::setw(20)
              << share + " (" + std::to_string(row.passed) + ")" << row.incomplete << "\n";
  }
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
  std::size_t width = 4;
  for (const station::FailureRow& row : rows) width = std::max(width, row.item.size());
  std::cout << std::left << std::setw(static_cast<int>(width) + 2) << "ITEM" << std::setw(10)
            << "FAILED"
            << "RESULTS\n";
  for (const station::FailureRow& row : rows) {
    std::string codes;
    for (const station::CodeCount& each : row.codes) {
      codes.append(codes.empty() ? "" : ", ").append(Shown(each.code));
      codes.append(" (").append(std::to_string(each.attempts)).append(")");
    }
    std::cout << std::setw(static_cast<int>(width) + 2) << Shown(row.item) << std::setw(10)
              << row.attempts << codes << "\n";
  }
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
  std::cout << std::left << std::setw(21) << "STARTED" << std::setw(14) << "SERIAL" << std::setw(16)
            << "VALUE" << std::setw(24) << "LIMITS"
            << "RUN\n";
  for (const station::TrendPoint& point : points) {
    const auto text = [](const std::optional<double>& value) {
      return value ? client::Json(*value).dump() : std::string();
    };
    const station::MeasurementRecord& found = point.measurement;
    std::cout << std::setw(21) << LocalText(point.startedAt) << std::setw(14) << Shown(point.serial)
              << std::setw(16) << client::Json(found.value).dump() + " " + Shown(found.unit)
              << std::setw(24)
              << (found.lower || found.upper ? text(found.lower) + " .. " + text(found.upper) : "")
              << point.run << "\n";
  }
  return kNothingFailed;
}

}  // namespace station_tool
