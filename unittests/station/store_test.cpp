// What the station keeps: the same on both databases, whole after a kill, and clear about what it
// cannot keep.
#include "station/store/store.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

#include "station/store/text.h"
#include "station/store/uuid.h"
#include "support/postgresql.h"
#include "support/small_disk.h"
#include "support/test_camera.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)
using Kind = StoreError::Kind;

constexpr Time kNoon = 1'764'072'000'000;  // 2025-11-25T12:00:00Z, a Tuesday
constexpr Time kDay = 86'400'000;

// What was done failed in that way; nothing was thrown: none.
template <typename Act>
std::optional<Kind> KindOf(const Act& act) {
  try {
    act();
  } catch (const StoreError& error) {
    EXPECT_NE(std::string(error.what()), "");
    return error.kind;
  }
  return std::nullopt;
}

RunStart SomeRun(Time startedAt = kNoon, const std::string& serial = "S1") {
  return {NewRunId(startedAt), "bench 1", serial, "KY",    "KY",      "",
          "Final test",        "title=1", "Ann",  "1; 23", startedAt, "2013-08-29T12:00:00"};
}

AttemptStart Start(std::int64_t number, const std::string& item = "test.items.battery") {
  return {number, item, "CResBitBattery", 1, 0, kNoon + number};
}

AttemptEnd End(std::int64_t number, bool passed = true, const std::string& code = "") {
  AttemptEnd end;
  end.number = number;
  end.passed = passed;
  end.code = code;
  return end;
}

void AtOnce(std::size_t threads, const std::function<void(std::size_t)>& act) {
  std::vector<std::thread> running(threads);
  for (std::size_t i = 0; i < threads; ++i) running[i] = std::thread(act, i);
  for (std::thread& each : running) each.join();
}

TEST(TextTest, IsSettledForBothDatabases) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},
      {"\xC3\xA4 \x01\x1B\r\n'\"\\:a", "\xC3\xA4 \x01\x1B\r\n'\"\\:a"},
      {std::string("a\0\0b", 4),
       "a\xEF\xBF\xBD\xEF\xBF\xBD"
       "b"},
      {"\xFF"
       "a\xE2\x82",
       "\xEF\xBF\xBD"
       "a\xEF\xBF\xBD"},
      {std::string("\xE4\0", 2), "\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& [text, settled] : cases) EXPECT_EQ(Settled(text), settled) << text;
  // Overlong, a surrogate, beyond the last: however many marks stand for them, none is left.
  for (const std::string text : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x92"}) {
    EXPECT_EQ(Settled(text), Settled(Settled(text)));
    EXPECT_TRUE(Settled(text).starts_with("\xEF\xBF\xBD"));
  }
}

TEST(TextTest, TimesAreReadAndWritten) {
  const std::tuple<std::string, std::optional<Time>, std::string> cases[] = {
      {"1970-01-01T00:00:00Z", 0, "1970-01-01T00:00:00.000Z"},
      {"2025-11-25t12:00:00.0019z", kNoon + 1, "2025-11-25T12:00:00.001Z"},
      {"2025-11-25T13:30:00.1+01:30", kNoon + 100, "2025-11-25T12:00:00.100Z"},
      {"2025-11-24T23:59:59.12-12:00", kNoon - 880, "2025-11-25T11:59:59.120Z"},
      {"1969-12-31T23:59:59.999Z", -1, "1969-12-31T23:59:59.999Z"},
      {"2024-02-29T00:00:00Z", 1'709'164'800'000, "2024-02-29T00:00:00.000Z"},
  };
  for (const auto& [text, time, written] : cases) {
    EXPECT_EQ(TimeOf(text), time) << text;
    EXPECT_EQ(TimeText(*time), written);
  }
  for (const char* text :
       {"", "2025-11-25", "2025-02-29T00:00:00Z", "2025-11-25T24:00:00Z", "2025-11-25T12:00:00",
        "2025-11-25T12:00:00Zx", "2025-11-25T12:00:00.Z", "2025-13-25T12:00:00Z",
        "2025-11-25 12:00:00Z", "2025-11-25T12:00:00+1:00", "+025-11-25T12:00:00Z"}) {
    EXPECT_EQ(TimeOf(text), std::nullopt) << text;
  }
}

