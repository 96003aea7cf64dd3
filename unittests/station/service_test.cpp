// The station's service as its clients meet it, over its port, with cameras of their own processes.
#include "station/service/service.h"
#include "station/runner/run.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <csignal>
#include <deque>
#include <fstream>

#include "http/server.h"
#include "station/report/signature.h"
#include "station/runner/run.h"
#include "support/desk_process.h"
#include "support/raw_client.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)

constexpr char kHere[] = "Host: localhost\r\n";
// What a camera may be called, and its place in a path.
constexpr char kName[] = R"(<i>"a/b"</i>)";
constexpr char kPath[] = "/api/v1/cameras/%3Ci%3E%22a%2Fb%22%3C%2Fi%3E";

struct Answer {
  std::string head;
  std::string body;
  unsigned Status() const { return static_cast<unsigned>(std::stoul("0" + head.substr(9, 3))); }
  test::Json Json() const { return test::Json::parse(body, nullptr, false); }
  std::string Detail() const { return Json().value("detail", body); }
};

Answer Ask(std::uint16_t port, const std::string& method, const std::string& target,
           const std::string& body = "", const std::string& headers = kHere) {
  RawClient client(port, method + " " + target + " HTTP/1.1\r\n" + headers +
                             "Connection: close\r\nContent-Length: " + std::to_string(body.size()) +
                             "\r\n\r\n" + body);
  Answer answer{client.ReadUntil("\r\n\r\n"), {}};
  answer.body = client.ReadToEnd();
  return answer;
}

struct Heard {
  std::string id;
  std::string kind;
  test::Json data;
};

class EventReader {
 public:
  // last: "0": all that is kept.
  EventReader(std::uint16_t port, const std::string& last)
      : mClient(port, std::string("GET /api/v1/events HTTP/1.1\r\n") + kHere +
                          "Last-Event-ID: " + last + "\r\n\r\n") {
    mClient.ReadUntil("\r\n\r\n");
  }
  Heard Next() {
    const std::string text = "\n" + mClient.ReadUntil("\n\n");
    const auto field = [&text](const std::string& name) {
      const std::size_t at = text.find("\n" + name + ": ");
      const std::size_t from = at + name.size() + 3;
      return at == std::string::npos ? "" : text.substr(from, text.find('\n', from) - from);
    };
    return {field("id"), field("event"), test::Json::parse(field("data"), nullptr, false)};
  }
  // The first that is so; the stream's end fails.
  template <typename IsSo>
  Heard Until(const IsSo& isSo) {
    for (;;) {
      Heard heard = Next();
      if (heard.kind.empty()) ADD_FAILURE() << "the stream has ended";
      if (heard.kind.empty() || isSo(heard)) return heard;
    }
  }
  Heard UntilCamera(const std::string& state) {
    return Until([&state](const Heard& heard) {
      return heard.kind == "camera" && heard.data["camera"]["state"] == state;
    });
  }
  Heard UntilAct(const std::string& kind, const std::string& act) {
    return Until(
        [&](const Heard& heard) { return heard.kind == kind && heard.data["act"] == act; });
  }

 private:
  RawClient mClient;
};

