// Runs on real cameras: what is kept before what is done, and what is left after whatever ends it.
#include "station/runner/run.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <thread>

#include "support/desk_process.h"
#include "support/postgresql.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)
using Kind = RunNews::Kind;

// A station with its store and one camera.
class RunTest : public testing::Test {
 protected:
  RunRequest Request(const std::string& plan) const {
    RunRequest request;
    request.plan = PlanOf("title = \"T\"\n" + plan, "t.toml");
    request.operatorName = "Ada";
    return request;
  }
  RunRecord Start(const RunRequest& request) {
    return StartRun(mStore, mStation, Address(), request, mControl, mOnNews);
  }
  RunRecord Start(const std::string& plan) { return Start(Request(plan)); }
  RunRecord Resume(const RunRecord& run) {
    mControl.aborts = false;
    mControl.interrupts = false;
    return ResumeRun(mStore, mStation, Address(), run, mControl, mOnNews);
  }
  CameraAddress Address() const { return {"", "127.0.0.1", mCamera.Port()}; }
  void Set(const std::string& path, const std::string& value) const {
    client::CameraClient(mCamera.Port()).Set(path, value);
  }
  // "item:result" of each attempt: its code, its problem, "OK", or "-" for one without an end.
  std::string Attempts(const RunRecord& run) {
    std::string text;
    for (const AttemptRecord& each : mStore.Attempts(run.id)) {
      const std::string ended = each.passed ? "OK" : each.code + each.problem;
      text += (text.empty() ? "" : " ") + each.item.substr(each.item.rfind('.') + 1) + ":" +
              (each.isEnded ? ended : "-");
    }
    return text;
  }
  // What the act is refused for.
  template <typename Act>
  std::string RefusalOf(const Act& act) {
    try {
      act();
    } catch (const RunRefused& error) {
      return error.what();
    }
    return "not refused";
  }

  TemporaryFolder mFolder;
  DeskProcess mCamera;
  Store mStore{(mFolder.Path() / "s.db").string()};
  StationIdentity mStation{"bench", mFolder.Path(), "1", std::chrono::milliseconds(100),
                           std::chrono::milliseconds(0)};
  RunControl mControl;
  OnNews mOnNews;
};

TEST_F(RunTest, EveryStepIsKeptBeforeItIsTaken) {
  Set("test.description.tester", "before");
  std::size_t begun = 0;
  std::size_t ended = 0;
  mOnNews = [&](const RunNews& news) {
    const auto run = mStore.FindRun(news.run->id);
    ASSERT_TRUE(run);
    const auto attempts = mStore.Attempts(run->id);
    if (news.kind == Kind::AttemptBegins) {
      ASSERT_EQ(attempts.size(), ++begun);
      EXPECT_FALSE(attempts.back().isEnded);
      // The test has not run yet; the camera knows who will have tested.
      EXPECT_EQ(mCamera.Get(news.attempt->item), "Untested");
      EXPECT_EQ(mCamera.Get("test.description.tester"), "Ada");
      EXPECT_EQ(mCamera.Get("test.description.serial"), "10000010");
      EXPECT_EQ(mCamera.Get("test.description.article"), "KY");
      EXPECT_EQ(mCamera.Get("test.description.category"), "run-in");
    }
    if (news.kind == Kind::AttemptEnds) {
      const AttemptRecord& attempt = attempts.at(ended++);
      EXPECT_TRUE(attempt.isEnded && attempt.passed) << attempt.item;
      EXPECT_EQ(news.end->message, attempt.message);
    }
  };
  Set("test.items.battery.battery", "run");
  const RunRecord run =
      Start("items = [\"battery\", \"clock\", \"eeprom.main\"]\ncategory = \"run-in\"");
  EXPECT_EQ(run.outcome, Outcome::Passed) << run.reason;
  EXPECT_EQ(Attempts(run), "battery:OK clock:OK main:OK");
  EXPECT_EQ(begun, 3U);
  EXPECT_EQ(ended, 3U);
  EXPECT_EQ(mCamera.Get("test.description.tester"), "before");
  EXPECT_EQ(mCamera.Get("test.description.category"), "Unknown");
  EXPECT_EQ(client::CameraClient(mCamera.Port()).Lease()["owner"], nullptr);

  const auto attempts = mStore.Attempts(run.id);
  EXPECT_EQ(attempts[1].seconds, 5.0);  // what the clock chip's test waits
  ASSERT_EQ(attempts[0].measurements.size(), 3U);
  EXPECT_EQ(attempts[0].measurements[0].value, 3700);
  const auto evidence = mStore.Evidence(run.id, 1);
  ASSERT_EQ(evidence.size(), 1U);
  EXPECT_EQ(evidence[0].kind, EvidenceKind::Record);
  EXPECT_NE(evidence[0].bytes.find(";Ada    ;"), std::string::npos) << evidence[0].bytes;
}

