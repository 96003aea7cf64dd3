// diagor-station as its users type it, and as it is killed.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sqlite3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <map>
#include <random>
#include <set>

#include "station/store/store.h"
#include "station/store/uuid.h"
#include "support/desk_process.h"
#include "support/small_disk.h"

namespace test {
namespace {

using station::Outcome;

// Each rest of its own line would be a test of another plan: these tests take moments.
constexpr char kPlan[] = R"(title = "T"
items = ["battery", "clock", "eeprom", "tempsens", "shutter", "focus"]
)";

class StationProgramTest : public testing::Test {
 protected:
  StationProgramTest() { std::ofstream(Path("plan.toml")) << kPlan; }

  std::string Path(const std::string& name) const { return (mFolder.Path() / name).string(); }
  std::vector<std::string> Arguments(std::vector<std::string> words) const {
    words.insert(words.end(), {"--data", Path("data")});
    return words;
  }
  // The exit code, and what it wrote.
  struct Ended {
    int code = 0;
    std::string output;
    std::string errors;
  };
  Ended Do(std::vector<std::string> words) const {
    Process process("diagor-station", Arguments(std::move(words)),
                    {{"XDG_CONFIG_HOME", Path("none")}});
    const int code = process.Wait();
    return {code, process.Output(), process.Errors()};
  }
  Ended Run(const DeskProcess& camera, std::vector<std::string> more = {}) const {
    std::vector<std::string> words = {"run", "--camera", camera.Address(), "--plan",
                                      Path("plan.toml")};
    words.insert(words.end(), more.begin(), more.end());
    return Do(words);
  }
  std::string IdOfLatest() const {
    return Json::parse(Do({"runs", "--json", "--limit", "1"}).output)[0]["id"];
  }

  TemporaryFolder mFolder;
};

TEST_F(StationProgramTest, ARunIsFoundAgainAndHandedOut) {
  DeskProcess camera;
  EXPECT_EQ(Run(camera).code, 0);
  client::CameraClient(camera.Port()).Set(".desk.rtc.rate", "0");
  const Ended failed = Run(camera, {"--operator", "Ada"});
  EXPECT_EQ(failed.code, 1);
  EXPECT_NE(failed.output.find("test.items.clock.clock  E 0012"), std::string::npos)
      << failed.output;
  EXPECT_NE(failed.output.find("likely: "), std::string::npos) << failed.output;
  EXPECT_NE(failed.errors.find("left)"), std::string::npos) << failed.errors;

  const std::string id = IdOfLatest();
  const auto runs = Json::parse(Do({"runs", "--json", "--outcome", "failed"}).output);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0]["operator"], "Ada");
  EXPECT_NE(Do({"show", id.substr(0, 13)}).output.find("E 0012"), std::string::npos);
  EXPECT_EQ(Do({"sign", id, Path("run.json")}).code, 0);
  EXPECT_EQ(Do({"verify", Path("run.json")}).code, 0);
  std::ofstream(Path("run.json"), std::ios::app) << " ";
  EXPECT_EQ(Do({"verify", Path("run.json")}).code, 1);
  std::filesystem::remove(Path("run.json.sig"));
  std::filesystem::create_symlink(Path("run.json.sig"), Path("run.json.sig"));
  EXPECT_EQ(Do({"verify", Path("run.json")}).code, 2);  // there is one, which cannot be read
  EXPECT_EQ(Do({"export", id, "--html", Path("a.html"), "--junit", Path("a.xml")}).code, 0);
  EXPECT_TRUE(std::filesystem::exists(Path("a.html")));
  const auto failures = Json::parse(Do({"statistics", "failures", "--json"}).output);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures[0]["codes"][0]["code"], "E 0012");
  const auto yield = Json::parse(Do({"statistics", "yield", "--plan", "T", "--json"}).output);
  ASSERT_EQ(yield.size(), 1U);
  EXPECT_EQ(yield[0]["passed"], 1);
  const auto trend = Json::parse(Do({"statistics", "trend", "--item", "items.battery.battery",
                                     "--measurement", "voltage", "--json"})
                                     .output);
  EXPECT_EQ(trend.size(), 2U);
  EXPECT_EQ(Do({"backup", Path("copy.db")}).code, 0);
  EXPECT_EQ(Do({"prune", "--before", "2000-01-01", "--yes"}).code, 0);
  EXPECT_EQ(Do({"prune", "--before", "2100-01-01", "--yes"}).code, 0);
  EXPECT_EQ(Do({"runs", "--json"}).output, "[]\n");
}

