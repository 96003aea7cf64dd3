#include "station/store/statement.h"

#include <algorithm>
#include <string_view>

#include "station/store/text.h"

namespace station {

namespace {

// SQLite binds bytes only as a text or in several steps, PostgreSQL texts without NUL.
std::string Hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  hex.reserve(2 * bytes.size());
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    hex += kDigits[byte >> 4U];
    hex += kDigits[byte & 0xFU];
  }
  return hex;
}

unsigned Digit(char hex) {
  return static_cast<unsigned>(hex <= '9' ? hex - '0' : hex - 'a' + 10);
}

}  // namespace

Statement::Statement(Connection& connection, std::string sql)
    : mConnection(connection),
      mSql(std::move(sql)),
      mOwn(std::in_place, connection.Session()),
      mPrepared(&*mOwn) {}

Statement::Statement(Connection& connection, std::string sql, Prepared& kept)
    : mConnection(connection), mSql(std::move(sql)), mPrepared(&kept) {}

Statement Statement::Kept(Connection& connection, const char* sql) {
  auto& kept = connection.KeptStatements();
  auto place = kept.find(sql);
  // One whose values were refused was never prepared.
  if (place != kept.end() && !place->second.isReady) {
    kept.erase(place);
    place = kept.end();
  }
  if (place == kept.end()) place = kept.try_emplace(sql, connection.Session()).first;
  return {connection, sql, place->second};
}

Statement& Statement::Use(const std::string& name, const std::string& text) {
  return Bind(name, mPrepared->texts, mText, Settled(text));
}

Statement& Statement::UseName(const std::string& name, const std::string& text) {
  // A row of PostgreSQL's index has room for 2704 bytes, and an index up to three names.
  constexpr std::size_t kLongest = 512;
  if (Settled(text).size() > kLongest) {
    throw StoreError(StoreError::Kind::Constraint,
                     std::string("a name is too long: ").append(text, 0, kLongest));
  }
  return Use(name, text);
}

Statement& Statement::Use(const std::string& name, double number) {
  return Bind(name, mPrepared->reals, mReal, number);
}

Statement& Statement::UseBytes(const std::string& name, const std::string& bytes) {
  const bool isHex = mConnection.IsPostgresql();
  const std::string word = std::string("{").append(name).append("}");
  if (!mPrepared->isReady) {
    mSql.replace(mSql.find(word), word.size(),
                 std::string(isHex ? "decode(:" : "CAST(:")
                     .append(name)
                     .append(isHex ? ", 'hex')" : " AS BLOB)"));
  }
  return Bind(name, mPrepared->texts, mText, isHex ? Hex(bytes) : bytes);
}

std::size_t Statement::Run() {
  try {
    Start(true);
    return static_cast<std::size_t>(mPrepared->statement.get_affected_rows());
  } catch (...) {
    // Of one that failed nothing is left that the next one could trip over.
    if (!mOwn) {
      auto& kept = mConnection.KeptStatements();
      const auto found = std::find_if(
          kept.begin(), kept.end(), [this](const auto& each) { return &each.second == mPrepared; });
      kept.erase(found);
    }
    throw;
  }
}

void Statement::Start(bool exchanges) {
  soci::statement& statement = mPrepared->statement;
  if (!mPrepared->isReady) {
    statement.alloc();
    statement.prepare(mSql, soci::details::st_one_time_query);
    statement.define_and_bind();
    mPrepared->isReady = true;
  }
  statement.execute(exchanges);
}

std::string BytesColumn(const Connection& connection, const std::string& column) {
  if (!connection.IsPostgresql()) return column;
  return std::string("encode(").append(column).append(", 'hex')");
}

std::string FromBytesColumn(const Connection& connection, std::string fetched) {
  if (!connection.IsPostgresql()) return fetched;
  std::string bytes;
  bytes.reserve(fetched.size() / 2);
  for (std::size_t i = 0; i + 1 < fetched.size(); i += 2)
    bytes += static_cast<char>(Digit(fetched[i]) << 4U | Digit(fetched[i + 1]));
  return bytes;
}

}  // namespace station