TEST_F(RunTest, FailuresAreTriedAgainWithTheirTrace) {
  // The memory does not answer, until its first attempt has failed.
  Set(".desk.bus.i2c1.ae.answers", "false");
  std::string times;
  mOnNews = [&](const RunNews& news) {
    if (news.kind == Kind::AttemptBegins) times += news.timeLeft ? "t" : "-";
    if (news.kind == Kind::AttemptEnds) Set(".desk.bus.i2c1.ae.answers", "true");
  };
  const std::string plan = "items = [\"eeprom.main\", \"clock\"]\nretries = 1";
  const RunRecord run = Start(plan);
  EXPECT_EQ(run.outcome, Outcome::PassedOnRetry);
  EXPECT_EQ(Attempts(run), "main:E 0021 main:OK clock:OK");
  const auto evidence = mStore.Evidence(run.id, 1);
  ASSERT_EQ(evidence.size(), 2U);
  const Json trace = Json::parse(evidence[1].bytes);
  EXPECT_EQ(trace["steps"][0]["op"], "i2c") << trace;
  EXPECT_EQ(trace["left_out"], 0);
  EXPECT_EQ(mStore.Evidence(run.id, 2).size(), 1U);
  Set(".desk.rtc.rate", "0");
  EXPECT_EQ(Start(plan).outcome, Outcome::Failed);
  EXPECT_EQ(times, "---ttt");  // earlier runs tell how long it takes
}

TEST_F(RunTest, ABusyTestIsAskedAgainAndThenLeft) {
  // Somebody else's run of the test, whose dialog nobody answers.
  const DeskProcess camera(std::map<std::string, std::string>{{"DIAGOR_CLOCK", "real"}});
  client::CameraClient watch(camera.Port());
  bool isWaiting = false;
  watch.Subscribe(
      [&](const client::Event& event) { isWaiting = isWaiting || event.kind == "test-started"; });
  std::atomic<bool> isOver{false};
  std::thread other([&] {
    client::CameraClient client("127.0.0.1", camera.Port(), [&isOver] { return isOver.load(); });
    EXPECT_THROW(client.Set("test.items.buttons.buttons", "run"), client::InterruptedError);
  });
  EXPECT_TRUE(watch.AwaitEvents([&] { return isWaiting; }, std::chrono::seconds(600)));
  int waits = 0;
  mOnNews = [&waits](const RunNews& news) { waits += news.kind == Kind::Waits ? 1 : 0; };
  const RunRecord run =
      StartRun(mStore, mStation, {"", "127.0.0.1", camera.Port()},
               Request("items = [\"buttons.buttons\", \"battery\"]"), mControl, mOnNews);
  isOver = true;
  other.join();
  EXPECT_GT(waits, 0);
  EXPECT_EQ(run.outcome, Outcome::Incomplete);
  EXPECT_EQ(run.reason.rfind("test.items.buttons.buttons: busy: ", 0), 0U) << run.reason;
  EXPECT_TRUE(Attempts(run).ends_with(" battery:OK")) << Attempts(run);
}