// A station with one camera that is there.
class ServiceTest : public testing::Test {
 protected:
  explicit ServiceTest(const char* clock = "virtual", const char* variant = "KY")
      : mCamera(std::map<std::string, std::string>{
            {"DIAGOR_CLOCK", clock},
            {"DIAGOR_VARIANT", variant},
            {"DIAGOR_KNOBS", ".version.product.serial=10000077"}}) {
    mConfig.name = "bench";
    mConfig.data = mFolder.Path();
    mConfig.plans = mFolder.Path();
    mConfig.cameras = {{kName, "127.0.0.1", mCamera.Port()}};
    mConfig.waitForCamera = std::chrono::seconds(0);
    std::ofstream(mFolder.Path() / "who.toml")
        << "title = \"Who\"\nitems = [\"clock\"]\noperator = true\n";
    std::ofstream(mFolder.Path() / "torn.toml") << "title = \n";
    Open();
  }
  // Anew, as after a restart of the station.
  void Open() {
    mService.reset();
    mService.emplace(mStore, mConfig,
                     Service::Options{"1", "root", [this](const std::string& what) {
                                        const std::lock_guard lock(mLock);
                                        mComplaints += what;
                                      }});
    ASSERT_EQ(mService->Bind(0), "");
    mService->Serve();
    EventReader(mService->Port(), "0").Until([](const Heard& heard) {
      return heard.kind == "camera" && heard.data["camera"]["state"] != "not reachable";
    });
  }
  Answer Ask(const std::string& method, const std::string& target, const std::string& body = "") {
    return test::Ask(mService->Port(), method, target, body);
  }
  Answer Start(const std::string& items) {
    test::Json body = {{"camera", kName}, {"operator", "<b>Ada</b>"}};
    body["items"] = test::Json::parse(items);
    return Ask("POST", "/api/v1/runs", body.dump());
  }
  // The database as it is while somebody else is at it.
  void Change(const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open((mFolder.Path() / "station.db").c_str(), &database);
    sqlite3_busy_timeout(database, 60'000);
    EXPECT_EQ(sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
  }
  test::Json Camera() { return Ask("GET", kPath).Json(); }
  EventReader Events(const std::string& last = "0") { return {mService->Port(), last}; }

  TemporaryFolder mFolder;
  DeskProcess mCamera;
  Store mStore{(mFolder.Path() / "station.db").string()};
  StationConfig mConfig;
  std::mutex mLock;
  std::string mComplaints;
  std::optional<Service> mService;
};

TEST_F(ServiceTest, ARunIsToldShownAndHandedOut) {
  const Answer begun = Start(R"(["battery", "clock", "eeprom.main"])");
  ASSERT_EQ(begun.Status(), 201U) << begun.body;
  const std::string run = "/api/v1/runs/" + begun.Json()["id"].get<std::string>();
  EXPECT_NE(begun.head.find("\r\nLocation: " + run + "\r\n"), std::string::npos) << begun.head;

  // The whole of it, and again from its second event on.
  std::vector<Heard> heard;
  auto events = Events();
  events.Until([&heard](const Heard& each) {
    const bool isOfRun = each.kind == "run" || each.kind == "attempt";
    if (isOfRun) heard.push_back(each);
    return each.kind == "run" && each.data["act"] == "ends";
  });
  std::string acts;
  for (const Heard& each : heard) acts += each.kind[0] + each.data["act"].get<std::string>() + " ";
  EXPECT_EQ(acts,
            "rbegins abegins rprogress aends abegins rprogress aends abegins rprogress aends "
            "rends ");
  EXPECT_EQ(heard.back().data["outcome"], "passed");
  EXPECT_EQ(heard.back().data["done"], 3);
  auto rest = Events(heard[1].id);
  for (std::size_t i = 2; i < heard.size(); ++i) {
    EXPECT_EQ(rest.Until([](const Heard& each) { return each.kind != "camera"; }).id, heard[i].id);
  }

  const auto shown = Ask("GET", run).Json();
  EXPECT_EQ(shown["outcome"], "passed");
  EXPECT_EQ(shown["progress"], nullptr);
  ASSERT_EQ(shown["attempts"].size(), 3U);
  EXPECT_EQ(shown["attempts"][0]["measurements"][0]["value"], 3700.0);
  EXPECT_EQ(Camera()["last_run"]["id"], begun.Json()["id"]);

  const Answer page = Ask("GET", run + ".html");
  EXPECT_EQ(page.body.find("<b>Ada"), std::string::npos);
  EXPECT_EQ(page.body.find("<i>\"a/b"), std::string::npos);
  for (const char* const header :
       {"\r\nContent-Security-Policy: default-src 'none'; style-src 'sha", "; sandbox\r\n",
        "\r\nX-Content-Type-Options: nosniff\r\n"}) {
    EXPECT_NE(page.head.find(header), std::string::npos) << page.head;
  }
  const auto key = SigningKey::LoadOrMake(mFolder.Path() / "station.key");
  EXPECT_EQ(Verify(Ask("GET", run + ".json").body, Ask("GET", run + ".sig").body, key.PublicPem()),
            Verdict::Genuine);
  EXPECT_NE(Ask("GET", run + ".measurements.csv").body.find(",voltage,mV,3700"), std::string::npos);

  EXPECT_EQ(Ask("PUT", run + "/note", R"({"note":"<u>"})").Json()["note"], "<u>");
  const auto audit = mStore.Audit(std::nullopt, 9);
  ASSERT_EQ(audit.size(), 6U);
  EXPECT_EQ(audit.front().who + audit.front().what.substr(0, 12), "rootnote of run ");
  EXPECT_EQ(audit.back().who, "<b>Ada</b>");
}

TEST_F(ServiceTest, AFailureIsExplainedAndCounted) {
  EXPECT_EQ(Ask("PUT", std::string(kPath) + "/knobs/desk.rtc.rate", R"({"value":0})").Status(),
            200U);
  const std::string run = "/api/v1/runs/" + Start(R"(["clock"])").Json()["id"].get<std::string>();
  EXPECT_EQ(Events().UntilAct("run", "ends").data["outcome"], "failed");
  const auto camera = Camera();
  EXPECT_EQ(camera["state"], "failed");
  const auto attempt = Ask("GET", run).Json()["attempts"][0];
  const auto explained =
      Ask("GET",
          "/api/v1/explain?class=CResBitClock&item=test.items.clock.clock&code=E+0012"
          "&variant=KY")
          .Json();
  EXPECT_EQ(attempt["result"], "E 0012");
  EXPECT_FALSE(attempt["causes"].empty());
  EXPECT_EQ(attempt["causes"], explained["results"][0]["causes"]);
  EXPECT_EQ(attempt["means"], explained["results"][0]["means"]);
  EXPECT_EQ(Ask("GET", run + "/attempts/1/evidence").Json()["trace"]["steps"][0]["op"], "i2c");
  EXPECT_EQ(
      Ask("GET", "/api/v1/statistics/failures?variant=KY").Json()["rows"][0]["codes"][0]["code"],
      "E 0012");
  EXPECT_NE(test::Ask(mService->Port(), "GET", "/metrics")
                .body.find("diagor_station_runs_total{outcome=\"failed\"} 1\n"),
            std::string::npos);
  Ask("POST", std::string(kPath) + "/restore");
  EXPECT_EQ(client::CameraClient(mCamera.Port()).Get(".desk.rtc.rate")["value"], 1.0);
  EXPECT_EQ(mCamera.Get(".version.product.serial"), "10000077") << "it is the same camera";

  // Pages end where the next one begins.
  const std::string again = Start(R"(["battery"])").Json()["id"];
  const auto first = Ask("GET", "/api/v1/runs?limit=1").Json();
  EXPECT_EQ(first["runs"][0]["plan"], "Chosen tests");
  const auto second =
      Ask("GET", "/api/v1/runs?limit=1&cursor=" + first["next"].get<std::string>()).Json();
  EXPECT_EQ(second["runs"][0]["outcome"], "failed");
  EXPECT_EQ(second["next"], nullptr);

  // One that another process makes is seen too.
  Events().Until([&again](const Heard& heard) {
    return heard.kind == "run" && heard.data["act"] == "ends" && heard.data["run"] == again;
  });
  RunRequest request;
  request.plan = PlanOf("title = \"T\"\nitems = [\"battery\"]\n", "t.toml");
  const CameraAddress address = {"", "127.0.0.1", mCamera.Port()};
  const RunRecord others =
      StartRun(mStore, {"other", mFolder.Path() / "other", "1"}, address, request, {}, {});
  Events().Until([&others](const Heard& heard) {
    return heard.kind == "camera" &&
           heard.data["camera"]["last_run"].dump().find(others.id) != std::string::npos;
  });
}

TEST_F(ServiceTest, WhatCannotBeDoneIsRefusedWithItsReason) {
  const std::string name = test::Json(kName).dump();
  const std::string runs = "/api/v1/runs";
  const std::string here = kPath;
  struct Case {
    std::string method, target, body;
    unsigned status;
    const char* detail;
    std::string headers = kHere;
  };
  const Case cases[] = {
      {"GET", "/healthz", "", 403, "localhost only", "Host: bench.example\r\n"},
      {"POST", here + "/restore", "", 403, "localhost only",
       std::string(kHere) + "Origin: http://evil.example\r\n"},
      {"POST", here + "/restore", "", 403, "its own alone",
       "Host: localhost:22180\r\nOrigin: http://localhost:3000\r\n"},
      {"GET", "/api/v1/cameras/%zz", "", 400, "malformed percent"},
      {"GET", runs + "?plan=%zz", "", 400, "plan has a malformed"},
      {"GET", runs + "?cursor=4711", "", 400, "cursor"},
      {"GET", runs + "?from=yesterday", "", 400, "from is no time"},
      {"GET", "/api/v1/cameras/left", "", 404, "there are: <i>"},
      {"GET", runs + "/..%2f..%2fstation.json", "", 404, "no run"},
      {"DELETE", runs, "", 405, "GET, POST"},
      {"POST", runs, "[]", 400, "no JSON object"},
      {"POST", runs, R"({"camera":)" + name + "}", 400, "a plan or items"},
      {"POST", runs, R"({"camera":)" + name + R"(,"items":"*"})", 400, "no list"},
      {"POST", runs, R"({"camera":)" + name + R"(,"items":["\u007f"]})", 422, "tests chosen"},
      {"POST", runs, R"({"camera":)" + name + R"(,"items":["gear"]})", 422, "none of the plan's"},
      {"POST", runs, R"({"camera":)" + name + R"(,"items":["VDDR.looptest"]})", 422, "never ends"},
      {"POST", runs, R"({"camera":)" + name + R"(,"plan":"../who"})", 404, "no plan ../who"},
      {"POST", runs, R"({"camera":)" + name + R"(,"plan":"torn"})", 422, "torn.toml"},
      {"POST", runs, R"({"camera":)" + name + R"(,"plan":"who"})", 422, "operator is missing"},
      {"POST", runs, R"({"camera":)" + name + R"(,"plan":"who","operator":"A","serial":"4711"})",
       422, "has the serial 10000077, scanned was 4711"},
      {"POST", runs, R"({"serial":"4711","items":["clock"]})", 404, "10000077"},
      {"POST", runs, R"({"serial":"unknown","items":["clock"]})", 422, "to be named"},
      {"POST", runs + "/01a214f6-e042/abort", "", 404, "no run"},
      {"PUT", here + "/knobs/version.product.serial", R"({"value":"1"})", 404, "is no knob"},
      {"PUT", here + "/knobs/desk.gear", R"({"value":1})", 404, "no knob desk.gear"},
      {"PUT", here + "/knobs/desk.rtc.rate", R"({"value":1000})", 422, "does not take"},
      {"PUT", here + "/touch", R"({"x":-1,"y":2})", 400, "of the form"},
  };
  for (const Case& each : cases) {
    const Answer answer =
        test::Ask(mService->Port(), each.method, each.target, each.body, each.headers);
    EXPECT_EQ(answer.Status(), each.status) << each.target << " " << each.body << answer.body;
    EXPECT_NE(answer.Detail().find(each.detail), std::string::npos) << answer.body;
  }
  client::CameraClient other(mCamera.Port());
  other.TakeLease("bench 9", 1000);
  const Answer leased = Start(R"(["clock"])");
  EXPECT_EQ(leased.Status(), 409U);
  EXPECT_NE(leased.Detail().find("bench 9 has this camera for"), std::string::npos);
  EXPECT_TRUE(mStore.Runs({}, std::nullopt, 1).empty());
  const auto plans = Ask("GET", "/api/v1/plans").Json()["plans"];
  EXPECT_NE(plans[0]["error"].get<std::string>().find("torn.toml:1"), std::string::npos);
  EXPECT_EQ(plans[1]["asks_operator"], true);
}

class CoolerServiceTest : public ServiceTest {
 protected:
  CoolerServiceTest() : ServiceTest("virtual", "H") {}
};

TEST_F(CoolerServiceTest, ItsCurvesAreHandedOut) {
  const auto run = Start(R"(["cooler"])").Json()["id"];
  EXPECT_EQ(Events().UntilAct("run", "ends").data["outcome"], "passed");
  const auto curves = Ask("GET", "/api/v1/statistics/curves?limit=1").Json()["curves"];
  ASSERT_EQ(curves.size(), 1U);
  EXPECT_EQ(curves[0]["run"], run);
  EXPECT_NEAR(curves[0]["points"].back()[1].get<double>(), 70, 1);
  EXPECT_EQ(Ask("GET", "/api/v1/statistics/curves?serial=another").Json()["curves"].size(), 0U);
}

TEST_F(ServiceTest, WhatIsNotKeptIsNotSaidToBe) {
  Change("ALTER TABLE evidence RENAME TO away");
  const auto begun = Start(R"(["battery"])").Json();
  const Heard ends = Events().UntilAct("run", "ends");
  EXPECT_EQ(ends.data["outcome"], "running");
  EXPECT_NE(ends.data["text"].get<std::string>().find("evidence"), std::string::npos);
  EXPECT_EQ(Camera()["last_run"], nullptr);
  EXPECT_NE(Camera()["problem"].get<std::string>().find("has stopped"), std::string::npos);
  Change("ALTER TABLE away RENAME TO evidence");
  const std::string run = "/api/v1/runs/" + begun["id"].get<std::string>();
  EXPECT_EQ(Ask("POST", run + "/resume").Status(), 200U);
  Events(ends.id).UntilAct("run", "ends");
  EXPECT_EQ(Camera()["last_run"]["outcome"], "passed");
  EXPECT_EQ(Camera()["problem"], "");
}

// Two hundred whose requests never end, and streams that nobody reads, cost the others nothing.
TEST_F(ServiceTest, WhoIsSlowHoldsUpNobody) {
  std::deque<RawClient> slow;
  for (int i = 0; i < 200; ++i) {
    slow.emplace_back(mService->Port(),
                      i % 2 == 0 ? "GET /api/v1/cam" : Put("/x", "{}").substr(0, 60));
  }
  const std::string streams = std::string("GET /api/v1/events HTTP/1.1\r\n")
                                  .append(kHere)
                                  .append("Last-Event-ID: 0\r\n\r\n");
  std::deque<RawClient> deaf;
  for (int i = 0; i < 100; ++i) deaf.emplace_back(mService->Port(), streams);
  const Answer begun = Start(R"(["battery", "clock", "eeprom", "tempsens", "shutter"])");
  ASSERT_EQ(begun.Status(), 201U) << begun.body;
  EXPECT_EQ(Events().UntilAct("run", "ends").data["outcome"], "passed");
  EXPECT_EQ(Ask("GET", "/api/v1/cameras").Status(), 200U);
  // One that reads at last has missed nothing that is kept.
  EXPECT_NE(deaf.front().ReadUntil("\"act\":\"ends\",\"run\"").find("event: run"),
            std::string::npos);
}

// Its tests last until somebody acts.
class WaitingServiceTest : public ServiceTest {
 protected:
  WaitingServiceTest() : ServiceTest("real") {}
  // A run whose test waits for its operator; its path.
  std::string StartWaiting() {
    const Answer begun = Start(R"(["buttons.buttons", "battery"])");
    EXPECT_EQ(begun.Status(), 201U) << begun.body;
    Events().UntilCamera("waits for the operator");
    return "/api/v1/runs/" + begun.Json()["id"].get<std::string>();
  }
};

TEST_F(WaitingServiceTest, ARunUnderWayIsWatchedEndedAndTakenUpAgain) {
  const std::string run = StartWaiting();
  auto events = Events();
  EXPECT_EQ(events.UntilAct("attempt", "begins").data["item"], "test.items.buttons.buttons");
  EXPECT_EQ(Ask("GET", run).Json()["progress"]["item"], "test.items.buttons.buttons");
  EXPECT_EQ(Camera()["run"]["left"], 2);
  // The page draws the keypad from the dialog's buttons; a picture is never of before a key.
  const auto hit = [](const test::Json& screen) {
    std::string captions;
    if (screen.is_null()) return captions;
    for (const auto& each : screen["controls"]) {
      if (each["hit"] == true) captions += each["label"].get<std::string>();
    }
    return captions;
  };
  const std::string picture = Ask("GET", std::string(kPath) + "/screen.png").body;
  EXPECT_EQ(hit(Camera()["screen"]), "");
  EXPECT_EQ(Ask("PUT", std::string(kPath) + "/keys", R"({"key":"Push"})").Status(), 200U);
  events.Until([&hit](const Heard& heard) {
    return heard.kind == "screen" && hit(heard.data["screen"]) == "Push";
  });
  EXPECT_EQ(hit(Ask("GET", std::string(kPath) + "/screen").Json()), "Push");
  EXPECT_NE(Ask("GET", std::string(kPath) + "/screen.png").body, picture);
  EXPECT_EQ(Ask("GET", "/api/v1/station").Json()["waiting"], 1);

  const Answer second = Start(R"(["clock"])");
  EXPECT_EQ(second.Status(), 409U);
  EXPECT_NE(second.Detail().find("(Chosen tests, <b>Ada</b>)"), std::string::npos);
  EXPECT_EQ(Ask("POST", run + "/resume").Status(), 409U);

  EXPECT_EQ(Ask("POST", run + "/abort", R"({"now":true})").Status(), 200U);
  EXPECT_EQ(events.UntilAct("run", "ends").data["reason"], "interrupted");
  EXPECT_EQ(Ask("POST", run + "/abort").Status(), 409U);
  EXPECT_EQ(Ask("GET", run).Json()["attempts"][0]["result"], "interrupted");

  // The camera is still at that test: the run waits for it, until it is ended, or the station is.
  EXPECT_EQ(Ask("POST", run + "/resume").Json()["outcome"], "running");
  EXPECT_NE(events.UntilAct("run", "waits").data["text"].get<std::string>().find("still running"),
            std::string::npos);
  Open();
  const auto ended = Ask("GET", run).Json();
  EXPECT_EQ(ended["outcome"], "incomplete");
  EXPECT_EQ(ended["reason"], "interrupted");
  const Heard gap = Events("DEADBEEF-1").Next();
  EXPECT_EQ(gap.kind, "gap");
  EXPECT_EQ(gap.data["missed"], nullptr);
  EXPECT_EQ(mComplaints, "");
}

TEST_F(WaitingServiceTest, ACameraThatIsLostIsLookedForAgain) {
  const std::string run = StartWaiting();
  auto events = Events();
  mCamera.Kill();
  EXPECT_EQ(
      events.UntilAct("run", "ends").data["reason"].get<std::string>().rfind("camera lost", 0), 0U);
  auto later = Events();
  later.UntilCamera("not reachable");
  EXPECT_EQ(Ask("GET", std::string(kPath) + "/items").Status(), 503U);
  EXPECT_EQ(Start(R"(["clock"])").Status(), 503U);
  // It is there again, whether the database answers or not.
  Change("ALTER TABLE run RENAME TO away");
  mCamera.StartAgain();
  EXPECT_NE(later.UntilCamera("idle").data["camera"]["problem"].get<std::string>().find("database"),
            std::string::npos);
  Change("ALTER TABLE away RENAME TO run");
  const auto back = later.UntilCamera("idle").data["camera"];
  EXPECT_EQ(back["problem"], "");
  EXPECT_EQ(back["last_run"]["outcome"], "incomplete");
  EXPECT_EQ(Ask("GET", std::string(kPath) + "/items").Json()["items"][0]["group"], "eeprom");
}

// As one that tells neither its screen nor what happens: it is asked now and then.
TEST_F(WaitingServiceTest, ACameraThatTellsLittleIsActedAtInItsPlace) {
  http::Server camera(
      [this, &camera](const http::Request& request, const http::Send& send) {
        const bool isUntold = request.target.starts_with("/api/v1/screen") ||
                              request.target.starts_with("/api/v1/events");
        if (isUntold) return send(http::Problem(404, "Nothing", "there is nothing"));
        camera.RunLong([this, request, send] {
          const Answer answer =
              test::Ask(mCamera.Port(), request.method, request.target, request.body);
          send({answer.Status(), "application/json", answer.body});
        });
      },
      {}, [](const std::string& /*what*/) {});
  ASSERT_EQ(camera.Bind(0), "");
  camera.Serve();
  mConfig.cameras[0].port = camera.Port();
  Open();
  StartWaiting();
  EXPECT_EQ(Camera()["screen"], nullptr);
  EXPECT_EQ(Ask("GET", "/api/v1/station").Json()["waiting"], 1);
  mService.reset();
  mCamera.Kill();
}

TEST_F(WaitingServiceTest, TheProgramEndsByASignalAndServesThisMachineAlone) {
  mService.reset();
  const auto settings = mFolder.Path() / "station.toml";
  std::ofstream(settings) << "listen = \"0.0.0.0:22180\"\n";
  Process refused("diagor-station", {"--config", settings, "--data", mFolder.Path(), "serve"});
  EXPECT_EQ(refused.Wait(), 2);
  EXPECT_NE(refused.Errors().find(
                "station.toml:1: listen: others can reach 0.0.0.0:22180: certificate must"),
            std::string::npos)
      << refused.Errors();

  std::ofstream(settings) << "[[camera]]\nname = \"left\"\naddress = \"" << mCamera.Address()
                          << "\"\n";
  Process served("diagor-station",
                 {"--config", settings, "--data", mFolder.Path(), "serve", "--port", "0"});
  const std::uint16_t port = PortOf(served.ErrorsUntil("\n"));
  const Answer begun =
      test::Ask(port, "POST", "/api/v1/runs", R"({"camera":"left","items":["buttons.buttons"]})");
  ASSERT_EQ(begun.Status(), 201U) << begun.body;
  EventReader(port, "0").UntilAct("attempt", "begins");
  served.Signal(SIGTERM);
  EXPECT_EQ(served.Wait(), 0);
  const auto run = mStore.FindRun(begun.Json()["id"].get<std::string>());
  EXPECT_EQ(run->reason, "interrupted");
}

}  // namespace
}  // namespace test
