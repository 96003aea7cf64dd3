#include "station/store/migrations.h"

#include <array>
#include <span>

#include "station/store/statement.h"

namespace station {

namespace {

constexpr const char* kTables[] = {
    R"(CREATE TABLE camera (
         serial {text} NOT NULL PRIMARY KEY,
         name {text} NOT NULL,
         variant {text} NOT NULL,
         first_seen {integer} NOT NULL,
         last_seen {integer} NOT NULL) {strict})",
    // The plan's text stands last: who reads the rest does not pass over it.
    R"(CREATE TABLE run (
         id {text} NOT NULL PRIMARY KEY,
         station {text} NOT NULL,
         serial {text} NOT NULL REFERENCES camera (serial),
         camera_name {text} NOT NULL,
         variant {text} NOT NULL,
         scanned_serial {text} NOT NULL,
         plan_title {text} NOT NULL,
         operator_name {text} NOT NULL,
         versions {text} NOT NULL,
         started_at {integer} NOT NULL,
         camera_time {text} NOT NULL,
         ended_at {integer},
         outcome {text} NOT NULL DEFAULT 'running',
         reason {text} NOT NULL DEFAULT '',
         note {text} NOT NULL DEFAULT '',
         archived_at {integer},
         plan_text {text} NOT NULL,
         CHECK (outcome IN ('running', 'passed', 'passed on retry', 'failed', 'incomplete')),
         CHECK ((outcome = 'running') = (ended_at IS NULL))) {strict})",
    // Until its end, what an attempt came to is NULL.
    R"(CREATE TABLE attempt (
         run_id {text} NOT NULL REFERENCES run (id) ON DELETE CASCADE,
         number {integer} NOT NULL,
         item {text} NOT NULL,
         class_name {text} NOT NULL,
         round {integer} NOT NULL,
         retry {integer} NOT NULL,
         started_at {integer} NOT NULL,
         passed {integer},
         seconds {real},
         status {integer},
         value {text},
         code {text},
         message {text},
         problem {text},
         PRIMARY KEY (run_id, number)) {clustered})",
    R"(CREATE TABLE measurement (
         run_id {text} NOT NULL,
         attempt {integer} NOT NULL,
         place {integer} NOT NULL,
         name {text} NOT NULL,
         unit {text} NOT NULL,
         value {real} NOT NULL,
         lower_limit {real},
         upper_limit {real},
         PRIMARY KEY (run_id, attempt, place),
         FOREIGN KEY (run_id, attempt) REFERENCES attempt (run_id, number) ON DELETE CASCADE)
       {clustered})",
    R"(CREATE TABLE evidence (
         run_id {text} NOT NULL,
         attempt {integer} NOT NULL,
         place {integer} NOT NULL,
         kind {text} NOT NULL CHECK (kind IN ('record', 'trace', 'picture')),
         content {bytes} NOT NULL,
         PRIMARY KEY (run_id, attempt, place),
         FOREIGN KEY (run_id, attempt) REFERENCES attempt (run_id, number) ON DELETE CASCADE)
       {strict})",
    R"(CREATE TABLE app_user (
         name {text} NOT NULL PRIMARY KEY,
         role {text} NOT NULL,
         password_hash {text} NOT NULL,
         disabled_at {integer}) {strict})",
    R"(CREATE TABLE session (
         hash {text} NOT NULL PRIMARY KEY,
         user_name {text} NOT NULL REFERENCES app_user (name),
         expires_at {integer} NOT NULL) {strict})",
    R"(CREATE TABLE audit (
         id {identity},
         happened_at {integer} NOT NULL,
         who {text} NOT NULL,
         what {text} NOT NULL) {strict})",
};

// Pages of runs go on in the order of time; those that are filtered by one thing begin with it.
// What a query asks of an index's rows stands in the index: runs are wide, with their plan's text.
constexpr const char* kIndexes[] = {
    "CREATE INDEX run_by_time ON run "
    "(started_at, id, variant, plan_title, operator_name, outcome)",
    "CREATE INDEX run_by_serial ON run (serial, started_at, id)",
    "CREATE INDEX run_by_variant ON run (variant, started_at, id)",
    "CREATE INDEX run_by_outcome ON run (outcome, started_at, id)",
    "CREATE INDEX run_by_operator ON run (operator_name, started_at, id)",
    "CREATE INDEX run_by_plan ON run (plan_title, started_at, id, outcome, serial, variant)",
    "CREATE INDEX run_complete ON run (plan_title, serial, started_at, id, outcome) "
    "WHERE outcome IN ('passed', 'passed on retry', 'failed')",
    "CREATE INDEX run_to_archive ON run (started_at, id) "
    "WHERE ended_at IS NOT NULL AND archived_at IS NULL",
    "CREATE INDEX attempt_failed ON attempt (run_id, item, code, passed, problem) "
    "WHERE passed = 0 AND problem = ''",
    "CREATE INDEX attempt_by_item ON attempt (item, started_at)",
};

constexpr std::array<std::span<const char* const>, 2> kMigrations = {kTables, kIndexes};

int LastMade(Connection& connection) {
  int made = 0;
  if (HasSchema(connection))
    Statement(connection, "SELECT MAX(number) FROM schema_migration").One(made);
  return made;
}

// One process at a time; a transaction of SQLite's writer is that already.
void LockSchema(Connection& connection) {
  constexpr long long kSchemaLock = 0x44735374;  // any number that nobody else locks
  long long ignored = 0;
  if (connection.IsPostgresql()) {
    connection.Session() << "SELECT 1 FROM (SELECT pg_advisory_xact_lock(:lock)) AS locked",
        soci::use(kSchemaLock), soci::into(ignored);
  }
}

}  // namespace

bool HasSchema(Connection& connection) {
  int tables = 0;
  Statement(connection, connection.IsPostgresql()
                            ? "SELECT COUNT(*) FROM pg_tables WHERE schemaname = current_schema() "
                              "AND tablename = 'schema_migration'"
                            : "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND "
                              "name = 'schema_migration'")
      .One(tables);
  return tables != 0;
}

int CountPendingMigrations(Connection& connection) {
  const int known = static_cast<int>(kMigrations.size());
  const int made = LastMade(connection);
  if (made > known) {
    throw StoreError(StoreError::Kind::TooNew,
                     std::string(connection.Name())
                         .append(" was made by a newer version of this program: its schema is ")
                         .append(std::to_string(made))
                         .append(", known here are ")
                         .append(std::to_string(known)));
  }
  return known - made;
}

void RunMigrations(Connection& connection) {
  for (int number = 1; number <= static_cast<int>(kMigrations.size()); ++number) {
    connection.Begin();
    LockSchema(connection);
    const int made = LastMade(connection);
    if (made == 0) {
      connection.Execute(
          InDialect(connection,
                    "CREATE TABLE schema_migration (number {integer} NOT NULL PRIMARY KEY)"
                    " {strict}"));
    }
    if (made < number) {
      for (const char* sql : kMigrations.at(static_cast<std::size_t>(number - 1)))
        connection.Execute(InDialect(connection, sql));
      Statement(connection, "INSERT INTO schema_migration (number) VALUES (:number)")
          .Use("number", number)
          .Run();
    }
    connection.Commit();
  }
}

}  // namespace station
