#include "station/store/run_conditions.h"
#include "station/store/statement.h"
#include "station/store/store.h"
#include "station/store/store_state.h"
#include "station/store/text.h"

namespace station {

namespace {

constexpr char kRunColumns[] =
    "SELECT id, station, serial, camera_name, variant, scanned_serial, plan_title, operator_name, "
    "versions, started_at, camera_time, ended_at, outcome, reason, note, archived_at, plan_text "
    "FROM run";

std::vector<RunRecord> FetchRuns(Statement& statement) {
  std::vector<RunRecord> runs;
  RunRecord run;
  statement.Each(
      std::tie(run.id, run.station, run.serial, run.cameraName, run.variant, run.scannedSerial,
               run.planTitle, run.operatorName, run.versions, run.startedAt, run.cameraTime,
               run.endedAt, run.outcome, run.reason, run.note, run.archivedAt, run.planText),
      [&] { runs.push_back(run); });
  return runs;
}

std::vector<AttemptRecord> FetchAttempts(Connection& connection, const std::string& run) {
  std::vector<AttemptRecord> attempts;
  AttemptRecord attempt;
  Statement(connection,
            "SELECT number, item, class_name, round, retry, started_at, "
            "CASE WHEN passed IS NULL THEN 0 ELSE 1 END, passed, seconds, status, "
            "value, code, message, problem FROM attempt WHERE run_id = :run ORDER BY number")
      .Use("run", run)
      .Each(std::tie(attempt.number, attempt.item, attempt.className, attempt.round, attempt.retry,
                     attempt.startedAt, attempt.isEnded, attempt.passed, attempt.seconds,
                     attempt.status, attempt.value, attempt.code, attempt.message, attempt.problem),
            [&] { attempts.push_back(attempt); });
  return attempts;
}

constexpr char kUserColumns[] = "SELECT name, role, password_hash, disabled_at FROM app_user";

std::vector<UserRecord> FetchUsers(Statement& statement) {
  std::vector<UserRecord> users;
  UserRecord user;
  statement.Each(std::tie(user.name, user.role, user.passwordHash, user.disabledAt),
                 [&] { users.push_back(user); });
  return users;
}

}  // namespace

std::optional<RunRecord> Store::FindRun(const std::string& id) {
  constexpr std::size_t kShortest = 8;
  if (id.size() < kShortest) return std::nullopt;
  const auto runs = mState->Read([&id](Connection& connection) {
    // What follows the prefix is a digit, a letter up to f, or a dash.
    Statement statement(connection,
                        std::string(kRunColumns).append(" WHERE id >= :id AND id < :end LIMIT 2"));
    return FetchRuns(statement.Use("id", id).Use("end", id + "g"));
  });
  if (runs.size() != 1) return std::nullopt;
  return runs.front();
}

std::vector<RunRecord> Store::Runs(const RunFilter& filter, const std::optional<RunCursor>& after,
                                   std::size_t limit) {
  Conditions conditions(filter);
  if (after) {
    conditions.Add("(run.started_at, run.id) < (:cursor_time, :cursor_id)", "cursor_id",
                   std::optional(after->id));
  }
  const std::string order = " ORDER BY started_at DESC, id DESC";
  return mState->Read([&](Connection& connection) {
    Statement statement(connection, std::string(kRunColumns)
                                        .append(" WHERE id IN (SELECT id FROM ")
                                        .append(conditions.RunTable(connection))
                                        .append(conditions.Sql())
                                        .append(order)
                                        .append(" LIMIT :limit)")
                                        .append(order));
    conditions.Bind(statement).Use("limit", limit);
    if (after) statement.Use("cursor_time", after->startedAt);
    return FetchRuns(statement);
  });
}

std::vector<AttemptRecord> Store::Attempts(const std::string& run) {
  return mState->Read([&run](Connection& connection) {
    std::vector<AttemptRecord> attempts = FetchAttempts(connection, run);
    auto attempt = attempts.begin();
    std::int64_t number = 0;
    MeasurementRecord measurement;
    Statement(connection,
              "SELECT attempt, name, unit, value, lower_limit, upper_limit FROM measurement "
              "WHERE run_id = :run ORDER BY attempt, place")
        .Use("run", run)
        .Each(std::tie(number, measurement.name, measurement.unit, measurement.value,
                       measurement.lower, measurement.upper),
              [&] {
                while (attempt->number != number) ++attempt;
                attempt->measurements.push_back(measurement);
              });
    return attempts;
  });
}

std::vector<EvidenceRecord> Store::Evidence(const std::string& run, std::int64_t attempt) {
  return mState->Read([&](Connection& connection) {
    std::vector<EvidenceRecord> evidence;
    EvidenceKind kind{};
    std::string content;
    Statement(connection, std::string("SELECT kind, ")
                              .append(BytesColumn(connection, "content"))
                              .append(" FROM evidence WHERE run_id = :run AND attempt = :attempt "
                                      "ORDER BY place"))
        .Use("run", run)
        .Use("attempt", attempt)
        .Each(std::tie(kind, content), [&] {
          evidence.push_back({kind, FromBytesColumn(connection, content)});
        });
    return evidence;
  });
}

std::vector<CameraRecord> Store::Cameras() {
  return mState->Read([](Connection& connection) {
    std::vector<CameraRecord> cameras;
    CameraRecord camera;
    Statement(connection,
              "SELECT serial, name, variant, first_seen, last_seen FROM camera ORDER BY serial")
        .Each(
            std::tie(camera.serial, camera.name, camera.variant, camera.firstSeen, camera.lastSeen),
            [&] { cameras.push_back(camera); });
    return cameras;
  });
}

std::vector<RunRecord> Store::RunsToArchive(std::size_t limit) {
  return mState->Read([limit](Connection& connection) {
    Statement statement(connection,
                        std::string(kRunColumns)
                            .append(" WHERE ended_at IS NOT NULL AND archived_at IS NULL "
                                    "ORDER BY started_at, id LIMIT :limit"));
    return FetchRuns(statement.Use("limit", limit));
  });
}

std::int64_t Store::CountRunsToArchive() {
  return mState->Read([](Connection& connection) {
    std::int64_t count = 0;
    Statement(connection,
              "SELECT COUNT(*) FROM run WHERE ended_at IS NOT NULL AND archived_at IS NULL")
        .One(count);
    return count;
  });
}

std::vector<UserRecord> Store::Users() {
  return mState->Read([](Connection& connection) {
    Statement statement(connection, std::string(kUserColumns).append(" ORDER BY name"));
    return FetchUsers(statement);
  });
}

std::optional<UserRecord> Store::FindUser(const std::string& name) {
  const auto users = mState->Read([&name](Connection& connection) {
    Statement statement(connection, std::string(kUserColumns).append(" WHERE name = :name"));
    return FetchUsers(statement.Use("name", name));
  });
  if (users.empty()) return std::nullopt;
  return users.front();
}

std::optional<SessionRecord> Store::FindSession(const std::string& hash) {
  return mState->Read([&hash](Connection& connection) {
    SessionRecord session;
    const bool isFound =
        Statement(connection, "SELECT hash, user_name, expires_at FROM session WHERE hash = :hash")
            .Use("hash", hash)
            .One(session.hash, session.user, session.expiresAt);
    return isFound ? std::optional(session) : std::nullopt;
  });
}

std::vector<AuditEntry> Store::Audit(const std::optional<std::int64_t>& before, std::size_t limit) {
  Conditions conditions;
  conditions.Add("id < :before", "before", before);
  return mState->Read([&](Connection& connection) {
    std::vector<AuditEntry> entries;
    AuditEntry entry;
    Statement statement(connection, std::string("SELECT happened_at, who, what, id FROM audit")
                                        .append(conditions.Sql())
                                        .append(" ORDER BY id DESC LIMIT :limit"));
    conditions.Bind(statement)
        .Use("limit", limit)
        .Each(std::tie(entry.happenedAt, entry.who, entry.what, entry.id),
              [&] { entries.push_back(entry); });
    return entries;
  });
}

}  // namespace station