TEST_F(StationProgramTest, WhatCannotBeDoneIsSaidInALine) {
  DeskProcess camera;
  const std::string address = camera.Address();
  std::ofstream(Path("text.db")) << std::string(5'000, 'x');
  std::ofstream(Path("bad.toml")) << "name = 1\n";
  std::ofstream(Path("ask.toml")) << "title = \"T\"\nitems = [\"*\"]\noperator = true\n";
  std::ofstream(Path("nothing.toml")) << "title = \"T\"\nitems = [\"nothing\"]\n";
  const std::string plan = Path("plan.toml");
  const std::string off = "127.0.0.1:1";
  EXPECT_EQ(Do({"run", "--camera", off, "--database", "sqlite:" + Path("newer.db")}).code, 3);
  sqlite3* newer = nullptr;
  sqlite3_open(Path("newer.db").c_str(), &newer);
  EXPECT_EQ(
      sqlite3_exec(newer, "INSERT INTO schema_migration VALUES (99)", nullptr, nullptr, nullptr),
      SQLITE_OK);
  sqlite3_close(newer);
  const std::tuple<std::vector<std::string>, int, std::string> cases[] = {
      {{"backup", Path("copy.db")}, 2, "nothing is kept in "},
      {{"run", "--camera", off}, 3, "no camera at 127.0.0.1:1: "},
      {{"run", "--camera", "here"}, 2, "\"here\" is no camera's address"},
      {{"run", "--plan", "none"}, 2, "there is no plan none in "},
      {{"run", "--plan", Path("ask.toml")}, 2, "asks who tests: --operator NAME"},
      {{"run", "--camera", address, "--serial", "47"},
       4,
       "has the serial 10000010, scanned was 47"},
      {{"run", "--database", Path("text.db")}, 2, "text.db"},
      {{"run", "--database", "/proc/none/a.db"}, 2, "/proc/none/a.db"},
      {{"run", "--config", Path("bad.toml")}, 2, "bad.toml:1: the key name has a wrong type"},
      {{"run", "--database", Path("newer.db")}, 2, "newer"},
      {{"run", "--camera", address, "--plan", Path("nothing.toml")},
       4,
       "this camera has none of the plan's tests"},
      {{"resume", "019aba3c-5f23"}, 2, "there is no run 019aba3c-5f23"},
      {{"runs", "--outcome", "good"}, 2, "there is no outcome good: running, passed, "},
      {{"runs", "--from", "yesterday"}, 2, "\"yesterday\" is no time"},
      {{"runs", "--from", "2026-02-31"}, 2, "\"2026-02-31\" is no time"},
      {{"verify", Path("none.json")}, 2, "cannot read "},
      {{"verify", mFolder.Path().string()}, 2, " is a folder"},
      {{"verify", plan}, 2, "cannot read the key "},
      {{"export", "019aba3c-5f23"}, 2, "there is no run"},
  };
  for (const auto& [words, code, line] : cases) {
    const Ended ended = Do(words);
    EXPECT_EQ(ended.code, code) << words[0] << ended.errors;
    EXPECT_NE(ended.errors.find(line), std::string::npos) << ended.errors;
    EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
  }
  EXPECT_EQ(camera.Get("test.description.tester"), "Unknown");
}

// In the middle of a test whose dialog nobody answers; the second one asks a camera that is at it.
TEST_F(StationProgramTest, SignalsEndARun) {
  std::ofstream(Path("ask.toml")) << "title = \"A\"\nitems = [\"buttons.buttons\"]\n";
  const std::tuple<std::vector<int>, int> cases[] = {
      {{SIGINT, SIGINT}, 130}, {{SIGTERM}, 143}, {{SIGHUP}, 129}, {{SIGKILL}, -SIGKILL}};
  for (const auto& [signals, code] : cases) {
    const DeskProcess camera(std::map<std::string, std::string>{{"DIAGOR_CLOCK", "real"}});
    Process process("diagor-station",
                    Arguments({"run", "--camera", camera.Address(), "--plan", Path("ask.toml")}));
    process.ErrorsUntil("[1/1]");
    const auto latest = [this] {
      return Json::parse(Do({"runs", "--json", "--limit", "1"}).output)[0];
    };
    EXPECT_EQ(latest()["outcome"], "running");
    process.Signal(signals.front());
    if (signals.size() > 1) {
      process.ErrorsUntil("Ctrl-C again: at once");
      process.Signal(signals.back());
    }
    EXPECT_EQ(process.Wait(), code) << process.Errors();
    EXPECT_EQ(latest()["reason"], "interrupted");
    const auto shown = Json::parse(Do({"show", latest()["id"], "--json"}).output);
    EXPECT_EQ(shown["attempts"][0]["result"], "interrupted");
    // Killed, it puts nothing back: the next run does.
    EXPECT_EQ(camera.Get("test.description.tester") == "Unknown", code > 0);
  }
}

// A place that takes connections and says nothing.
TEST_F(StationProgramTest, ASignalEndsTheSearchForACamera) {
  const int silent = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(silent, any, length) + listen(silent, 1) + getsockname(silent, any, &length), 0);
  const std::string camera = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
  Process process("diagor-station", Arguments({"run", "--camera", camera, "--camera", "127.0.0.1:1",
                                               "--serial", "1", "--plan", Path("plan.toml")}));
  const int connection = accept(silent, nullptr, nullptr);
  process.Signal(SIGTERM);
  EXPECT_EQ(process.Wait(), 143) << process.Errors();
  EXPECT_EQ(close(connection) + close(silent), 0);
}

