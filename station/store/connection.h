// One connection to a database, and what the two kinds of database do differently. Only the store's
// own files include it.
#pragma once

#include <soci/soci.h>

#include <chrono>
#include <deque>
#include <map>
#include <string>

#include "station/store/error.h"

namespace station {

struct Place {
  std::string address;        // a file's path, or a server's URL
  std::string name;           // for a person: without a password
  bool isPostgresql = false;  // else SQLite
};
// "sqlite:PATH", "postgresql://...", or a path; StoreError for another scheme.
Place PlaceOf(const std::string& url);

// A statement, with the values that are bound to it in the order in which they were given. Once
// prepared it may be run again with others: what is bound stays where it is.
struct Prepared {
  explicit Prepared(soci::session& session) : statement(session) {}
  soci::statement statement;
  std::deque<std::string> texts;
  std::deque<long long> numbers;
  std::deque<double> reals;
  std::deque<soci::indicator> indicators;
  bool isReady = false;
};

class Connection {
 public:
  enum class Role { Writes, Reads };
  // A file that is not there is made, for its owner alone. busy: how long to wait for another
  // process. All functions throw soci::soci_error beside StoreError.
  Connection(const Place& place, Role role, std::chrono::milliseconds busy);

  bool IsPostgresql() const { return mPlace.isPostgresql; }
  const std::string& Name() const { return mPlace.name; }
  soci::session& Session() { return mSession; }

  // Those that are made again and again, by their SQL.
  std::map<std::string, Prepared, std::less<>>& KeptStatements() { return mKept; }

  // One statement.
  void Execute(const std::string& sql) { mSession << sql; }
  // A reader's is a snapshot.
  void Begin();
  void Commit() { Execute("COMMIT"); }
  // Nothing where there is no transaction.
  void Rollback();

  // Copies SQLite's whole database, as the last commit left it, to a new file.
  void BackUp(const std::string& file);

  // What the error that came from this connection means.
  StoreError Explain(const std::exception& error);

 private:
  void SetUpSqlite(std::chrono::milliseconds busy);
  void SetUpPostgresql(std::chrono::milliseconds busy);
  StoreError::Kind PostgresqlKind(const std::exception& error);

  const Place mPlace;
  const Role mRole;
  soci::session mSession;
  std::map<std::string, Prepared, std::less<>> mKept;  // end before their session
};

// How each database writes what differs, in place of words in braces: {text}, {integer}, {real},
// {bytes} are types of columns, {identity} that of a rising key, {strict} and {clustered} end a
// table, the latter one that lies in the order of its key.
std::string InDialect(const Connection& connection, std::string sql);

// Runs the work, and throws what goes wrong as StoreError.
template <typename Work>
auto Explained(Connection& connection, const Work& work) {
  try {
    return work();
  } catch (const StoreError&) {
    throw;
  } catch (const std::exception& error) {
    throw connection.Explain(error);
  }
}

}  // namespace station
