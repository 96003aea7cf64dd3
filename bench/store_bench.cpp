// What keeping costs: a journalled attempt against the bare transactions that it needs; pages of
// the history and statistics as the attempts grow from 10,000 to a million.
#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdio>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "bench/ratio_reporter.h"
#include "station/store/store.h"
#include "station/store/uuid.h"
#include "support/test_camera.h"

namespace {

using station::Store;

constexpr station::Time kStart = 1'764'072'000'000;  // 2025-11-25T12:00:00Z

void Do(sqlite3* database, const std::string& sql) {
  char* error = nullptr;
  if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
    fprintf(stderr, "%s\n", error);
    std::exit(1);
  }
}

std::string Joined(std::initializer_list<std::string_view> parts) {
  std::string text;
  for (const std::string_view part : parts) text.append(part);
  return text;
}

sqlite3* Opened(const std::string& file) {
  sqlite3* database = nullptr;
  sqlite3_open(file.c_str(), &database);
  Do(database, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL");
  return database;
}

station::RunStart SomeRun() {
  station::RunStart run;
  run.id = station::NewRunId(kStart);
  run.serial.append("S");
  run.startedAt = kStart;
  return run;
}

// An attempt's beginning and end, each on disk before the next, as a run's are.
void JournalledAttempt(benchmark::State& state) {
  const test::TemporaryFolder folder;
  Store store((folder.Path() / "a.db").string());
  const station::RunStart run = SomeRun();
  store.BeginRun(run);
  station::AttemptStart start;
  start.item = "test.items.battery.battery";
  start.number = 0;
  station::AttemptEnd end;
  end.value.append("OK      ");
  end.passed = true;
  while (state.KeepRunning()) {
    ++start.number;
    store.Journal(run.id, std::nullopt, start);
    end.number = start.number;
    store.Journal(run.id, end, std::nullopt);
  }
}
BENCHMARK(JournalledAttempt)->UseRealTime();

void BareTransactionPair(benchmark::State& state) {
  const test::TemporaryFolder folder;
  sqlite3* const database = Opened((folder.Path() / "a.db").string());
  Do(database,
     "CREATE TABLE a (run TEXT, number INTEGER, item TEXT, passed INTEGER, value TEXT, "
     "PRIMARY KEY (run, number)) WITHOUT ROWID");
  sqlite3_stmt* begin = nullptr;
  sqlite3_stmt* end = nullptr;
  sqlite3_prepare_v2(database,
                     "INSERT INTO a (run, number, item) VALUES "
                     "('019aba3c-5f23-7a10-9c1b-0f6c3a8d2e41', ?, 'test.items.battery.battery')",
                     -1, &begin, nullptr);
  sqlite3_prepare_v2(database,
                     "UPDATE a SET passed = 1, value = 'OK      ' WHERE run = "
                     "'019aba3c-5f23-7a10-9c1b-0f6c3a8d2e41' AND number = ?",
                     -1, &end, nullptr);
  sqlite3_int64 number = 0;
  while (state.KeepRunning()) {
    ++number;
    for (sqlite3_stmt* const each : {begin, end}) {
      sqlite3_bind_int64(each, 1, number);
      if (sqlite3_step(each) != SQLITE_DONE) state.SkipWithError(sqlite3_errmsg(database));
      sqlite3_reset(each);
    }
  }
  sqlite3_finalize(begin);
  sqlite3_finalize(end);
  sqlite3_close(database);
}
BENCHMARK(BareTransactionPair)->UseRealTime();

// Ten attempts a run, a run a minute, 5,000 cameras of 16 variants, every twentieth run failed.
class Filled {
 public:
  explicit Filled(std::int64_t attempts) {
    const std::string file = (mFolder.Path() / "a.db").string();
    { const Store made(file); }
    sqlite3* const database = Opened(file);
    std::string runs =
        "WITH RECURSIVE n (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i + 1 < ";
    runs.append(std::to_string(attempts / 10)).append(") ");
    Do(database, "BEGIN");
    const std::string start = std::to_string(kStart);
    Do(database, Joined({runs,
                         "INSERT OR IGNORE INTO camera SELECT 'S' || (i % 5000), '', 'V' || "
                         "(i % 5000 % 16), 0, 0 FROM n"}));
    Do(database,
       Joined({runs,
               "INSERT INTO run (id, station, serial, camera_name, variant, scanned_serial, "
               "plan_title, operator_name, versions, started_at, camera_time, ended_at, outcome, "
               "plan_text) SELECT printf('%08x-0000-7000-8000-000000000000', i), 'b', 'S' || "
               "(i % 5000), '', 'V' || (i % 5000 % 16), '', 'T', 'O' || (i % 40), '', ",
               start, " + i * 60000, '', ", start,
               " + i * 60000 + 30000, CASE i % 20 WHEN 0 THEN 'failed' ELSE 'passed' END, "
               "hex(randomblob(300)) FROM n"}));
    Do(database,
       Joined({runs,
               ", k (j) AS (SELECT 1 UNION ALL SELECT j + 1 FROM k WHERE j < 10) "
               "INSERT INTO attempt SELECT printf('%08x-0000-7000-8000-000000000000', i), j, "
               "'test.items.a.i' || j, 'C', 1, 0, ",
               start,
               " + i * 60000 + j, NOT (i % 20 = 0 AND j = 3), 0, 0, 'OK', CASE WHEN i % 20 = 0 "
               "AND j = 3 THEN 'E 0021' ELSE '' END, '', '' FROM n, k"}));
    Do(database, "COMMIT; ANALYZE");
    sqlite3_close(database);
    mStore = std::make_unique<Store>(file);
  }
  Store& Get() { return *mStore; }
  // Made once for each number of attempts.
  static Store& Of(std::int64_t attempts) {
    static std::map<std::int64_t, std::unique_ptr<Filled>> filled;
    auto& found = filled[attempts];
    if (found == nullptr) found = std::make_unique<Filled>(attempts);
    return found->Get();
  }

 private:
  test::TemporaryFolder mFolder;
  std::unique_ptr<Store> mStore;
};

void HistoryPage(benchmark::State& state) {
  Store& store = Filled::Of(state.range(0));
  std::vector<station::RunFilter> filters(4);
  filters[1].serial.emplace("S7");
  filters[2].variant.emplace("V3");
  filters[2].outcome = station::Outcome::Failed;
  filters[3].operatorName.emplace("O5");
  std::size_t next = 0;
  while (state.KeepRunning()) {
    constexpr std::size_t kPage = 50;
    benchmark::DoNotOptimize(store.Runs(filters[next++ % filters.size()], std::nullopt, kPage));
  }
}
void Yields(benchmark::State& state) {
  Store& store = Filled::Of(state.range(0));
  while (state.KeepRunning()) benchmark::DoNotOptimize(store.Yield("T", 0, kStart * 2));
}
void FailingItems(benchmark::State& state) {
  Store& store = Filled::Of(state.range(0));
  while (state.KeepRunning()) benchmark::DoNotOptimize(store.Failures({}));
}
constexpr std::int64_t kLeast = 10'000;
constexpr std::int64_t kMost = 1'000'000;
BENCHMARK(HistoryPage)->RangeMultiplier(10)->Range(kLeast, kMost)->Unit(benchmark::kMillisecond);
BENCHMARK(Yields)->RangeMultiplier(10)->Range(kLeast, kMost)->Unit(benchmark::kMillisecond);
BENCHMARK(FailingItems)->RangeMultiplier(10)->Range(kLeast, kMost)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSpeed("JournalledAttempt", "BareTransactionPair");
  return 0;
}
