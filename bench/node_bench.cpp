// What a call of the program costs on the desk: a node opened, read and closed against a look-up in
// a map; a record against the bare writing of its line; a hand-over of the virtual clock's turn
// against a pair of semaphores.
#include <benchmark/benchmark.h>
#include <semaphore.h>

#include <cstdio>
#include <map>
#include <string>
#include <thread>

#include "bench/ratio_reporter.h"
#include "clock/clock.h"
#include "items/bit_log_file.h"
#include "support/test_camera.h"

namespace {

constexpr char kNode[] = "test.items.eeprom.main";

void OpenGetClose(benchmark::State& state) {
  test::TestCamera camera("KY");
  const TARQ::CSupervisor supervisor;
  TARQ::CResourceTree& tree = camera.Camera().TaskTree();
  const TARQ::CResourcePath path(kNode);
  while (state.KeepRunning()) {
    TARQ::CResource* node = nullptr;
    TARQ::CResourceValue value("");
    if (tree.OpenResource(path, node, nullptr) != 0 || node->Get(value, nullptr) != 0) {
      state.SkipWithError("no such node");
      break;
    }
    node->Close();
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(OpenGetClose);

// The same paths in a map, and a copy of the value found there.
void MapLookUp(benchmark::State& state) {
  test::TestCamera camera("KY");
  std::map<std::string, std::string> values;
  const auto collect = [&values](const auto& self, const test::Json& node) -> void {
    values[node["path"].get<std::string>()] = "Untested";
    for (const test::Json& child : node["children"]) self(self, child);
  };
  collect(collect, camera.Tree("test"));
  const std::string path = kNode;
  while (state.KeepRunning()) {
    std::string value = values.at(path);
    benchmark::DoNotOptimize(value);
  }
}
BENCHMARK(MapLookUp);

std::string RecordLine() {
  std::string line =
      "12:00:00;2013-08-29;Unknown;Unknown            ;Unknown   ;Unknown ;Unknown            ;";
  return line.append("Main EEPROM  ;OK      ;Main EEPROM:Detected, \n");
}

void Record(benchmark::State& state) {
  test::TestCamera camera("KY");
  const std::string line = RecordLine();
  while (state.KeepRunning()) AppendToBitLog(line);
}
BENCHMARK(Record);

// On the same file system; the path is nobody's to look up.
void BareRecord(benchmark::State& state) {
  const test::TemporaryFolder folder;
  const std::string path = (folder.Path() / "bare.txt").string();
  const std::string line = RecordLine();
  while (state.KeepRunning()) {
    FILE* const file = fopen(path.c_str(), "a+");
    if (file == nullptr) {
      state.SkipWithError("no file");
      break;
    }
    fprintf(file, "%s", line.c_str());
    fclose(file);
  }
}
BENCHMARK(BareRecord);

// Two threads that sleep in turn: every wait hands the turn over.
void ClockHandOver(benchmark::State& state) {
  desk::Clock clock(desk::Clock::Kind::Virtual);
  std::atomic<bool> done{false};
  const auto sleepInTurn = [&] { clock.SleepUntil(clock.Now() + std::chrono::microseconds(1)); };
  auto ticket = clock.Prepare(desk::Clock::Role::MovesTime);
  std::thread other([&] {
    const desk::Clock::Participation participation(clock, ticket);
    while (!done) sleepInTurn();
  });
  {
    const desk::Clock::Participation participation(clock, desk::Clock::Role::MovesTime);
    while (state.KeepRunning()) sleepInTurn();
    done = true;
  }
  other.join();
}
BENCHMARK(ClockHandOver)->UseRealTime();

// There and back by bare semaphores; both threads on one processor, as the clock has them.
void SemaphorePair(benchmark::State& state) {
  sem_t there;
  sem_t back;
  sem_init(&there, 0, 0);
  sem_init(&back, 0, 0);
  std::atomic<bool> done{false};
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
  pthread_setaffinity_np(pthread_self(), sizeof one, &one);
  std::thread other([&] {
    for (;;) {
      sem_wait(&there);
      if (done) return;
      sem_post(&back);
    }
  });
  while (state.KeepRunning()) {
    sem_post(&there);
    sem_wait(&back);
  }
  done = true;
  sem_post(&there);
  other.join();
  sem_destroy(&there);
  sem_destroy(&back);
}
BENCHMARK(SemaphorePair)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSpeed("OpenGetClose", "MapLookUp");
  reporter.PrintSpeed("Record", "BareRecord");
  reporter.PrintSpeed("ClockHandOver", "SemaphorePair");
  return 0;
}
