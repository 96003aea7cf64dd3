#include "station/report/run_report.h"

#include <algorithm>
#include <map>

#include "station/store/text.h"

namespace station {

namespace {

constexpr std::size_t kEarlier = 30;  // points of a course

std::vector<Course> CoursesOf(Store& store, const RunReport& report) {
  std::map<std::pair<std::string, std::string>, double> measured;
  for (const AttemptReport& attempt : report.attempts) {
    for (const MeasurementRecord& each : attempt.measurements) {
      measured[{attempt.item, each.name}] = each.value;
    }
  }
  std::vector<Course> courses;
  for (const auto& [key, value] : measured) {
    TrendFilter filter;
    filter.item = key.first;
    filter.measurement = key.second;
    filter.serial = report.run.serial;
    filter.to = report.run.startedAt;
    Course course{key.first, key.second, {}};
    for (const TrendPoint& point : store.Trend(filter, kEarlier)) {
      course.values.push_back(point.measurement.value);
    }
    std::reverse(course.values.begin(), course.values.end());
    course.values.push_back(value);
    courses.push_back(std::move(course));
  }
  return courses;
}

}  // namespace

RunReport GatherReport(Store& store, const RunRecord& run) {
  RunReport report;
  report.run = run;
  for (AttemptRecord& attempt : store.Attempts(run.id)) {
    AttemptReport each{std::move(attempt), {}};
    each.evidence = store.Evidence(run.id, each.number);
    report.attempts.push_back(std::move(each));
  }
  report.courses = CoursesOf(store, report);
  return report;
}

std::string ResultText(const RunReport& report, const AttemptReport& attempt) {
  if (!attempt.isEnded) {
    const bool isLast = attempt.number == report.attempts.back().number;
    return isLast && report.run.outcome == Outcome::Running ? "under way" : "interrupted";
  }
  if (!attempt.problem.empty()) return "no result";
  return attempt.passed ? "OK" : attempt.code;
}

client::Report ResultsOf(const RunReport& report) {
  client::Report results;
  results.camera = report.run.variant;
  results.serial = report.run.serial;
  results.isWhole =
      report.run.outcome != Outcome::Running && report.run.outcome != Outcome::Incomplete;
  for (const AttemptReport& each : report.attempts) {
    client::Attempt attempt;
    attempt.path = each.item;
    attempt.className = each.className;
    attempt.round = static_cast<unsigned>(each.round);
    attempt.passed = each.passed;
    attempt.status = each.status;
    attempt.value = each.value;
    attempt.message = each.message;
    // As the test servers' schema has it: without a fraction and a zone.
    constexpr std::size_t kSeconds = 19;
    attempt.started = TimeText(each.startedAt).substr(0, kSeconds);
    attempt.seconds = each.seconds;
    attempt.problem = each.isEnded ? each.problem : ResultText(report, each);
    if (!attempt.problem.empty()) attempt.message = attempt.problem;
    for (const EvidenceRecord& evidence : each.evidence) {
      if (evidence.kind == EvidenceKind::Record) {
        attempt.records.push_back(Settled(evidence.bytes));
      }
    }
    results.attempts.push_back(std::move(attempt));
  }
  return results;
}

}  // namespace station
