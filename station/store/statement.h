// One statement with what is bound to it, by names. Only the store's own files include it.
#pragma once

#include <concepts>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "station/store/connection.h"
#include "station/store/types.h"

namespace station {

// How a value is fetched: as what the library knows, with a flag for NULL, which leaves a value as
// it was made.
template <typename Target>
struct Column {
  using Raw = std::conditional_t<std::integral<Target>, long long, Target>;
  Raw raw{};
  soci::indicator indicator = soci::i_null;
  void Store(Target& target) const {
    target = indicator == soci::i_null ? Target{} : static_cast<Target>(raw);
  }
};
template <typename Target>
struct Column<std::optional<Target>> : Column<Target> {
  void Store(std::optional<Target>& target) const {
    target.reset();
    if (this->indicator != soci::i_null) Column<Target>::Store(target.emplace());
  }
};
template <>
struct Column<Outcome> : Column<std::string> {
  void Store(Outcome& target) const { target = OutcomeOf(raw).value_or(Outcome::Incomplete); }
};
template <>
struct Column<EvidenceKind> : Column<std::string> {
  void Store(EvidenceKind& target) const { target = EvidenceOf(raw).value_or(EvidenceKind{}); }
};

class Statement {
 public:
  Statement(Connection& connection, std::string sql);
  // One that is made again and again, with the same calls of Use: it is prepared once. Only to Run,
  // and no second one of it meanwhile.
  static Statement Kept(Connection& connection, const char* sql);

  // Texts are settled here, whoever wrote them.
  Statement& Use(const std::string& name, const std::string& text);
  Statement& Use(const std::string& name, double number);
  // A text that an index holds, where only so much has room: StoreError where it is longer.
  Statement& UseName(const std::string& name, const std::string& text);
  template <std::integral Number>
  Statement& Use(const std::string& name, Number number) {
    return Bind(name, mPrepared->numbers, mNumber, static_cast<long long>(number));
  }
  template <typename Value>
  Statement& Use(const std::string& name, const std::optional<Value>& value) {
    Use(name, value.value_or(Value{}));
    if (!value) mPrepared->indicators[mIndicator - 1] = soci::i_null;
    return *this;
  }
  // In place of "{name}" of the SQL.
  Statement& UseBytes(const std::string& name, const std::string& bytes);

  // The number of rows that it changed.
  std::size_t Run();
  // Calls take() for each row, whose values are in the targets then.
  template <typename... Targets, typename Take>
  void Each(const std::tuple<Targets&...>& targets, const Take& take) {
    std::tuple<Column<Targets>...> columns;
    std::apply(
        [this](auto&... column) {
          (mPrepared->statement.exchange(soci::into(column.raw, column.indicator)), ...);
        },
        columns);
    Start(false);
    while (mPrepared->statement.fetch()) {
      StoreAll(columns, targets, std::index_sequence_for<Targets...>());
      take();
    }
  }
  // The values of the first row; false, and nothing changed, where there is none.
  template <typename... Targets>
  bool One(Targets&... targets) {
    bool isFound = false;
    Each(std::tie(targets...), [&isFound] { isFound = true; });
    return isFound;
  }

 private:
  Statement(Connection& connection, std::string sql, Prepared& kept);
  // place: of the value among those of its kind.
  template <typename Value>
  Statement& Bind(const std::string& name, std::deque<Value>& values, std::size_t& place,
                  Value value) {
    auto& indicators = mPrepared->indicators;
    if (mPrepared->isReady) {
      values.at(place) = std::move(value);
      indicators.at(mIndicator) = soci::i_ok;
    } else {
      values.push_back(std::move(value));
      indicators.push_back(soci::i_ok);
      mPrepared->statement.exchange(soci::use(values.back(), indicators.back(), name));
    }
    ++place;
    ++mIndicator;
    return *this;
  }
  template <typename Columns, typename Targets, std::size_t... Places>
  static void StoreAll(const Columns& columns, const Targets& targets,
                       std::index_sequence<Places...> /*places*/) {
    (std::get<Places>(columns).Store(std::get<Places>(targets)), ...);
  }
  // exchanges: the values too, of a statement that fetches none.
  void Start(bool exchanges);

  Connection& mConnection;
  std::string mSql;
  std::optional<Prepared> mOwn;  // else the connection's
  Prepared* mPrepared;
  // How many were given.
  std::size_t mText = 0;
  std::size_t mNumber = 0;
  std::size_t mReal = 0;
  std::size_t mIndicator = 0;
};

// How a column of bytes is selected, for FromBytesColumn.
std::string BytesColumn(const Connection& connection, const std::string& column);
std::string FromBytesColumn(const Connection& connection, std::string fetched);

}  // namespace station