TEST_F(RunTest, HowADetectorCooledIsKept) {
  DeskProcess camera(std::map<std::string, std::string>{{"DIAGOR_VARIANT", "H"}});
  const RunRecord run = StartRun(mStore, mStation, {"", "127.0.0.1", camera.Port()},
                                 Request("items = [\"cooler\"]"), mControl, mOnNews);
  EXPECT_EQ(run.outcome, Outcome::Passed) << run.reason;
  const auto traces = mStore.Traces("test.items.cooler.cooler", run.serial, 9);
  ASSERT_EQ(traces.size(), 1U);
  EXPECT_EQ(traces[0].run, run.id);
  const Json curve = Json::parse(traces[0].bytes)["curve"];
  // Steps ten seconds apart, from the surroundings' 298 K down to the set point's 70 K.
  EXPECT_EQ(curve[2][0].get<double>() - curve[1][0].get<double>(), 10);
  double warmest = 0;
  for (const Json& each : curve) warmest = std::max(warmest, each[1].get<double>());
  EXPECT_NEAR(warmest, 298, 10);
  EXPECT_NEAR(curve.back()[1].get<double>(), 70, 1);
  EXPECT_TRUE(mStore.Traces("test.items.cooler.cooler", "another", 9).empty());
}

TEST_F(RunTest, WhoHasTheCameraIsSaid) {
  client::CameraClient other(mCamera.Port());
  other.TakeLease("bench 9", 1000);
  EXPECT_NE(RefusalOf([&] { Start("items = [\"clock\"]"); }).find("bench 9 has this camera for"),
            std::string::npos);
  other.TakeLease("bench 9", 0);
  const CameraAddress alias{"", "localhost", mCamera.Port()};
  mOnNews = [&](const RunNews& news) {
    if (news.kind != Kind::AttemptBegins) return;
    EXPECT_NE(RefusalOf([&] {
                StartRun(mStore, mStation, Address(), Request("items = [\"clock\"]"), mControl, {});
              }).find("another process of this station (process "),
              std::string::npos);
    try {
      EXPECT_NE(RefusalOf([&] {
                  StartRun(mStore, mStation, alias, Request("items = [\"clock\"]"), mControl, {});
                }).find(" has this camera for"),
                std::string::npos);
      other.TakeLease("bench 9", 1000);
      ADD_FAILURE();
    } catch (const client::RefusedError& error) {
      EXPECT_EQ(std::string(error.what()).rfind("bench (", 0), 0U) << error.what();
    }
  };
  EXPECT_EQ(Start("items = [\"clock\"]").outcome, Outcome::Passed);
  EXPECT_EQ(mStore.Runs({}, std::nullopt, 9).size(), 1U);  // nothing of those that were refused
}

// The lease had ended, and another station has the camera: nothing more is done to it, nor put
// back.
TEST_F(RunTest, ACameraThatAnotherStationTookIsLeftToIt) {
  mStation.leaseRenewal = std::chrono::milliseconds(1);
  client::CameraClient other(mCamera.Port());
  bool isTaken = false;
  mOnNews = [&](const RunNews& news) {
    if (news.kind != Kind::AttemptBegins || isTaken) return;
    isTaken = true;
    for (bool isRenewed = true; isRenewed;) {
      try {
        other.TakeLease(other.Lease()["owner"].get<std::string>(), 0);
        other.TakeLease("bench 9", 1000);
        isRenewed = false;
      } catch (const std::exception&) {
        // The station was quicker.
      }
    }
    other.Set("test.description.tester", "Bob");
  };
  const RunRecord run = Start("items = [\"battery\"]\nhours = 1000");
  EXPECT_EQ(run.outcome, Outcome::Incomplete);
  EXPECT_EQ(run.reason.rfind("the camera was taken over: bench 9 has this camera for ", 0), 0U)
      << run.reason;
  EXPECT_EQ(Attempts(run).find("busy"), std::string::npos);
  EXPECT_EQ(mCamera.Get("test.description.tester"), "Bob");
  EXPECT_EQ(other.Lease()["owner"], "bench 9");
  EXPECT_NE(RefusalOf([&] { Resume(run); }).find("bench 9 has this camera for"), std::string::npos);
  other.TakeLease("bench 9", 0);
  mOnNews = [this](const RunNews&) { mControl.aborts = true; };
  Resume(run);
  EXPECT_EQ(mCamera.Get("test.description.tester"), "Unknown");  // as before the first run
}