// In the order of their making, also with a clock that is put back, each once among threads.
TEST(RunIdTest, RisesAndIsUnique) {
  std::set<std::string> all;
  std::string last = NewRunId(kNoon);
  EXPECT_EQ(last.substr(0, 15), "019abae2-8a00-7");
  EXPECT_NE(std::string("89ab").find(last[19]), std::string::npos) << last;
  for (int i = 0; i < 10'000; ++i) {
    const std::string next = NewRunId(kNoon + i / 9'000 - i % 2);
    EXPECT_LT(last, next);
    EXPECT_EQ(next.size(), 36U);
    last = next;
  }
  std::mutex lock;
  AtOnce(4, [&](std::size_t) {
    for (int n = 0; n < 1'000; ++n) {
      const std::string id = NewRunId(kNoon);
      const std::lock_guard guard(lock);
      all.insert(id);
    }
  });
  EXPECT_EQ(all.size(), 4'000U);
}

// From here on: what holds on both databases. Each gets the URL of an empty one.

// A run's life, and each step that its state does not allow, which leaves it as it was.
void RunsBeginEndAndGoOn(const std::string& url) {
  Store store(url);
  const RunStart start = SomeRun();
  const std::string& id = start.id;
  const auto refused = [](const auto& act) { EXPECT_EQ(KindOf(act), Kind::Constraint); };
  store.BeginRun(start);
  refused([&] { store.BeginRun(start); });
  refused([&] { store.BeginRun(SomeRun(kNoon, std::string(600, 's'))); });
  store.Journal(id, {}, Start(1));
  refused([&] { store.Journal(id, {}, Start(1)); });
  refused([&] { store.Journal(id, End(2), Start(3)); });
  refused([&] { store.Journal("nobody", {}, Start(1)); });
  AttemptEnd strange = End(1);
  strange.measurements = {{"U", "mV", 3700, 1.0, {}}, {"I", "mA", std::nan(""), {}, {}}};
  refused([&] { store.Journal(id, strange, Start(2)); });
  store.Journal(id, End(1), Start(2));
  refused([&] { store.Journal(id, End(1, false), {}); });
  refused([&] { store.ReopenRun(id); });
  refused([&] { store.MarkArchived(id, kNoon); });
  EXPECT_EQ(store.CountRunsToArchive(), 0);
  refused([&] { store.EndRun(id, {kNoon, Outcome::Running, ""}); });
  store.EndRun(id, {kNoon + 9, Outcome::Incomplete, "lost"});
  refused([&] { store.EndRun(id, {kNoon, Outcome::Passed, ""}); });
  refused([&] { store.Journal(id, {}, Start(3)); });
  store.WriteNote(id, std::string("seal\0\xFF", 6));
  store.MarkArchived(id, kNoon + 10);

  const std::string note = "seal\xEF\xBF\xBD\xEF\xBF\xBD";
  RunRecord expected{start, kNoon + 9, Outcome::Incomplete, "lost", note, kNoon + 10};
  EXPECT_EQ(store.FindRun(id), expected);
  store.ReopenRun(id);
  expected = {start, {}, Outcome::Running, "", note, {}};
  EXPECT_EQ(store.FindRun(id.substr(0, 30)), expected);
  const auto attempts = store.Attempts(id);
  ASSERT_EQ(attempts.size(), 2U);
  EXPECT_TRUE(attempts[0].isEnded && attempts[0].passed && attempts[0].measurements.empty());
  EXPECT_FALSE(attempts[1].isEnded || attempts[1].passed);  // interrupted, and stays so
  store.Journal(id, {}, Start(3));
  store.EndRun(id, {kNoon + 20, Outcome::Passed, ""});
  EXPECT_EQ(store.RunsToArchive(5).at(0).id, id);

  // Another of the same minute: eight characters name both.
  const RunStart second = SomeRun(kNoon + 1'000);
  store.BeginRun(second);
  for (const std::string& name : {id.substr(0, 8), id.substr(0, 7), std::string("%%%%%%%%")})
    EXPECT_EQ(store.FindRun(name), std::nullopt) << name;
  refused([&] { store.WriteNote("nobody", "x"); });
  store.SeeCamera("S1", "renamed", "other", kNoon - 5);
  store.SeeCamera("S0", "new", "N", 7);
  const std::vector<CameraRecord> cameras = {{"S0", "new", "N", 7, 7},
                                             {"S1", "renamed", "KY", kNoon, kNoon + 1'000}};
  EXPECT_EQ(store.Cameras(), cameras);
}

// Writes of sixteen cameras at once, with bad ones among them: those alone fail.
void WritesAreCommittedTogether(const std::string& url) {
  constexpr std::size_t kThreads = 16;
  constexpr std::size_t kAttempts = 6;
  Store store(url);
  std::vector<std::string> ids;
  std::atomic<std::size_t> failed = 0;
  for (std::size_t i = 0; i < kThreads; ++i) {
    store.BeginRun(SomeRun());
    ids.push_back(store.Runs({}, {}, 1).at(0).id);
  }
  AtOnce(kThreads, [&](std::size_t i) {
    store.Journal(ids[i], {}, Start(1));
    for (std::int64_t n = 1; n < std::int64_t{kAttempts}; ++n) {
      store.Journal(ids[i], End(n), Start(n + 1));
      if (KindOf([&] { store.Journal(ids[i], End(n), Start(99)); }) == Kind::Constraint) ++failed;
    }
  });
  EXPECT_EQ(failed, kThreads * (kAttempts - 1));
  for (const std::string& id : ids) {
    const auto attempts = store.Attempts(id);
    EXPECT_EQ(attempts.size(), kAttempts);
    EXPECT_EQ(std::count_if(attempts.begin(), attempts.end(),
                            [](const AttemptRecord& each) { return each.isEnded; }),
              kAttempts - 1);
  }
}

// Values by chance, few enough that they meet; among the texts are hostile ones.
class Chance {
 public:
  explicit Chance(unsigned seed) : mEngine(seed) {}
  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(mEngine); }
  template <typename Value>
  std::optional<Value> Perhaps(const Value& value) {
    return Below(3) == 0 ? std::nullopt : std::optional(value);
  }
  std::string Name() { return kHostile[static_cast<std::size_t>(Below(4))]; }
  std::string Text() {
    return Below(30) == 0 ? kLong : kHostile[static_cast<std::size_t>(Below(6))];
  }
  double Number() { return std::uniform_real_distribution(-1e6, 1e6)(mEngine); }

 private:
  const std::string kHostile[6] = {
      "", "a", "Robert'); DROP TABLE run; --", "\xC3\xA4:x \"$1\" %_\\", "\x01\x7F\r\n\t", "null"};
  const std::string kLong = std::string(70'000, 'x') + "\xE2\x82\xAC";
  std::mt19937 mEngine;
};

struct Kept {
  RunRecord run;
  std::vector<AttemptRecord> attempts;
  std::map<std::int64_t, std::vector<EvidenceRecord>> evidence;
};

AttemptEnd SomeEnd(Chance& chance, std::int64_t number) {
  AttemptEnd end;
  static_cast<AttemptResult&>(end) = {
      chance.Below(2) == 0, chance.Number(), 0xFFFFFFFF,    chance.Text(),
      chance.Text(),        chance.Text(),   chance.Name(), {}};
  end.number = number;
  for (int i = chance.Below(3); i > 0; --i) {
    end.measurements.push_back({chance.Name(), chance.Text(), chance.Number(),
                                chance.Perhaps(chance.Number()), chance.Perhaps(0.1)});
  }
  std::string bytes = chance.Text();
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  if (chance.Below(2) == 0)
    end.evidence = {{EvidenceKind::Picture, bytes}, {EvidenceKind::Trace, ""}};
  return end;
}

std::vector<Kept> KeepByChance(Store& store, Chance& chance, int count) {
  std::vector<Kept> all;
  for (int i = 0; i < count; ++i) {
    Kept kept;
    RunStart& start = kept.run;
    const Time startedAt = kNoon + chance.Below(100);
    start = {NewRunId(startedAt), chance.Text(), chance.Name(), chance.Text(),
             chance.Name(),       chance.Text(), chance.Name(), chance.Text(),
             chance.Name(),       chance.Text(), startedAt,     chance.Text()};
    store.BeginRun(start);
    std::optional<AttemptEnd> end;
    for (std::int64_t number = 1; number <= chance.Below(4); ++number) {
      const AttemptStart next{number, chance.Name(), chance.Text(), 1, 0, startedAt + number};
      store.Journal(start.id, end, next);
      kept.attempts.push_back({next, {}, false});
      end = SomeEnd(chance, number);
      if (chance.Below(4) == 0) end.reset();
      if (!end) continue;
      static_cast<AttemptResult&>(kept.attempts.back()) = static_cast<AttemptResult&>(*end);
      kept.attempts.back().code = end->code.substr(0, 100);
      kept.attempts.back().isEnded = true;
      kept.evidence[number] = end->evidence;
    }
    if (end) store.Journal(start.id, end, {});
    const auto outcome = static_cast<Outcome>(chance.Below(5));
    if (outcome != Outcome::Running) {
      kept.run.endedAt = startedAt + 5;
      kept.run.outcome = outcome;
      kept.run.reason = chance.Text();
      store.EndRun(start.id, {startedAt + 5, outcome, kept.run.reason});
    }
    all.push_back(kept);
  }
  return all;
}

bool Takes(const RunFilter& filter, const RunRecord& run) {
  return filter.serial.value_or(run.serial) == run.serial &&
         filter.variant.value_or(run.variant) == run.variant &&
         filter.planTitle.value_or(run.planTitle) == run.planTitle &&
         filter.outcome.value_or(run.outcome) == run.outcome &&
         filter.operatorName.value_or(run.operatorName) == run.operatorName &&
         filter.from.value_or(run.startedAt) <= run.startedAt &&
         run.startedAt < filter.to.value_or(run.startedAt + 1);
}

// Page by page, what a filter takes of what was written, newest first.
void ExpectPages(Store& store, const std::vector<Kept>& all, Chance& chance) {
  RunFilter filter;
  if (chance.Below(2) == 0) filter.serial = chance.Name();
  if (chance.Below(3) == 0) filter.variant = chance.Name();
  if (chance.Below(3) == 0) filter.planTitle = chance.Name();
  if (chance.Below(3) == 0) filter.operatorName = chance.Name();
  if (chance.Below(3) == 0) filter.outcome = static_cast<Outcome>(chance.Below(5));
  if (chance.Below(3) == 0) filter.from = kNoon + chance.Below(50);
  if (chance.Below(3) == 0) filter.to = kNoon + 50 + chance.Below(50);
  std::map<std::pair<Time, std::string>, RunRecord> expected;
  for (const Kept& each : all) {
    if (Takes(filter, each.run)) expected[{each.run.startedAt, each.run.id}] = each.run;
  }
  std::optional<RunCursor> after;
  auto next = expected.rbegin();
  constexpr std::size_t kPage = 7;
  for (std::size_t found = kPage; found == kPage;) {
    const std::vector<RunRecord> page = store.Runs(filter, after, kPage);
    found = page.size();
    for (const RunRecord& run : page) {
      ASSERT_NE(next, expected.rend());
      EXPECT_EQ(run, (next++)->second);
      after = {run.startedAt, run.id};
    }
  }
  EXPECT_EQ(next, expected.rend());
}

// What is read is what was written, also by who opens it later.
void WhatIsWrittenIsRead(const std::string& url) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::vector<Kept> all;
  {
    Store writing(url);
    std::mutex lock;
    AtOnce(10, [&](std::size_t i) {
      Chance chance(seed + static_cast<unsigned>(i));
      std::vector<Kept> some = KeepByChance(writing, chance, 25);
      const std::lock_guard guard(lock);
      std::move(some.begin(), some.end(), std::back_inserter(all));
    });
  }
  Chance chance(seed);
  Store store(url);
  EXPECT_EQ(store.PendingMigrations(), 0);
  for (const Kept& kept : all) {
    EXPECT_EQ(store.FindRun(kept.run.id), kept.run);
    EXPECT_EQ(store.Attempts(kept.run.id), kept.attempts);
    for (const auto& [number, evidence] : kept.evidence)
      EXPECT_EQ(store.Evidence(kept.run.id, number), evidence);
  }
  for (int i = 0; i < 60; ++i) ExpectPages(store, all, chance);
}

// A run of that plan with its attempts, "battery OK" or "clock E 0012".
void Make(Store& store, Time at, const std::string& serial, Outcome outcome,
          const std::vector<std::string>& attempts, const std::string& plan = "Final") {
  RunStart run = SomeRun(at, serial);
  run.planTitle = plan;
  run.variant = serial.substr(0, 2);
  store.BeginRun(run);
  std::int64_t number = 0;
  for (const std::string& each : attempts) {
    const std::size_t blank = each.find(' ');
    AttemptStart start = Start(++number, each.substr(0, blank));
    start.startedAt = at + number;
    store.Journal(run.id, {}, start);
    const std::string code = each.substr(blank + 1);
    AttemptEnd end = End(number, code == "OK", code == "OK" ? "" : code);
    if (code == "refused") end.problem = code;
    end.measurements = {{"U", "mV", static_cast<double>(number), 1.0, {}}, {"I", "mA", 0, {}, {}}};
    store.Journal(run.id, end, {});
  }
  store.EndRun(run.id, {at + 100, outcome, ""});
}

// Cameras KY1 and so on, of the variant that their first two letters name.
void StatisticsCount(const std::string& url) {
  Store store(url);
  const Time monday = kNoon - kNoon % kDay - kDay;  // 2025-11-24
  Make(store, monday - 1, "KY1", Outcome::Passed, {"clock E 1"}, "Other");
  Make(store, monday - 1, "KY1", Outcome::Incomplete, {"clock refused"});
  Make(store, monday, "KY1", Outcome::Passed, {"battery OK"});
  Make(store, monday + 1, "KY1", Outcome::Failed, {"battery E 2", "clock E 1"});
  Make(store, monday + 2, "KY2", Outcome::PassedOnRetry, {"battery E 2", "battery OK"});
  Make(store, monday + 7 * kDay - 1, "KY3", Outcome::Passed, {"clock OK"});
  Make(store, monday + 7 * kDay, "KY4", Outcome::Failed, {"battery E 3"});
  Make(store, monday + 7 * kDay, "KY4", Outcome::Passed, {"battery OK"});
  Make(store, monday + 8 * kDay, "N.1", Outcome::Incomplete, {"clock E 1", "clock refused"});
  Make(store, monday + 8 * kDay, "KY2", Outcome::Passed, {});

  const std::vector<YieldRow> weeks = {{monday - 7 * kDay, "KY", 0, 0, 1},
                                       {monday, "KY", 3, 2, 0},
                                       {monday + 7 * kDay, "KY", 1, 0, 0},
                                       {monday + 7 * kDay, "N.", 0, 0, 1}};
  EXPECT_EQ(store.Yield("Final", monday - 1, monday + 9 * kDay), weeks);
  // A camera's first complete run may lie before the period.
  const std::vector<YieldRow> later = {{monday, "KY", 2, 1, 0}};
  EXPECT_EQ(store.Yield("Final", monday + 1, monday + 7 * kDay), later);
  EXPECT_TRUE(store.Yield("None", 0, 2 * kNoon).empty());

  const std::vector<FailureRow> failures = {{"battery", 3, {{"E 2", 2}, {"E 3", 1}}},
                                            {"clock", 3, {{"E 1", 3}}}};
  EXPECT_EQ(store.Failures({}), failures);
  RunFilter filter;
  filter.planTitle = "Final";
  filter.from = monday + 2;
  const std::vector<FailureRow> some = {{"battery", 2, {{"E 2", 1}, {"E 3", 1}}},
                                        {"clock", 1, {{"E 1", 1}}}};
  EXPECT_EQ(store.Failures(filter), some);

  // Of the latest five of KY's without the passed run of KY3; one that rested counts by its camera.
  RunFilter lengths;
  lengths.variant = "KY";
  lengths.planTitle = "Final";
  lengths.serial = "KY3";
  const std::string except = store.Runs(lengths, {}, 1).at(0).id;
  lengths.serial.reset();
  const std::vector<ItemLength> five = {{"battery", (99 + 99 + 1 + 98 + 1) / 5, 99},
                                        {"clock", 98, 98}};
  EXPECT_EQ(store.Lengths(lengths, 5, except), five);
  RunStart rests = SomeRun();
  rests.planTitle = "Rests";
  store.BeginRun(rests);
  store.Journal(rests.id, {}, Start(1));
  AttemptEnd end = End(1);
  end.seconds = 2;
  store.Journal(rests.id, end, Start(2));
  store.EndRun(rests.id, {kNoon + kDay, Outcome::Incomplete, ""});
  lengths.planTitle = "Rests";
  EXPECT_EQ(store.Lengths(lengths, 5, except),
            (std::vector<ItemLength>{{"test.items.battery", 1, 1}}));
  store.ReopenRun(rests.id);
  AttemptEnd last = End(2);
  last.seconds = 2;
  store.Journal(rests.id, last, {});
  store.EndRun(rests.id, {kNoon + kDay, Outcome::Passed, ""});
  EXPECT_EQ(store.Lengths(lengths, 5, except),
            (std::vector<ItemLength>{{"test.items.battery", 1500, 3000}}));
  EXPECT_TRUE(store.Lengths(lengths, 5, rests.id).empty());

  const auto trend = [&store](const TrendFilter& wanted, std::size_t limit) {
    std::string points;
    for (const TrendPoint& point : store.Trend(wanted, limit)) {
      EXPECT_EQ(point.measurement.name + point.measurement.unit, "UmV");
      EXPECT_EQ(point.measurement.lower, 1.0);
      EXPECT_EQ(point.measurement.upper, std::nullopt);
      EXPECT_EQ(store.FindRun(point.run)->serial, point.serial);
      points +=
          point.serial + " " + std::to_string(static_cast<int>(point.measurement.value)) + ",";
    }
    return points;
  };
  EXPECT_EQ(trend({"battery", "U", {}, {}, {}}, 3), "KY4 1,KY4 1,KY2 2,");
  EXPECT_EQ(trend({"battery", "U", "KY1", {}, {}}, 9), "KY1 1,KY1 1,");
  EXPECT_EQ(trend({"battery", "U", "KY1", {}, monday + 2}, 9), "KY1 1,");
  EXPECT_EQ(trend({"battery", "U", {}, monday + 3, monday + 4}, 9), "KY2 1,");
  EXPECT_EQ(trend({"battery", "V", {}, {}, {}}, 9), "");
  EXPECT_EQ(store.Measurements(), (std::vector<KnownMeasurement>{{"battery", "I", "mA"},
                                                                 {"battery", "U", "mV"},
                                                                 {"clock", "I", "mA"},
                                                                 {"clock", "U", "mV"}}));
}

void OldRunsAreDeleted(const std::string& url) {
  Store store(url);
  for (int i = 0; i < 26; ++i) Make(store, kNoon + i, "KY1", Outcome::Passed, {"battery OK"});
  const RunStart running = SomeRun(kNoon);
  store.BeginRun(running);
  store.Journal(running.id, {}, Start(1));
  const std::string archived = store.RunsToArchive(2).at(1).id;
  EXPECT_NE(archived, store.RunsToArchive(1).at(0).id);
  store.MarkArchived(archived, kNoon);
  EXPECT_EQ(store.CountRunsToArchive(), 25);
  EXPECT_EQ(store.Prune(kNoon + 22, true), 1U);
  EXPECT_EQ(store.FindRun(archived), std::nullopt);
  EXPECT_TRUE(store.Attempts(archived).empty());
  EXPECT_EQ(store.Prune(kNoon + 22, false), 21U);
  EXPECT_EQ(store.Runs({}, {}, 100).size(), 5U);
  EXPECT_EQ(store.Attempts(running.id).size(), 1U);
  EXPECT_EQ(store.Trend({"battery", "U", {}, {}, {}}, 100).size(), 4U);
}

void UsersAndTheirActsAreKept(const std::string& url) {
  Store store(url);
  UserRecord ann{"ann", "operator", "$argon2id$\xFF", {}};
  store.AddUser(ann);
  EXPECT_EQ(KindOf([&] { store.AddUser(ann); }), Kind::Constraint);
  EXPECT_EQ(KindOf([&] { store.ChangeUser("bob", {"operator", {}, {}}); }), Kind::Constraint);
  EXPECT_EQ(KindOf([&] { store.AddSession({"h", "bob", 1}, "", 0); }), Kind::Constraint);
  store.ChangeUser("ann", {"engineer", "x", {}});
  ann = {"ann", "engineer", "x", {}};
  store.AddUser({"Zoe", "administrator", "", {}});
  EXPECT_EQ(store.FindUser("ann"), ann);
  EXPECT_EQ(store.FindUser("bob"), std::nullopt);
  EXPECT_EQ(store.Users().at(0).name, "Zoe");
  const SessionRecord session{"h1", "ann", kNoon};
  EXPECT_EQ(KindOf([&] { store.AddSession(session, "y", 0); }), Kind::Constraint);
  store.AddSession(session, "x", 0);
  store.AddSession({"h2", "ann", kNoon}, "x", 0);
  store.AddSession({"h4", "Zoe", kNoon - 1}, "", 0);
  store.AddSession({"h3", "Zoe", kNoon}, "", kNoon);
  EXPECT_EQ(store.FindSession("h1"), session);
  store.EndSession("h1");
  EXPECT_EQ(store.FindSession("h1"), std::nullopt);
  EXPECT_NE(store.FindSession("h2"), std::nullopt);
  EXPECT_EQ(KindOf([&] { store.ChangeUser("Zoe", {"operator", {}, {}}); }), Kind::Constraint);
  EXPECT_EQ(store.FindUser("Zoe")->role, "administrator") << "the last one";
  store.ChangeUser("ann", {{}, {}, std::optional<Time>(kNoon)});
  EXPECT_EQ(KindOf([&] { store.AddSession({"h5", "ann", kNoon}, "x", 0); }), Kind::Constraint);
  std::string left;
  for (const char* hash : {"h2", "h3", "h4"}) left += store.FindSession(hash) ? hash : "";
  EXPECT_EQ(left, "h3");
  for (int i = 0; i < 3; ++i) store.WriteAudit({kNoon - i, "ann", "sign-in " + std::to_string(i)});
  const auto newest = store.Audit({}, 2);
  ASSERT_EQ(newest.size(), 2U);
  EXPECT_EQ(newest[0].what + newest[1].what, "sign-in 2sign-in 1");
  EXPECT_EQ(store.Audit(newest[1].id, 9).at(0).happenedAt, kNoon);
}

const std::pair<const char*, void (*)(const std::string& url)> kOnBoth[] = {
    {"runs", RunsBeginEndAndGoOn}, {"together", WritesAreCommittedTogether},
    {"read", WhatIsWrittenIsRead}, {"statistics", StatisticsCount},
    {"prune", OldRunsAreDeleted},  {"users", UsersAndTheirActsAreKept},
};

TEST(SqliteTest, KeepsWhatItIsTold) {
  const TemporaryFolder folder;
  for (const auto& [name, check] : kOnBoth) {
    SCOPED_TRACE(name);
    check("sqlite:" + (folder.Path() / (std::string(name) + " of 'us'.db")).string());
  }
}

TEST(PostgresqlTest, KeepsWhatItIsTold) {
  Postgresql server;
  for (const auto& [name, check] : kOnBoth) {
    SCOPED_TRACE(name);
    check(server.Fresh());
  }
  // Its own means for copies; connections that were lost are made anew.
  Store store(server.Fresh());
  EXPECT_EQ(KindOf([&] { store.BackUp("/tmp/never"); }), Kind::Other);
  for (const bool isSudden : {false, true}) {
    EXPECT_LT(store.Cameras().size(), 2U);
    isSudden ? server.Break()
             : server.Execute(
                   "SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                   "WHERE pid <> pg_backend_pid() AND backend_type = 'client backend'");
    store.SeeCamera("S", "", "", 0);
    EXPECT_EQ(store.Cameras().size(), 1U);
  }
  EXPECT_EQ(KindOf([] { Store("postgresql://u:secret@/x?host=/nowhere"); }), Kind::CannotOpen);
}

// From here on: a file, and what can be wrong with it.

// A connection that is not the store's.
class Sqlite {
 public:
  explicit Sqlite(const std::string& file) { EXPECT_EQ(sqlite3_open(file.c_str(), &mFile), 0); }
  ~Sqlite() { sqlite3_close(mFile); }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;
  // The first value of the last row, where there is one.
  std::string Do(const std::string& sql) {
    std::string answer;
    const auto take = [](void* to, int, char** values, char**) {
      *static_cast<std::string*>(to) = values[0];
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(mFile, sql.c_str(), take, &answer, nullptr), 0)
        << sql << sqlite3_errmsg(mFile);
    return answer;
  }

 private:
  sqlite3* mFile = nullptr;
};

// Opens files as one for whom permissions count.
std::optional<Kind> AsOrdinaryUser(const std::function<std::optional<Kind>()>& opening) {
  constexpr uid_t kNobody = 65'534;
  EXPECT_EQ(getuid() == 0 ? seteuid(kNobody) : 0, 0);
  const std::optional<Kind> kind = opening();
  EXPECT_EQ(seteuid(getuid()), 0);
  return kind;
}

constexpr StoreOptions kImpatient{std::chrono::milliseconds(20)};

TEST(SqliteTest, SaysWhatIsWrongWithAFile) {
  const TemporaryFolder folder;
  const auto path = [&folder](const char* name) { return (folder.Path() / name).string(); };
  const auto opening = [](const std::string& url) {
    return KindOf([&url] { const Store store(url, kImpatient); });
  };
  const std::string file = path("a.db");
  EXPECT_EQ(opening(file), std::nullopt);
  struct stat made = {};
  EXPECT_EQ(stat(file.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0600U);
  std::ofstream(path("text")) << std::string(5'000, 'x');
  Sqlite(path("foreign")).Do("CREATE TABLE camera (x)");
  const std::pair<std::string, Kind> places[] = {{path("missing/a.db"), Kind::CannotOpen},
                                                 {path(""), Kind::CannotOpen},
                                                 {"mysql://localhost/a", Kind::CannotOpen},
                                                 {path("text"), Kind::NotADatabase},
                                                 {path("foreign"), Kind::NotADatabase}};
  for (const auto& [place, kind] : places) EXPECT_EQ(opening(place), kind) << place;
  EXPECT_EQ(Sqlite(path("foreign")).Do("PRAGMA journal_mode"), "delete");  // left as it was

  {
    Sqlite other(file);
    other.Do(
        "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE; INSERT INTO schema_migration "
        "VALUES (99)");
    EXPECT_EQ(opening(file), Kind::Busy);
    other.Do("COMMIT");
  }
  EXPECT_EQ(opening(file), Kind::TooNew);
  Sqlite(file).Do("DELETE FROM schema_migration WHERE number = 99");
  EXPECT_EQ(opening(file), std::nullopt);

  // Modes of the folder and of the file; which one is opened.
  const std::tuple<mode_t, mode_t, std::string> closed[] = {
      {0777, 0444, file}, {0555, 0666, file}, {0555, 0666, path("new.db")}};
  for (const auto& [folderMode, fileMode, opened] : closed) {
    ASSERT_EQ(chmod(folder.Path().c_str(), folderMode) + chmod(file.c_str(), fileMode), 0);
    EXPECT_EQ(AsOrdinaryUser([&, &place = opened] { return opening(place); }), Kind::ReadOnly);
  }
  EXPECT_EQ(chmod(folder.Path().c_str(), 0777), 0);
}

TEST(SqliteTest, AnotherProcessHoldsTheFileForAWhile) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "a.db").string();
  Store store(file, kImpatient);
  Sqlite other(file);
  other.Do("BEGIN IMMEDIATE");
  EXPECT_EQ(KindOf([&] { store.SeeCamera("S1", "", "", 0); }), Kind::Busy);
  EXPECT_TRUE(store.Cameras().empty());  // reads go on
  other.Do("COMMIT");
  store.SeeCamera("S1", "", "", 0);
  EXPECT_EQ(store.Cameras().size(), 1U);
}

// It stays as it is until that is asked for, perhaps after a copy was made.
TEST(SqliteTest, AnOlderDatabaseIsBroughtUp) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "a.db").string();
  const std::string copy = (folder.Path() / "copy.db").string();
  Store(file).SeeCamera("S1", "", "", 0);
  const std::string indexes = "SELECT COUNT(*) FROM sqlite_master WHERE sql LIKE 'CREATE INDEX%'";
  {
    Sqlite older(file);
    const std::string drops = older.Do(
        "SELECT group_concat('DROP INDEX ' || name, ';') FROM sqlite_master "
        "WHERE sql LIKE 'CREATE INDEX%'");
    older.Do("DELETE FROM schema_migration WHERE number > 1; " + drops);
  }
  Store store(file);
  EXPECT_EQ(store.PendingMigrations(), 1);
  store.BackUp(copy);
  EXPECT_EQ(KindOf([&] { store.BackUp(copy); }), Kind::CannotOpen);
  EXPECT_EQ(Sqlite(file).Do(indexes), "0");
  store.Migrate();
  EXPECT_EQ(store.PendingMigrations(), 0);
  EXPECT_EQ(Sqlite(file).Do(indexes), "10");
  struct stat made = {};
  EXPECT_EQ(stat(copy.c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0600U);
  Store restored(copy);
  EXPECT_EQ(restored.PendingMigrations(), 1);
  EXPECT_EQ(restored.Cameras().size(), 1U);
}

// What was kept stays, what finds no room is said, and with room again it goes on.
TEST(SqliteTest, AFullDisk) {
  const TemporaryFolder folder;
  if (!MountSmallDisk(folder.Path())) {
    GTEST_SKIP() << "only root can make a small disk";
  }
  const std::string file = (folder.Path() / "a.db").string();
  const std::string ballast = (folder.Path() / "ballast").string();
  std::ofstream(ballast) << std::string(600'000, 'x');
  {
    Store store(file);
    const RunStart run = SomeRun();
    store.BeginRun(run);
    store.Journal(run.id, {}, Start(1));
    AttemptEnd large = End(1);
    large.evidence = {{EvidenceKind::Picture, std::string(50'000, 'x')}};
    std::optional<Kind> problem;
    for (; !problem && large.number < 99; large.number += problem ? 0 : 1)
      problem = KindOf([&] { store.Journal(run.id, large, Start(large.number + 1)); });
    EXPECT_EQ(problem, Kind::Full);
    EXPECT_EQ(store.Attempts(run.id).size(), static_cast<std::size_t>(large.number));
    std::filesystem::remove(ballast);
    store.Journal(run.id, large, Start(large.number + 1));
    EXPECT_EQ(store.Attempts(run.id).size(), static_cast<std::size_t>(large.number) + 1);
  }
  EXPECT_EQ(Sqlite(file).Do("PRAGMA integrity_check"), "ok");
  EXPECT_EQ(umount(folder.Path().c_str()), 0);
}

// Journals attempts for ever, and tells each that it was told is kept.
[[noreturn]] void JournalUntilKilled(const std::string& file, const RunStart& run, int tells) {
  Store store(file);
  if (!store.FindRun(run.id)) store.BeginRun(run);
  auto number = static_cast<std::int64_t>(store.Attempts(run.id).size()) + 1;
  store.Journal(run.id, {}, Start(number));
  for (;; ++number) {
    store.Journal(run.id, End(number), Start(number + 1));
    if (write(tells, &number, sizeof number) < 0) _exit(1);
  }
}

TEST(SqliteTest, AKilledProcessLosesNothing) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "a.db").string();
  const RunStart run = SomeRun();
  for (const int told : {1, 7, 40}) {
    int pipes[2] = {};
    ASSERT_EQ(pipe(pipes), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) JournalUntilKilled(file, run, pipes[1]);
    close(pipes[1]);
    std::int64_t last = 0;
    for (int i = 0; i < told; ++i)
      EXPECT_EQ(read(pipes[0], &last, sizeof last), static_cast<ssize_t>(sizeof last));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    while (read(pipes[0], &last, sizeof last) > 0) continue;
    close(pipes[0]);
    EXPECT_EQ(Sqlite(file).Do("PRAGMA integrity_check"), "ok");
    const auto attempts = Store(file).Attempts(run.id);
    ASSERT_GT(attempts.size(), static_cast<std::size_t>(last));
    EXPECT_TRUE(attempts[static_cast<std::size_t>(last) - 1].isEnded);
    EXPECT_FALSE(attempts.back().isEnded);
  }
}

}  // namespace
}  // namespace test
