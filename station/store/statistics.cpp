#include <algorithm>

#include "station/store/run_conditions.h"
#include "station/store/statement.h"
#include "station/store/store.h"
#include "station/store/store_state.h"

namespace station {

namespace {

constexpr Time kWeek = 7LL * 24 * 60 * 60 * 1000;
// 1970 began on a Thursday: its week three days before.
constexpr Time kBeforeFirstWeek = 3LL * 24 * 60 * 60 * 1000;

// Rows of one item follow each other.
void AddFailures(std::vector<FailureRow>& rows, const std::string& item, const CodeCount& code) {
  if (rows.empty() || rows.back().item != item) rows.push_back({item, 0, {}});
  rows.back().attempts += code.attempts;
  rows.back().codes.push_back(code);
}

}  // namespace

std::vector<YieldRow> Store::Yield(const std::string& planTitle, Time from, Time to) {
  const std::string week = "(run.started_at + :before_first) / :week_length AS week";
  const std::string inPeriod =
      "FROM run WHERE run.plan_title = :plan AND run.started_at >= :from AND "
      "run.started_at < :to AND run.outcome ";
  const std::string complete = "IN ('passed', 'passed on retry', 'failed')";
  const std::string sql =
      std::string(
          "SELECT week, variant, COUNT(*) - SUM(incomplete), SUM(passed), SUM(incomplete) "
          "FROM (SELECT ")
          .append(week)
          .append(
              ", run.variant, CASE WHEN run.outcome = 'passed' THEN 1 ELSE 0 END AS passed, "
              "0 AS incomplete ")
          .append(inPeriod)
          .append(complete)
          .append(
              " AND NOT EXISTS (SELECT 1 FROM run AS earlier WHERE earlier.plan_title = "
              "run.plan_title AND earlier.serial = run.serial AND earlier.outcome ")
          .append(complete)
          .append(
              " AND (earlier.started_at, earlier.id) < (run.started_at, run.id)) UNION ALL "
              "SELECT ")
          .append(week)
          .append(", run.variant, 0 AS passed, 1 AS incomplete ")
          .append(inPeriod)
          .append("= 'incomplete') AS counted GROUP BY week, variant ORDER BY week, variant");
  return mState->Read([&](Connection& connection) {
    std::vector<YieldRow> rows;
    YieldRow row;
    Statement(connection, sql)
        .Use("before_first", kBeforeFirstWeek)
        .Use("week_length", kWeek)
        .Use("plan", planTitle)
        .Use("from", from)
        .Use("to", to)
        .Each(std::tie(row.week, row.variant, row.cameras, row.passed, row.incomplete), [&] {
          row.week = row.week * kWeek - kBeforeFirstWeek;
          rows.push_back(row);
        });
    return rows;
  });
}

// SQLite takes cross joins in the order in which they are written. Here: runs, and of each what
// failed, which is in an index of its own.
std::vector<FailureRow> Store::Failures(const RunFilter& filter) {
  Conditions conditions(filter);
  conditions.Add("attempt.run_id = run.id AND attempt.passed = 0 AND attempt.problem = ''");
  std::vector<FailureRow> failures = mState->Read([&](Connection& connection) {
    std::vector<FailureRow> rows;
    std::string item;
    CodeCount code;
    Statement statement(connection,
                        std::string("SELECT attempt.item, attempt.code, COUNT(*) AS attempts "
                                    "FROM run CROSS JOIN attempt")
                            .append(conditions.Sql())
                            .append(" GROUP BY attempt.item, attempt.code "
                                    "ORDER BY attempt.item, attempts DESC, attempt.code"));
    conditions.Bind(statement).Each(std::tie(item, code.code, code.attempts),
                                    [&] { AddFailures(rows, item, code); });
    return rows;
  });
  std::stable_sort(failures.begin(), failures.end(), [](const FailureRow& a, const FailureRow& b) {
    return a.attempts > b.attempts;
  });
  return failures;
}

std::vector<KeptTrace> Store::Traces(const std::string& item,
                                     const std::optional<std::string>& serial, std::size_t limit) {
  Conditions conditions;
  conditions.Add(
      "attempt.run_id = run.id AND evidence.run_id = run.id AND "
      "evidence.attempt = attempt.number AND evidence.kind = 'trace'");
  conditions.Add("attempt.item = :item", "item", std::optional(item));
  conditions.Add("run.serial = :serial", "serial", serial);
  return mState->Read([&](Connection& connection) {
    std::vector<KeptTrace> traces;
    KeptTrace trace;
    Statement statement(connection,
                        "SELECT attempt.started_at, run.id, run.serial, " +
                            BytesColumn(connection, "evidence.content") +
                            " FROM attempt CROSS JOIN run CROSS JOIN evidence" + conditions.Sql() +
                            " ORDER BY attempt.started_at DESC, attempt.run_id DESC LIMIT :limit");
    conditions.Bind(statement)
        .Use("limit", limit)
        .Each(std::tie(trace.startedAt, trace.run, trace.serial, trace.bytes), [&] {
          traces.push_back(trace);
          traces.back().bytes = FromBytesColumn(connection, trace.bytes);
        });
    return traces;
  });
}

// From one item's place in the index to the next one's: as quick with a million attempts.
std::vector<KnownMeasurement> Store::Measurements() {
  return mState->Read([](Connection& connection) {
    std::vector<KnownMeasurement> known;
    KnownMeasurement each;
    Statement statement(
        connection,
        "WITH RECURSIVE items (item) AS (SELECT MIN(item) FROM attempt UNION ALL "
        "SELECT (SELECT MIN(attempt.item) FROM attempt WHERE attempt.item > items.item) "
        "FROM items WHERE items.item IS NOT NULL) "
        "SELECT DISTINCT items.item, measurement.name, measurement.unit FROM items "
        "JOIN attempt ON attempt.item = items.item AND attempt.started_at >= COALESCE("
        "(SELECT earlier.started_at FROM attempt AS earlier WHERE earlier.item = items.item "
        "ORDER BY earlier.started_at DESC LIMIT 1 OFFSET 49), 0) "
        "JOIN measurement ON measurement.run_id = attempt.run_id "
        "AND measurement.attempt = attempt.number ORDER BY 1, 2, 3");
    statement.Each(std::tie(each.item, each.name, each.unit), [&] { known.push_back(each); });
    return known;
  });
}

std::vector<ItemLength> Store::Lengths(const RunFilter& filter, std::size_t runs,
                                       const std::string& except) {
  constexpr int kAttempts = 2000;  // of each run
  constexpr int kBetween = 1000;   // milliseconds that may pass beside the test itself
  Conditions conditions(filter);
  conditions.Add("run.id <> :except", "except", std::optional(except));
  return mState->Read([&](Connection& connection) {
    std::vector<ItemLength> lengths;
    ItemLength length;
    Statement statement(
        connection,
        std::string("WITH latest AS (SELECT run.id, run.ended_at FROM ")
            .append(conditions.RunTable(connection))
            .append(conditions.Sql())
            .append(" ORDER BY run.started_at DESC, run.id DESC LIMIT :runs), "
                    "each_attempt AS (SELECT attempt.item, attempt.problem, "
                    "COALESCE(LEAD(attempt.started_at) OVER (PARTITION BY attempt.run_id "
                    "ORDER BY attempt.number), latest.ended_at) - attempt.started_at AS passed, "
                    ":between + CAST(1000 * attempt.seconds AS BIGINT) AS most "
                    "FROM latest CROSS JOIN attempt WHERE attempt.run_id = latest.id "
                    "AND attempt.number <= :attempts), "
                    "lengths AS (SELECT item, CASE WHEN passed < 0 THEN 0 WHEN passed > most "
                    "THEN most ELSE passed END AS length FROM each_attempt "
                    "WHERE problem = '' AND passed IS NOT NULL) "
                    "SELECT item, CAST(SUM(length) AS BIGINT) / COUNT(*), MAX(length) FROM lengths "
                    "GROUP BY item ORDER BY item"));
    conditions.Bind(statement)
        .Use("runs", runs)
        .Use("between", kBetween)
        .Use("attempts", kAttempts)
        .Each(std::tie(length.item, length.mean, length.longest),
              [&] { lengths.push_back(length); });
    return lengths;
  });
}

std::vector<TrendPoint> Store::Trend(const TrendFilter& filter, std::size_t limit) {
  Conditions conditions;
  conditions.Add(
      "attempt.run_id = run.id AND measurement.run_id = run.id AND "
      "measurement.attempt = attempt.number");
  conditions.Add("attempt.item = :item", "item", std::optional(filter.item));
  conditions.Add("measurement.name = :name", "name", std::optional(filter.measurement));
  conditions.Add("run.serial = :serial", "serial", filter.serial);
  conditions.Add("attempt.started_at >= :from", "from", filter.from);
  conditions.Add("attempt.started_at < :to", "to", filter.to);
  // One camera's runs are few, else the item's
  // attempts come in the order that is asked for.
  const std::string tables = filter.serial ? "run CROSS JOIN attempt CROSS JOIN measurement"
                                           : "attempt CROSS JOIN measurement CROSS JOIN run";
  return mState->Read([&](Connection& connection) {
    std::vector<TrendPoint> points;
    TrendPoint point;
    MeasurementRecord& measurement = point.measurement;
    Statement statement(
        connection, std::string("SELECT attempt.started_at, run.id, run.serial, measurement.name, "
                                "measurement.unit, measurement.value, measurement.lower_limit, "
                                "measurement.upper_limit FROM ")
                        .append(tables)
                        .append(conditions.Sql())
                        .append(" ORDER BY attempt.started_at DESC, attempt.run_id DESC, "
                                "attempt.number DESC, measurement.place DESC LIMIT :limit"));
    conditions.Bind(statement)
        .Use("limit", limit)
        .Each(std::tie(point.startedAt, point.run, point.serial, measurement.name, measurement.unit,
                       measurement.value, measurement.lower, measurement.upper),
              [&] { points.push_back(point); });
    return points;
  });
}

}  // namespace station