TEST_F(RunTest, ASerialThatContradictsStopsTheStart) {
  RunRequest request = Request("items = [\"clock\"]");
  request.scannedSerial = "4711";
  EXPECT_EQ(RefusalOf([&] { Start(request); }),
            "camera " + mCamera.Address() + " has the serial 10000010, scanned was 4711");
  request.mayContradict = true;
  const RunRecord run = Start(request);
  EXPECT_EQ(run.serial + " " + run.scannedSerial, "10000010 4711");
}

TEST_F(RunTest, ARunThatWasEndedGoesOnWhereItWas) {
  const char* const plan = "items = [\"battery\", \"clock\", \"eeprom.main\"]";
  // Ended at its second test: by a person who lets that one end, or not; by the camera.
  struct Way {
    std::function<void()> end;
    const char* attempts;
    const char* reason;
  };
  const Way ways[] = {
      {[this] { mControl.aborts = true; }, "battery:OK clock:OK", "aborted"},
      {[this] { mControl.interrupts = true; }, "battery:OK clock:-", "interrupted"},
      {[this] { mCamera.Kill(); }, "battery:OK clock:camera lost: ", "camera lost: "},
  };
  for (const Way& way : ways) {
    mOnNews = [&](const RunNews& news) {
      if (news.kind == Kind::AttemptBegins && news.attempt->number == 2) way.end();
    };
    const RunRecord run = Start(plan);
    mOnNews = {};
    EXPECT_EQ(run.outcome, Outcome::Incomplete);
    EXPECT_EQ(run.reason.rfind(way.reason, 0), 0U) << run.reason;
    const std::string before = Attempts(run);
    EXPECT_EQ(before.rfind(way.attempts, 0), 0U) << before;
    if (run.reason.starts_with("camera")) mCamera.StartAgain();

    const RunRecord whole = Resume(*mStore.FindRun(run.id));
    EXPECT_EQ(whole.outcome, Outcome::Passed) << whole.reason;
    const bool clockHasEnded = before.ends_with("clock:OK");
    EXPECT_EQ(Attempts(run), before + (clockHasEnded ? " main:OK" : " clock:OK main:OK"));
    EXPECT_EQ(mCamera.Get("test.description.tester"), "Unknown");
    EXPECT_NE(RefusalOf([&] { Resume(whole); }).find("is complete: passed"), std::string::npos);
  }
}

