#include "station/store/connection.h"

#include <fcntl.h>
#include <soci/postgresql/soci-postgresql.h>
#include <soci/sqlite3/soci-sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace station {

namespace {

using Kind = StoreError::Kind;

sqlite_api::sqlite3* Sqlite(soci::session& session) {
  return static_cast<soci::sqlite3_session_backend*>(session.get_backend())->conn_;
}

PGconn* Postgresql(soci::session& session) {
  return static_cast<soci::postgresql_session_backend*>(session.get_backend())->conn_;
}

int Errno(int result) {
  return result < 0 ? errno : 0;
}

// Makes the file where there is none, and says clearly why it cannot be used: the database's own
// words for that are few. One that is there is not opened: closing it would let go the locks that
// this process has on it.
void PrepareFile(const Place& place) {
  const std::filesystem::path file = place.address;
  const std::string folder = file.has_parent_path() ? file.parent_path().string() : ".";
  int error = Errno(faccessat(AT_FDCWD, file.c_str(), R_OK | W_OK, AT_EACCESS));
  if (error == ENOENT) {
    // Others may read neither what is kept nor the hashes of passwords.
    const int made = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    error = Errno(made);
    if (made >= 0) close(made);
  }
  const bool isFile = error != 0;
  // Files beside it come and go with its use.
  if (error == 0) error = Errno(faccessat(AT_FDCWD, folder.c_str(), W_OK, AT_EACCESS));
  if (error == 0) return;
  const bool isReadOnly = error == EACCES || error == EPERM || error == EROFS;
  const Kind kind = error == ENOSPC ? Kind::Full : isReadOnly ? Kind::ReadOnly : Kind::CannotOpen;
  throw StoreError(kind, std::string(isFile ? place.name : folder)
                             .append(isReadOnly ? " cannot be written: " : " cannot be opened: ")
                             .append(std::generic_category().message(error)));
}

// A server that is gone without a word is taken for lost within some twenty seconds.
std::string Bounded(std::string url) {
  const std::pair<const char*, const char*> kBounds[] = {{"connect_timeout=", "5"},
                                                         {"keepalives_idle=", "10"},
                                                         {"keepalives_interval=", "3"},
                                                         {"keepalives_count=", "3"},
                                                         {"tcp_user_timeout=", "15000"}};
  for (const auto& [name, value] : kBounds) {
    if (url.find(name) != std::string::npos) continue;  // the administrator's own
    url.append(url.find('?') == std::string::npos ? "?" : "&").append(name).append(value);
  }
  return url;
}

soci::connection_parameters Parameters(const Place& place) {
  if (place.isPostgresql) return {soci::postgresql, Bounded(place.address)};
  return {soci::sqlite3, std::string("dbname=\"").append(place.address).append("\"")};
}

// Of SQLite's result.
Kind KindOf(int result) {
  // The file of readers' marks, beside a log, finds no room: the only error of it that says so.
  if (result == SQLITE_IOERR_SHMSIZE) return Kind::Full;
  constexpr int kPrimary = 0xFF;  // the rest of a code says more than is asked here
  switch (result & kPrimary) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return Kind::Busy;
    case SQLITE_FULL:
      return Kind::Full;
    case SQLITE_READONLY:
      return Kind::ReadOnly;
    case SQLITE_CANTOPEN:
      return Kind::CannotOpen;
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      return Kind::NotADatabase;
    case SQLITE_CONSTRAINT:
      return Kind::Constraint;
    default:
      return Kind::Other;
  }
}

Kind SqliteKind(const std::exception& error) {
  const auto* const own = dynamic_cast<const soci::sqlite3_soci_error*>(&error);
  return own == nullptr ? Kind::Other : KindOf(own->result());
}

