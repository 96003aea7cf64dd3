#include "station/store/store.h"

#include <cmath>

#include "station/store/migrations.h"
#include "station/store/statement.h"
#include "station/store/store_state.h"

namespace station {

namespace {

using Kind = StoreError::Kind;

// An index has room for so much of what a camera says.
constexpr std::size_t kLongestCode = 100;

// Runs a statement that is to change one row.
void RunOn(Statement& statement, const std::string& otherwise) {
  if (statement.Run() == 0) throw StoreError(Kind::Constraint, otherwise);
}

std::string NameOf(const std::string& run, std::int64_t attempt) {
  return std::string("attempt ").append(std::to_string(attempt)).append(" of run ").append(run);
}

void WriteCamera(Connection& connection, const CameraRecord& camera) {
  Statement(connection,
            "INSERT INTO camera (serial, name, variant, first_seen, last_seen) "
            "VALUES (:serial, :name, :variant, :seen, :seen) "
            "ON CONFLICT (serial) DO UPDATE SET name = excluded.name, last_seen = "
            "CASE WHEN excluded.last_seen > camera.last_seen THEN excluded.last_seen "
            "ELSE camera.last_seen END")
      .UseName("serial", camera.serial)
      .Use("name", camera.name)
      .Use("variant", camera.variant)
      .Use("seen", camera.lastSeen)
      .Run();
}

void WriteRun(Connection& connection, const RunStart& run) {
  Statement(connection,
            "INSERT INTO run (id, station, serial, camera_name, variant, scanned_serial, "
            "plan_title, operator_name, versions, started_at, camera_time, plan_text) "
            "VALUES (:id, :station, :serial, :camera, :variant, :scanned, :plan, :operator, "
            ":versions, :started, :camera_time, :plan_text)")
      .UseName("id", run.id)
      .Use("station", run.station)
      .UseName("serial", run.serial)
      .Use("camera", run.cameraName)
      .UseName("variant", run.variant)
      .Use("scanned", run.scannedSerial)
      .UseName("plan", run.planTitle)
      .UseName("operator", run.operatorName)
      .Use("versions", run.versions)
      .Use("started", run.startedAt)
      .Use("camera_time", run.cameraTime)
      .Use("plan_text", run.planText)
      .Run();
}

void WriteMeasurement(Connection& connection, const std::string& run, std::int64_t attempt,
                      std::size_t place, const MeasurementRecord& measurement) {
  // One database would keep the others, not both.
  if (!std::isfinite(measurement.value) || !std::isfinite(measurement.lower.value_or(0)) ||
      !std::isfinite(measurement.upper.value_or(0))) {
    throw StoreError(
        Kind::Constraint,
        NameOf(run, attempt).append(": no number is measured as ").append(measurement.name));
  }
  Statement::Kept(
      connection,
      "INSERT INTO measurement (run_id, attempt, place, name, unit, value, lower_limit, "
      "upper_limit) VALUES (:run, :attempt, :place, :name, :unit, :value, :lower, :upper)")
      .Use("run", run)
      .Use("attempt", attempt)
      .Use("place", place)
      .Use("name", measurement.name)
      .Use("unit", measurement.unit)
      .Use("value", measurement.value)
      .Use("lower", measurement.lower)
      .Use("upper", measurement.upper)
      .Run();
}

void WriteEvidence(Connection& connection, const std::string& run, std::int64_t attempt,
                   std::size_t place, const EvidenceRecord& evidence) {
  Statement::Kept(connection,
                  "INSERT INTO evidence (run_id, attempt, place, kind, content) "
                  "VALUES (:run, :attempt, :place, :kind, {content})")
      .Use("run", run)
      .Use("attempt", attempt)
      .Use("place", place)
      .Use("kind", std::string(EvidenceText(evidence.kind)))
      .UseBytes("content", evidence.bytes)
      .Run();
}

void WriteEnd(Connection& connection, const std::string& run, const AttemptEnd& end) {
  Statement statement =
      Statement::Kept(connection,
                      "UPDATE attempt SET passed = :passed, seconds = :seconds, status = :status, "
                      "value = :value, code = :code, message = :message, problem = :problem "
                      "WHERE run_id = :run AND number = :number AND passed IS NULL");
  statement.Use("passed", end.passed)
      .Use("seconds", end.seconds)
      .Use("status", end.status)
      .Use("value", end.value)
      .Use("code", end.code.substr(0, kLongestCode))
      .Use("message", end.message)
      .Use("problem", end.problem)
      .Use("run", run)
      .Use("number", end.number);
  RunOn(statement, NameOf(run, end.number).append(" has ended already, or never began"));
  for (std::size_t i = 0; i < end.measurements.size(); ++i)
    WriteMeasurement(connection, run, end.number, i, end.measurements[i]);
  for (std::size_t i = 0; i < end.evidence.size(); ++i)
    WriteEvidence(connection, run, end.number, i, end.evidence[i]);
}

void WriteStart(Connection& connection, const std::string& run, const AttemptStart& start) {
  Statement statement = Statement::Kept(
      connection,
      "INSERT INTO attempt (run_id, number, item, class_name, round, retry, started_at) "
      "SELECT id, :number, :item, :class, :round, :retry, :started "
      "FROM run WHERE id = :run AND outcome = 'running'");
  statement.Use("number", start.number)
      .UseName("item", start.item)
      .Use("class", start.className)
      .Use("round", start.round)
      .Use("retry", start.retry)
      .Use("started", start.startedAt)
      .Use("run", run);
  RunOn(statement, NameOf(run, start.number).append(" cannot begin: there is no such run now"));
}

}  // namespace

Store::Store(const std::string& url, const StoreOptions& options)
    : mState(std::make_unique<State>(PlaceOf(url), options)) {
  bool isFresh = false;
  mState->writer.WriteAlone([&isFresh](Connection& connection) {
    isFresh = !HasSchema(connection);
    if (!isFresh) CountPendingMigrations(connection);
  });
  if (isFresh) Migrate();
}

Store::~Store() = default;

const std::string& Store::Name() const {
  return mState->place.name;
}

int Store::PendingMigrations() {
  return mState->Read([](Connection& connection) { return CountPendingMigrations(connection); });
}

void Store::Migrate() {
  mState->writer.WriteAlone(RunMigrations);
}

void Store::BackUp(const std::string& file) {
  if (mState->place.isPostgresql) {
    throw StoreError(Kind::Other,
                     mState->place.name + " is backed up by PostgreSQL's own means: pg_dump");
  }
  mState->readers.Read([&file](Connection& connection) { connection.BackUp(file); });
}

void Store::BeginRun(const RunStart& run) {
  mState->writer.Write([&run](Connection& connection) {
    WriteCamera(connection,
                {run.serial, run.cameraName, run.variant, run.startedAt, run.startedAt});
    WriteRun(connection, run);
  });
}

void Store::Journal(const std::string& run, const std::optional<AttemptEnd>& end,
                    const std::optional<AttemptStart>& next) {
  mState->writer.Write([&](Connection& connection) {
    if (end) WriteEnd(connection, run, *end);
    if (next) WriteStart(connection, run, *next);
  });
}

void Store::EndRun(const std::string& run, const RunEnd& end) {
  mState->writer.Write([&](Connection& connection) {
    Statement statement(connection,
                        "UPDATE run SET ended_at = :ended, outcome = :outcome, reason = :reason "
                        "WHERE id = :run AND outcome = 'running'");
    statement.Use("ended", end.endedAt)
        .Use("outcome", std::string(OutcomeText(end.outcome)))
        .Use("reason", end.reason)
        .Use("run", run);
    RunOn(statement, std::string("there is no run ").append(run).append(" that could end"));
  });
}

void Store::ReopenRun(const std::string& run) {
  mState->writer.Write([&run](Connection& connection) {
    Statement statement(connection,
                        "UPDATE run SET ended_at = NULL, outcome = 'running', reason = '', "
                        "archived_at = NULL WHERE id = :run AND outcome = 'incomplete'");
    statement.Use("run", run);
    RunOn(statement, std::string("there is no incomplete run ").append(run));
  });
}

void Store::WriteNote(const std::string& run, const std::string& note) {
  mState->writer.Write([&](Connection& connection) {
    Statement statement(connection, "UPDATE run SET note = :note WHERE id = :run");
    statement.Use("note", note).Use("run", run);
    RunOn(statement, std::string("there is no run ").append(run));
  });
}

void Store::SeeCamera(const std::string& serial, const std::string& name,
                      const std::string& variant, Time now) {
  mState->writer.Write([&](Connection& connection) {
    WriteCamera(connection, {serial, name, variant, now, now});
  });
}

std::size_t Store::Prune(Time before, bool onlyArchived) {
  // So many at a time hold up another's write for some milliseconds.
  constexpr int kChunk = 20;
  std::string sql =
      "DELETE FROM run WHERE id IN (SELECT id FROM run WHERE started_at < :before AND "
      "ended_at IS NOT NULL";
  if (onlyArchived) sql += " AND archived_at IS NOT NULL";
  sql += " ORDER BY started_at, id LIMIT :chunk)";
  std::size_t all = 0;
  for (std::size_t deleted = 1; deleted != 0; all += deleted) {
    mState->writer.Write([&](Connection& connection) {
      deleted = Statement(connection, sql).Use("before", before).Use("chunk", kChunk).Run();
    });
  }
  return all;
}

void Store::MarkArchived(const std::string& run, Time now) {
  mState->writer.Write([&](Connection& connection) {
    Statement statement(connection,
                        "UPDATE run SET archived_at = :now WHERE id = :run AND "
                        "ended_at IS NOT NULL");
    statement.Use("now", now).Use("run", run);
    RunOn(statement, std::string("there is no run ").append(run).append(" that has ended"));
  });
}

void Store::AddUser(const UserRecord& user) {
  mState->writer.Write([&user](Connection& connection) {
    Statement(connection,
              "INSERT INTO app_user (name, role, password_hash, disabled_at) "
              "VALUES (:name, :role, :hash, :disabled)")
        .UseName("name", user.name)
        .Use("role", user.role)
        .Use("hash", user.passwordHash)
        .Use("disabled", user.disabledAt)
        .Run();
  });
}

void Store::ChangeUser(const std::string& name, const UserUpdate& update) {
  mState->writer.Write([&](Connection& connection) {
    // Locked on a server, where another process changes users too.
    const auto administrators = [&connection] {
      int count = 0;
      std::string each;
      Statement(connection, std::string("SELECT name FROM app_user WHERE role = 'administrator' "
                                        "AND disabled_at IS NULL ORDER BY name")
                                .append(connection.IsPostgresql() ? " FOR UPDATE" : ""))
          .Each(std::tie(each), [&count] { ++count; });
      return count;
    };
    const int before = administrators();
    const auto set = [&](const char* column, const auto& value) {
      Statement statement(connection, std::string("UPDATE app_user SET ")
                                          .append(column)
                                          .append(" = :value WHERE name = :name"));
      statement.Use("value", value).Use("name", name);
      RunOn(statement, std::string("there is no user ").append(name));
    };
    if (update.role) set("role", *update.role);
    if (update.passwordHash) set("password_hash", *update.passwordHash);
    if (update.disabledAt) set("disabled_at", *update.disabledAt);
    if (before > 0 && administrators() == 0) {
      throw StoreError(Kind::Constraint,
                       name + " is the last administrator: make another one first");
    }
    if (!update.passwordHash && !update.disabledAt.value_or(std::nullopt)) return;
    Statement(connection, "DELETE FROM session WHERE user_name = :name").Use("name", name).Run();
  });
}

void Store::AddSession(const SessionRecord& session, const std::string& passwordHash, Time now) {
  mState->writer.Write([&](Connection& connection) {
    Statement(connection, "DELETE FROM session WHERE expires_at < :now").Use("now", now).Run();
    Statement statement(connection,
                        "INSERT INTO session (hash, user_name, expires_at) "
                        "SELECT :hash, name, :expires FROM app_user WHERE name = :user "
                        "AND password_hash = :password AND disabled_at IS NULL");
    statement.UseName("hash", session.hash)
        .Use("expires", session.expiresAt)
        .Use("user", session.user)
        .Use("password", passwordHash);
    RunOn(statement, std::string(session.user).append(" may not sign in any more"));
  });
}

void Store::EndSession(const std::string& hash) {
  mState->writer.Write([&hash](Connection& connection) {
    Statement(connection, "DELETE FROM session WHERE hash = :hash").Use("hash", hash).Run();
  });
}

void Store::WriteAudit(const AuditEntry& entry) {
  mState->writer.Write([&entry](Connection& connection) {
    Statement(connection, "INSERT INTO audit (happened_at, who, what) VALUES (:at, :who, :what)")
        .Use("at", entry.happenedAt)
        .Use("who", entry.who)
        .Use("what", entry.what)
        .Run();
  });
}

}  // namespace station