// Lost in its second test, the camera comes back, or another one in its place; its station waits
// for the very one, for so long and no longer than the run is wanted.
TEST_F(RunTest, ALostCameraIsLookedFor) {
  mStation.cameraPatience = std::chrono::hours(1);
  int losses = 0;
  int looks = 0;
  std::string waits;
  std::function<void()> onLook;
  mOnNews = [&](const RunNews& news) {
    const bool isLost = news.kind == Kind::AttemptBegins && news.attempt->item.ends_with("clock");
    if (isLost && losses-- > 0) mCamera.Kill();
    if (news.kind != Kind::Waits) return;
    waits = news.text;
    ++looks;
    onLook();
  };
  const std::string plan = "items = [\"battery\", \"clock\", \"eeprom.main\"]";
  const auto again = [this] { mCamera.StartAgain(); };
  const std::string lost = "clock:camera lost: ";
  struct Case {
    int losses;
    std::function<void()> onLook;
    std::string attempts;  // how they begin
    const char* reason;
    const char* waits;
  };
  const Case cases[] = {
      {2, again, "", "", "the camera is lost and looked for: "},
      // A test that loses it each time ends the run.
      {9, again, lost, "camera lost: ", ""},
      {1, [this] { mControl.aborts = true; }, lost, "aborted", ""},
      {1, [this] { mControl.interrupts = true; }, lost, "interrupted", ""},
      {1,
       [&] {
         if (looks == 1) mCamera.StartAgain({{"DIAGOR_KNOBS", ".version.product.serial=4711"}});
         if (looks == 2) mControl.aborts = true;
       },
       lost, "aborted",
       "the camera is lost and looked for: in its place is one with the serial 4711"},
      {1,
       [&] {
         mCamera.StartAgain();
         client::CameraClient(mCamera.Port()).TakeLease("bench 9", 1000);
       },
       lost, "camera ", ""},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.reason);
    losses = each.losses;
    looks = 0;
    onLook = each.onLook;
    mControl.aborts = false;
    mControl.interrupts = false;
    const RunRecord run = Start(plan);
    EXPECT_EQ(run.reason.rfind(each.reason, 0), 0U) << run.reason;
    EXPECT_EQ(waits.rfind(each.waits, 0), 0U) << waits;
    std::string answered;
    for (const AttemptRecord& attempt : mStore.Attempts(run.id)) {
      const bool isLost = attempt.problem.starts_with("camera lost: ");
      answered += isLost ? "l" : attempt.passed ? "p" : "?";
    }
    const bool isWhole = *each.reason == '\0';
    EXPECT_EQ(answered, isWhole ? "pllpp" : each.losses > 1 ? "plll" : "pl");
    EXPECT_EQ(run.outcome, isWhole ? Outcome::Passed : Outcome::Incomplete);
    EXPECT_TRUE(!isWhole || mCamera.Get("test.description.tester") == "Unknown");
    mCamera.StartAgain();  // in place of whichever stands there
  }
}

TEST_F(RunTest, AnAbortedPlanByHoursHasNotPassed) {
  mOnNews = [this](const RunNews& news) {
    if (news.kind == Kind::AttemptBegins) mControl.aborts = news.attempt->round == 2;
  };
  EXPECT_EQ(Start("items = [\"clock\"]\nhours = 1000").reason, "aborted");
  // The last test of a plan by rounds was its end all the same.
  mControl.aborts = false;
  EXPECT_EQ(Start("items = [\"clock\"]\nrounds = 2").outcome, Outcome::Passed);
}

TEST_F(RunTest, WhatIsOwedToACameraStaysWithIt) {
  const auto owed = mFolder.Path() / "cameras" / (mCamera.Address() + ".json");
  std::filesystem::create_directories(owed.parent_path());
  // What an earlier run left behind: of this camera, of another one at its place, torn.
  const std::pair<const char*, const char*> cases[] = {
      {R"({"serial":"10000010","texts":{"tester":"Bob"}})", "Bob"},
      {R"({"serial":"4711","texts":{"tester":"Eve"}})", "Bob"},
      {R"({"serial":"10000010","te)", "Bob"},
  };
  for (const auto& [left, tester] : cases) {
    std::ofstream(owed) << left;
    EXPECT_EQ(Start("items = [\"battery\"]").outcome, Outcome::Passed);
    EXPECT_EQ(mCamera.Get("test.description.tester"), tester);
    EXPECT_FALSE(std::filesystem::exists(owed));
  }
}