const char* KindText(Kind kind) {
  switch (kind) {
    case Kind::Busy:
      return " is held by another process";
    case Kind::Full:
      return ": no space left";
    case Kind::ReadOnly:
      return " cannot be written";
    case Kind::CannotOpen:
      return " cannot be opened";
    case Kind::NotADatabase:
      return " is no database of a station, or damaged";
    case Kind::TooNew:
      return " was made by a newer version";
    case Kind::Lost:
      return ": the connection is lost";
    case Kind::Constraint:
      return ": contradicts what is kept";
    case Kind::Other:
      break;
  }
  return ": the database failed";
}

}  // namespace

Place PlaceOf(const std::string& url) {
  const std::string file = "sqlite:";
  if (url.starts_with(file)) return {url.substr(file.size()), url.substr(file.size())};
  const std::size_t scheme = url.find("://");
  if (scheme == std::string::npos) return {url, url};
  if (!url.starts_with("postgresql://")) {
    throw StoreError(Kind::CannotOpen,
                     std::string("neither sqlite: nor postgresql:// begins ").append(url));
  }
  // The user's password, and the options, which may hold one.
  std::string name = url.substr(0, url.find('?'));
  const std::size_t host = name.rfind('@');
  const std::size_t password = name.find(':', scheme + 1);
  if (host != std::string::npos && password < host) name.erase(password, host - password);
  return {url, name, true};
}

Connection::Connection(const Place& place, Role role, std::chrono::milliseconds busy)
    : mPlace(place), mRole(role) {
  if (!mPlace.isPostgresql && mRole == Role::Writes) PrepareFile(mPlace);
  try {
    mSession.open(Parameters(mPlace));
  } catch (const soci::soci_error& error) {
    throw StoreError(
        Kind::CannotOpen,
        std::string(mPlace.name).append(" cannot be opened: ").append(error.get_error_message()));
  }
  Explained(*this, [&] { mPlace.isPostgresql ? SetUpPostgresql(busy) : SetUpSqlite(busy); });
}

void Connection::SetUpSqlite(std::chrono::milliseconds busy) {
  sqlite_api::sqlite3_extended_result_codes(Sqlite(mSession), 1);
  Execute("PRAGMA busy_timeout=" + std::to_string(busy.count()));
  Execute("PRAGMA foreign_keys=ON");
  if (mRole == Role::Reads) {
    Execute("PRAGMA query_only=ON");
    return;
  }
  // Said by the first read, which comes before a foreign file is changed.
  long long program = 0;
  long long tables = 0;
  mSession << "PRAGMA application_id", soci::into(program);
  mSession << "SELECT COUNT(*) FROM sqlite_master", soci::into(tables);
  constexpr long long kStation = 0x44735374;
  if (program != kStation && (program != 0 || tables != 0)) {
    throw StoreError(Kind::NotADatabase, mPlace.name + " is the database of another program");
  }
  Execute("PRAGMA journal_mode=WAL");
  // What is told to be kept is on the disk, not only with the system.
  Execute("PRAGMA synchronous=FULL");
  // While what was journalled goes into the database itself, commits wait: seldom, then, and pages
  // that were written many times go once. In pages of 4 KiB.
  Execute("PRAGMA wal_autocheckpoint=4000");
  if (program == 0) Execute("PRAGMA application_id=" + std::to_string(kStation));
}

void Connection::BackUp(const std::string& file) {
  const int made = open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (made < 0) {
    throw StoreError(errno == ENOSPC ? Kind::Full : Kind::CannotOpen,
                     std::string(file)
                         .append(" cannot be made: ")
                         .append(std::generic_category().message(errno)));
  }
  close(made);
  namespace api = sqlite_api;
  api::sqlite3* copy = nullptr;
  int result = api::sqlite3_open(file.c_str(), &copy);
  if (result == SQLITE_OK) {
    constexpr int kAllPages = -1;
    api::sqlite3_backup* const backup =
        api::sqlite3_backup_init(copy, "main", Sqlite(mSession), "main");
    if (backup != nullptr) api::sqlite3_backup_step(backup, kAllPages);
    result = backup != nullptr ? api::sqlite3_backup_finish(backup) : api::sqlite3_errcode(copy);
  }
  const int closed = api::sqlite3_close(copy);
  if (result == SQLITE_OK) result = closed;
  if (result == SQLITE_OK) return;
  unlink(file.c_str());
  throw StoreError(
      KindOf(result),
      std::string(file).append(": the backup failed: ").append(api::sqlite3_errstr(result)));
}

