// The conditions of a filter, as SQL with named values. Only the store's own files include it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "station/store/statement.h"

namespace station {

class Conditions {
 public:
  Conditions() = default;
  // Of runs, as the table "run" of a query.
  explicit Conditions(const RunFilter& filter);

  // "column operation value", where there is a value; each name once.
  template <typename Value>
  void Add(const std::string& condition, const std::string& name,
           const std::optional<Value>& value) {
    if (!value) return;
    Add(condition);
    if constexpr (std::integral<Value>) {
      mNumbers.emplace_back(name, *value);
    } else {
      mTexts.emplace_back(name, *value);
    }
  }
  void Add(const std::string& condition) {
    mSql.append(mSql.empty() ? " WHERE " : " AND ").append(condition);
  }

  // How the table is named in a query for a page of runs. SQLite knows nothing of how often values
  // come: of several filters it might go by the one that nearly all runs pass.
  std::string RunTable(const Connection& connection) const;
  // " WHERE ...", or nothing.
  const std::string& Sql() const { return mSql; }
  Statement& Bind(Statement& statement) const;

 private:
  bool mHasSerial = false;
  int mEqualities = 0;
  std::string mSql;
  std::vector<std::pair<std::string, std::int64_t>> mNumbers;
  std::vector<std::pair<std::string, std::string>> mTexts;
};

}  // namespace station