// One of two cameras is off: the other one's run goes on, and the exit code says so.
TEST_F(StationProgramTest, ACameraThatIsOffStopsItsRunAlone) {
  const DeskProcess camera;
  std::vector<std::string> words = {"resume", "--camera", "127.0.0.1:1", "--camera",
                                    camera.Address()};
  EXPECT_EQ(Do({"run", "--camera", "127.0.0.1:1"}).code, 3);
  station::Store store(Path("data/station.db"));
  for (const char* const serial : {"10000010", "4711"}) {
    station::RunStart run;
    run.id = station::NewRunId(1'764'072'000'000);
    run.serial = serial;
    run.planText = kPlan;
    store.BeginRun(run);
    store.EndRun(run.id, {1, Outcome::Incomplete, "interrupted"});
    words.push_back(run.id);
  }
  const Ended ended = Do(words);
  EXPECT_EQ(ended.code, 3) << ended.errors;
  EXPECT_NE(ended.errors.find("no camera with the serial 4711: 127.0.0.1:1: "), std::string::npos)
      << ended.errors;
  EXPECT_EQ(store.FindRun(words[5])->outcome, Outcome::Passed);
  EXPECT_EQ(store.FindRun(words[6])->outcome, Outcome::Incomplete);
  const std::vector<std::string> off = {
      "run", "--camera", "127.0.0.1:1", "--camera", "127.0.0.1:2", "--serial", "1"};
  EXPECT_EQ(Do(off).code, 3);
}