void Connection::SetUpPostgresql(std::chrono::milliseconds busy) {
  // It would print on standard error what it thinks of a statement.
  PQsetNoticeProcessor(
      Postgresql(mSession), [](void*, const char*) {}, nullptr);
  Execute("SET lock_timeout=" + std::to_string(busy.count()));
}

void Connection::Begin() {
  if (!mPlace.isPostgresql) {
    Execute(mRole == Role::Writes ? "BEGIN IMMEDIATE" : "BEGIN");
  } else {
    Execute(mRole == Role::Writes ? "BEGIN" : "BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
  }
}

void Connection::Rollback() {
  try {
    Execute("ROLLBACK");
  } catch (const soci::soci_error&) {
    // SQLite has rolled back by itself after some errors; a server that is gone does.
  }
}

Kind Connection::PostgresqlKind(const std::exception& error) {
  if (PQstatus(Postgresql(mSession)) == CONNECTION_BAD) return Kind::Lost;
  const auto* const own = dynamic_cast<const soci::postgresql_soci_error*>(&error);
  if (own == nullptr) return Kind::Other;
  // The client's own library has no state for what it says: it no longer hears the server.
  const std::pair<const char*, Kind> kinds[] = {{"08", Kind::Lost},    {"57P", Kind::Lost},
                                                {" ", Kind::Lost},     {"23", Kind::Constraint},
                                                {"53100", Kind::Full}, {"25006", Kind::ReadOnly},
                                                {"55P03", Kind::Busy}, {"40", Kind::Busy}};
  for (const auto& [prefix, kind] : kinds) {
    if (own->sqlstate().starts_with(prefix)) return kind;
  }
  return Kind::Other;
}

StoreError Connection::Explain(const std::exception& error) {
  const Kind kind = mPlace.isPostgresql ? PostgresqlKind(error) : SqliteKind(error);
  // Not what(): it has the values too, hashes of passwords among them.
  const auto* const known = dynamic_cast<const soci::soci_error*>(&error);
  std::string detail = known != nullptr ? known->get_error_message() : error.what();
  while (detail.ends_with('\n')) detail.pop_back();
  return {kind, std::string(mPlace.name).append(KindText(kind)).append(" (" + detail + ")")};
}

std::string InDialect(const Connection& connection, std::string sql) {
  struct Word {
    std::string word;
    const char* sqlite;
    const char* postgresql;
  };
  // Texts in the order of their bytes, whatever language the server speaks.
  static const Word kWords[] = {
      {"{text}", "TEXT", "TEXT COLLATE \"C\""},
      {"{integer}", "INTEGER", "BIGINT"},
      {"{real}", "REAL", "DOUBLE PRECISION"},
      {"{bytes}", "BLOB", "BYTEA"},
      {"{identity}", "INTEGER PRIMARY KEY AUTOINCREMENT",
       "BIGINT GENERATED ALWAYS AS IDENTITY PRIMARY KEY"},
      {"{strict}", "STRICT", ""},
      {"{clustered}", "STRICT, WITHOUT ROWID", ""},
  };
  for (const auto& [word, sqlite, postgresql] : kWords) {
    for (std::size_t at = sql.find(word); at != std::string::npos; at = sql.find(word))
      sql.replace(at, word.size(), connection.IsPostgresql() ? postgresql : sqlite);
  }
  return sql;
}

}  // namespace station