TEST_F(RunTest, WhatWasAnsweredWaitsForADatabaseThatIsHeld) {
  Store store((mFolder.Path() / "s.db").string(), {std::chrono::milliseconds(1)});
  sqlite3* other = nullptr;
  sqlite3_open((mFolder.Path() / "s.db").c_str(), &other);
  std::string waits;
  const OnNews onNews = [&](const RunNews& news) {
    const auto execute = [&](const char* sql) {
      EXPECT_EQ(sqlite3_exec(other, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    };
    if (news.kind == Kind::AttemptBegins) execute("BEGIN IMMEDIATE");
    if (news.kind != Kind::Waits) return;
    waits += news.text + "\n";
    execute("COMMIT");
  };
  const RunRecord run = StartRun(store, mStation, Address(),
                                 Request("items = [\"battery\", \"clock\"]"), mControl, onNews);
  sqlite3_close(other);
  EXPECT_EQ(run.outcome, Outcome::Passed);
  EXPECT_EQ(Attempts(run), "battery:OK clock:OK");
  EXPECT_NE(waits.find("is held by another process"), std::string::npos) << waits;
}

TEST_F(RunTest, AStoreThatRefusesLeavesTheCameraAsItWas) {
  Set("test.description.tester", "before");
  mOnNews = [&](const RunNews& news) {
    // The run is gone from under it: its next write is refused.
    if (news.kind == Kind::AttemptBegins) {
      mStore.EndRun(news.run->id, {Now(), Outcome::Incomplete, "by hand"});
    }
  };
  EXPECT_THROW(Start("items = [\"battery\", \"clock\"]"), StoreError);
  EXPECT_EQ(mCamera.Get("test.description.tester"), "before");
  mOnNews = {};
  const RunRecord run = mStore.Runs({}, std::nullopt, 1).front();
  EXPECT_EQ(Resume(run).outcome, Outcome::Passed);
  EXPECT_EQ(Attempts(run), "battery:- battery:OK clock:OK");
}

// A camera that breaks, goes and comes back, and runs that end and are taken up again, by chance.
class RunsByChance {
 public:
  RunsByChance(const std::string& url, unsigned seed) : mRandom(seed), mStore(url) {
    mStation.folder = mFolder.Path();
    mStation.cameraPatience = std::chrono::hours(1);
  }

  void MakeOne() {
    std::string text = "title = \"T\"\nitems = [\"battery\"";
    for (const char* const each : {"clock", "eeprom.main", "tempsens"})
      text += Is(2) ? "" : std::string(", \"") + each + "\"";
    text += "]\nrounds = " + std::to_string(mRandom() % 3 + 1);
    text += "\nretries = " + std::to_string(mRandom() % 3);
    text += Is(4) ? "\non_failure = \"stop\"" : "";
    SCOPED_TRACE(text);
    RunRequest request;
    request.plan = PlanOf(text, "t.toml");
    const OnNews onNews = [this](const RunNews& news) { Hear(news); };
    const CameraAddress address{"", "127.0.0.1", mCamera.Port()};
    RunRecord run = StartRun(mStore, mStation, address, request, mControl, onNews);
    while (run.outcome == Outcome::Incomplete) {
      mControl.aborts = mControl.interrupts = false;
      if (mIsGone) Return();
      run = ResumeRun(mStore, mStation, address, *mStore.FindRun(run.id), mControl, onNews);
    }
    mControl.aborts = mControl.interrupts = false;
    if (mIsGone) Return();
    ExpectAsAnswered(run, request.plan);
  }

 private:
  bool Is(unsigned oneOf) { return mRandom() % oneOf == 0; }
  void Return() {
    mCamera.StartAgain();
    mIsGone = false;
  }

  void Hear(const RunNews& news) {
    if (news.kind == Kind::Waits && mIsGone) Return();
    if (news.kind == Kind::AttemptBegins) {
      mBegun[news.attempt->number] = *news.attempt;
      mControl.aborts = Is(12);
      mControl.interrupts = Is(12);
      if (Is(3)) Set(".desk.bus.i2c1.ae.answers", Is(2) ? "false" : "true");
      if (Is(3)) Set(".desk.rtc.rate", Is(2) ? "0" : "1");
    }
    if (news.kind == Kind::AttemptEnds) {
      const AttemptEnd& end = mAnswered[news.attempt->number] = *news.end;
      // As the camera itself still says.
      EXPECT_TRUE(!end.problem.empty() || mIsGone || mCamera.Get(news.attempt->item) == end.value);
    }
    const bool isAttempt = news.kind == Kind::AttemptBegins || news.kind == Kind::AttemptEnds;
    if (!isAttempt || mIsGone || !Is(16)) return;
    mCamera.Kill();
    mIsGone = true;
  }
  void Set(const std::string& knob, const std::string& value) const {
    if (!mIsGone) client::CameraClient(mCamera.Port()).Set(knob, value);
  }

  void ExpectAsAnswered(const RunRecord& run, const Plan& plan) {
    struct Cell {
      unsigned failures = 0;
      bool passed = false;
    };
    std::map<std::pair<std::int64_t, std::string>, Cell> cells;
    std::int64_t number = 0;
    for (const AttemptRecord& each : mStore.Attempts(run.id)) {
      EXPECT_EQ(each.number, ++number);
      EXPECT_EQ(static_cast<const AttemptStart&>(each), mBegun[number]);
      const auto answered = mAnswered.find(number);
      EXPECT_EQ(each.isEnded, answered != mAnswered.end()) << number;
      if (answered == mAnswered.end()) continue;
      EXPECT_EQ(static_cast<const AttemptResult&>(each), answered->second) << number;
      EXPECT_EQ(mStore.Evidence(run.id, number), answered->second.evidence);
      if (!each.problem.empty()) continue;
      Cell& cell = cells[{each.round, each.item}];
      EXPECT_FALSE(cell.passed || cell.failures > plan.retries) << number;
      cell.passed = each.passed;
      cell.failures += each.passed ? 0 : 1;
    }
    EXPECT_EQ(number, static_cast<std::int64_t>(mBegun.size()));
    const auto any = [&cells](const auto& has) {
      return std::any_of(cells.begin(), cells.end(),
                         [&](const auto& cell) { return has(cell.second); });
    };
    const bool hasFailed = any([](const Cell& cell) { return !cell.passed; });
    const bool hasRetried = any([](const Cell& cell) { return cell.failures > 0; });
    EXPECT_EQ(run.outcome, hasFailed    ? Outcome::Failed
                           : hasRetried ? Outcome::PassedOnRetry
                                        : Outcome::Passed)
        << run.reason;
    const RunRecord kept = mStore.FindRun(run.id).value_or(RunRecord{});
    EXPECT_TRUE(kept.outcome == run.outcome && kept.endedAt == run.endedAt && kept.reason.empty());
  }

  std::mt19937 mRandom;
  TemporaryFolder mFolder;
  DeskProcess mCamera;
  Store mStore;
  StationIdentity mStation{"bench", {}, "1"};
  RunControl mControl;
  bool mIsGone = false;  // the camera
  std::map<std::int64_t, AttemptStart> mBegun;
  std::map<std::int64_t, AttemptEnd> mAnswered;
};

// Some seeds, or those from 1 on that are asked for.
void ExpectRunsByChance(const std::function<std::string()>& fresh) {
  const char* const text = std::getenv("STATION_SEEDS");  // NOLINT(concurrency-mt-unsafe)
  const unsigned seeds = text == nullptr ? 8 : static_cast<unsigned>(std::atoi(text));
  for (unsigned seed = 1; seed <= seeds; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    RunsByChance(fresh(), seed).MakeOne();
  }
}

TEST(RunsByChanceTest, WhatIsReadIsWhatWasAnswered) {
  const TemporaryFolder folder;
  int count = 0;
  ExpectRunsByChance([&] { return (folder.Path() / (std::to_string(++count) + ".db")).string(); });
}

TEST(RunsByChanceTest, WhatIsReadIsWhatWasAnsweredOnPostgresql) {
  Postgresql server;
  ExpectRunsByChance([&server] { return server.Fresh(); });
}

}  // namespace
}  // namespace test