// Where the station keeps everything there is no room left: it says so, and the camera is as it
// was.
TEST_F(StationProgramTest, AFullDiskIsSaidAndNothingIsLost) {
  const DeskProcess camera;
  std::filesystem::create_directories(Path("data"));
  if (!MountSmallDisk(Path("data"))) GTEST_SKIP() << "only root can make a small disk";
  const std::string ballast = Path("data/ballast");
  ASSERT_EQ(Run(camera).code, 0);
  // Full at once, and in the middle of some run.
  for (const std::size_t room : {0, 20'000}) {
    std::ofstream(ballast, std::ios::binary) << std::string(4'000'000, 'x');
    std::filesystem::resize_file(ballast, std::filesystem::file_size(ballast) - room);
    Ended ended;
    for (int runs = 0; ended.code == 0 && runs < 50; ++runs) ended = Run(camera);
    EXPECT_EQ(ended.code, 2) << ended.errors;
    EXPECT_NE(ended.errors.find("o space left"), std::string::npos) << ended.errors;
    EXPECT_EQ(camera.Get("test.description.tester"), "Unknown");
    std::filesystem::remove(ballast);
    const auto runs = Json::parse(Do({"runs", "--json", "--outcome", "incomplete"}).output);
    for (const auto& run : runs)
      EXPECT_EQ(Do({"resume", run["id"], "--camera", camera.Address()}).code, 0);
    EXPECT_EQ(Run(camera).code, 0);
  }
  EXPECT_EQ(umount(Path("data").c_str()), 0);
}

// What every run holds, whatever was killed: each test was answered once, none twice; an attempt is
// whole or has no end.
void ExpectWhole(const std::string& database, std::size_t tests) {
  sqlite3* opened = nullptr;
  ASSERT_EQ(sqlite3_open(database.c_str(), &opened), SQLITE_OK);
  std::string integrity;
  sqlite3_exec(
      opened, "PRAGMA integrity_check",
      [](void* text, int, char** values, char**) {
        *static_cast<std::string*>(text) += values[0];
        return 0;
      },
      &integrity, nullptr);
  sqlite3_close(opened);
  EXPECT_EQ(integrity, "ok");
  station::Store store(database);
  for (const auto& run : store.Runs({}, std::nullopt, 10'000)) {
    EXPECT_EQ(run.outcome, Outcome::Passed) << run.id << " " << run.reason;
    std::map<std::string, int> answered;
    for (const auto& attempt : store.Attempts(run.id)) {
      if (attempt.isEnded && attempt.problem.empty()) ++answered[attempt.item];
      EXPECT_TRUE(attempt.passed || !attempt.isEnded || !attempt.problem.empty());
      EXPECT_EQ(attempt.isEnded && attempt.passed, !store.Evidence(run.id, attempt.number).empty());
    }
    EXPECT_EQ(answered.size(), tests);
    for (const auto& [item, count] : answered) EXPECT_EQ(count, 1) << item;
  }
}

// How often something is killed: scripts/kills does it more often.
unsigned Kills() {
  const char* const text = std::getenv("STATION_KILLS");  // NOLINT(concurrency-mt-unsafe)
  return text == nullptr ? 20 : static_cast<unsigned>(std::atoi(text));
}

// Four cameras, each with a serial of its own, and the moments of kills by chance.
class StationKillTest : public StationProgramTest {
 protected:
  StationKillTest() {
    for (int i = 0; i < 4; ++i) {
      const std::string serial = ".version.product.serial=100" + std::to_string(i);
      mCameras.emplace_back(std::map<std::string, std::string>{{"DIAGOR_KNOBS", serial}});
    }
  }
  std::vector<std::string> WithCameras(std::vector<std::string> words) const {
    for (const DeskProcess& each : mCameras)
      words.insert(words.end(), {"--camera", each.Address()});
    return Arguments(std::move(words));
  }
  // After a line of progress, and a while that ends anywhere in a test or a transaction.
  void AwaitAnyMoment(Process& process) {
    process.ErrorsUntil("[" + std::to_string(mRandom() % 15 + 1) + "/");
    client::CameraClient(0).Pause(std::chrono::milliseconds(mRandom() % 51));
  }
  // Those that are not through, "resume" before them; that alone: all are.
  std::vector<std::string> ResumeAll() const {
    station::Store store(Path("data/station.db"));
    std::vector<std::string> words = {"resume"};
    for (const auto& run : store.Runs({}, std::nullopt, 10'000)) {
      const bool isOpen = run.outcome == Outcome::Running || run.outcome == Outcome::Incomplete;
      if (isOpen) words.push_back(run.id);
    }
    return words;
  }
  void ExpectAllWhole() const {
    const std::string plan = Path("plan.toml");
    const Ended ended = Do({"run", "--camera", mCameras.front().Address(), "--plan", plan});
    EXPECT_EQ(ended.code, 0) << ended.errors;
    const std::string database = Path("data/station.db");
    ExpectWhole(database, station::Store(database).Attempts(IdOfLatest()).size());
  }

  const std::vector<std::string> mRun = {"run", "--plan", Path("plan.toml")};
  std::deque<DeskProcess> mCameras;
  std::mt19937 mRandom{1};
};

TEST_F(StationKillTest, KilledAtAnyMomentItLosesNothing) {
  std::size_t killed = 0;
  for (std::size_t resumed = 0; killed < Kills();) {
    Process process("diagor-station", WithCameras(resumed > 0 ? ResumeAll() : mRun));
    // Each third is let through.
    AwaitAnyMoment(process);
    const bool isKilled = mRandom() % 3 != 0;
    if (isKilled) process.Signal(SIGKILL);
    const int code = process.Wait();
    EXPECT_TRUE(code == 0 || (isKilled && code == -SIGKILL)) << process.Errors();
    killed += code == 0 ? 0 : 1;
    resumed = ResumeAll().size() - 1;
  }
  const std::vector<std::string> rest = ResumeAll();
  if (rest.size() > 1) {
    Process process("diagor-station", WithCameras(rest));
    EXPECT_EQ(process.Wait(), 0) << process.Errors();
  }
  ExpectAllWhole();
}

// One of them, or several at once; each is back after a while.
TEST_F(StationKillTest, ACameraThatIsKilledLosesItsRunNothing) {
  for (unsigned killed = 0; killed < Kills();) {
    Process process("diagor-station", WithCameras(mRun));
    AwaitAnyMoment(process);
    std::vector<DeskProcess*> dead;
    for (DeskProcess& camera : mCameras) {
      if (mRandom() % 3 == 0) dead.push_back(&camera);
    }
    for (DeskProcess* camera : dead) camera->Kill();
    for (DeskProcess* camera : dead) camera->StartAgain();
    killed += static_cast<unsigned>(dead.size());
    // Before its run began there is none that could go on.
    const int code = process.Wait();
    EXPECT_TRUE(code == 0 || code == 3) << process.Errors();
  }
  EXPECT_EQ(ResumeAll().size(), 1U);  // no run had to be taken up again
  ExpectAllWhole();
}

}  // namespace
}  // namespace test
