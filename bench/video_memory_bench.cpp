// A full pass of the video memory test against the calls of rand that it cannot do without, and
// against the random value test of memtester over as much memory. All handle KY's 170,073 blocks.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <numeric>
#include <string>
#include <vector>

#include "bench/ratio_reporter.h"
#include "support/test_camera.h"

namespace {

constexpr std::size_t kBlocks = 170073;
constexpr std::size_t kBlockWords = 1024;

void RandAlone(benchmark::State& state) {
  std::vector<unsigned> words(kBlockWords);
  while (state.KeepRunning()) {
    for (std::size_t block = 0; block < kBlocks; ++block) {
      for (unsigned& word : words) word = static_cast<unsigned>(rand());
      benchmark::DoNotOptimize(words.data());
    }
  }
}
BENCHMARK(RandAlone)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

void VideoMemoryPass(benchmark::State& state) {
  test::TestCamera camera("KY");
  camera.Run("test.items.VDDR.test");  // the machine's own memory is there from then on
  while (state.KeepRunning()) {
    if (camera.Run("test.items.VDDR.test").value != "OK      ") {
      state.SkipWithError("the test failed");
    }
  }
}
BENCHMARK(VideoMemoryPass)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

// As many bytes as the pass writes; its first test alone, after the address test that it always
// makes.
void MemtesterRandomValue(benchmark::State& state) {
  const std::string megabytes = std::to_string(kBlocks * kBlockWords * 4 / 1024 / 1024);
  const std::string command =
      "MEMTESTER_TEST_MASK=1 memtester " + megabytes + "M 1 >/dev/null 2>&1";
  while (state.KeepRunning()) {
    if (system(command.c_str()) != 0) state.SkipWithError("memtester failed");
  }
}
BENCHMARK(MemtesterRandomValue)->Unit(benchmark::kSecond)->Iterations(1)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  bench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSpeed("VideoMemoryPass", "RandAlone");
  reporter.PrintSpeed("VideoMemoryPass", "MemtesterRandomValue");
  return 0;
}
