// What the network face answers, without a socket between: nodes, values and problems.
#include <gtest/gtest.h>

#include <future>

#include "server/api.h"
#include "support/test_camera.h"

namespace test {
namespace {

class ApiTest : public ::testing::Test {
 protected:
  struct Answer {
    unsigned status;
    Json json;
  };
  Answer Ask(const std::string& method, const std::string& target, const std::string& body = "",
             const std::string& host = "localhost:1", const std::string& origin = "") {
    const auto reply = std::make_shared<std::promise<http::Reply>>();
    mApi.Handle({method, target, host, origin, "", body},
                [reply](const http::Reply& sent) { reply->set_value(sent); });
    const http::Reply sent = reply->get_future().get();
    return {sent.status, Json::parse(sent.body, nullptr, false)};
  }

  TestCamera mCamera{"KY"};
  desk::Api mApi{mCamera.Camera(),
                 {.aside = [](const auto& work) { work(); },
                  .longer = [](const auto& work) { return work(), true; }}};
};

TEST_F(ApiTest, NodesWithNamesOrNestedChildren) {
  const Json root = Ask("GET", "/api/v1/task").json;
  EXPECT_EQ(root["path"], "");
  EXPECT_EQ(root["children"], Json::array({"test"}));
  const Json battery = Ask("GET", "/api/v1/task/test.items.battery?depth=1").json;
  EXPECT_EQ(battery["kind"], "branch");
  EXPECT_EQ(battery["value"], nullptr);
  EXPECT_EQ(battery["children"][0],
            Json::parse(R"({"path":"test.items.battery.battery","kind":"test","type":"text",
                "class":"CResBitBatteryFG","value":"Untested","children":[]})"));
  const std::string kept = "/api/v1/camera/.desk.fvd.status58";
  EXPECT_EQ(Ask("PUT", kept, R"({"value":4294967295})").json["value"], 4294967295.0);
  const std::tuple<std::string, const char*, Json> cases[] = {
      {"/api/v1/task/.test.errcnt", "value", 0},
      {"/api/v1/task/test%2Eerrcnt", "class", "CResBitErrCnt"},
      {"/api/v1/task/test.errcnt", "kind", "value"},
      {"/api/v1/task/test.clearLog", "kind", "trigger"},
      {"/api/v1/camera/version.product.name", "value", "KY"},
      {"/api/v1/camera/.desk.rtc.rate", "type", "double"},
      {kept, "value", 4294967295.0},
      {"/healthz", "status", "ok"},
  };
  for (const auto& [target, key, value] : cases) {
    EXPECT_EQ(Ask("GET", target).json[key], value) << target;
  }
}

TEST_F(ApiTest, WritesAnswerWithStatusStoredValueAndRecords) {
  const Answer passed = Ask("PUT", "/api/v1/task/test.items.eeprom.main", R"({"value":"run"})");
  EXPECT_EQ(passed.status, 200U);
  EXPECT_EQ(passed.json["status"], 0);
  EXPECT_EQ(passed.json["value"], "OK      ");
  EXPECT_EQ(passed.json["records"].size(), 1U);
  EXPECT_EQ(passed.json["elapsed_ms"], 0.0);
  EXPECT_FALSE(passed.json.contains("trace"));

  Ask("PUT", "/api/v1/camera/.desk.bus.i2c1.ae.answers", R"({"value":false})");
  const Answer failed =
      Ask("PUT", "/api/v1/task/test.items.eeprom.main?trace=1", R"({"value":"run"})");
  EXPECT_EQ(failed.status, 200U);  // a failed test is no failed request
  EXPECT_EQ(failed.json["status"], 1);
  EXPECT_EQ(failed.json["value"], "E 0021  ");
  EXPECT_EQ(failed.json["elapsed_ms"], 0.0);
  EXPECT_EQ(failed.json["trace"][0],
            Json::parse(R"({"ms":0.0,"op":"i2c","device":"I2C1:","address":"ae","written":"00",
                "read":"","ok":false})"));
  // Of a failure alone: what passes is told as shortly as without.
  const auto whenFailed = [this](const char* item) {
    return Ask("PUT", std::string("/api/v1/task/test.items.") + item + "?trace=failed",
               R"({"value":"run"})")
        .json;
  };
  EXPECT_EQ(whenFailed("eeprom.main")["trace"].size(), failed.json["trace"].size());
  EXPECT_FALSE(whenFailed("battery.battery").contains("trace"));
  const Json cleared = Ask("PUT", "/api/v1/task/test.clearLog?trace=1", R"({"value":true})").json;
  EXPECT_EQ(cleared["records"], Json::array());  // a header is no record
  EXPECT_EQ(TraceLines(cleared),
            (std::vector<std::string>{"0 get version.product.name KY true",
                                      "0 get version.product.serial 10000010 true",
                                      "0 file /FlashFS/tmp/bitlog.txt w true"}));
}

// Whoever has it renews it and gives it back; nobody else gets it meanwhile, and nobody is kept
// from writing.
TEST_F(ApiTest, ALeaseIsOnesAtATime) {
  const auto take = [this](const char* body) { return Ask("PUT", "/api/v1/lease", body); };
  EXPECT_EQ(Ask("GET", "/api/v1/lease").json["owner"], nullptr);
  EXPECT_EQ(take(R"({"owner":"bench 1","seconds":600})").status, 200U);
  const Answer taken = take(R"({"owner":"bench 2","seconds":600})");
  EXPECT_EQ(taken.status, 409U);
  EXPECT_TRUE(taken.json["detail"].get<std::string>().starts_with("bench 1 has this camera for "));
  EXPECT_EQ(take(R"({"owner":"bench 1","seconds":900})").json["owner"], "bench 1");
  EXPECT_GT(Ask("GET", "/api/v1/lease").json["seconds"], 600);
  EXPECT_EQ(Ask("PUT", "/api/v1/task/test.items.eeprom.main", R"({"value":"run"})").status, 200U);
  EXPECT_EQ(take(R"({"owner":"bench 1","seconds":0})").json["owner"], nullptr);
  EXPECT_EQ(take(R"({"owner":"bench 2","seconds":600})").status, 200U);
}

// Whoever taps where the dialog says that its buttons are hits one after the other.
TEST_F(ApiTest, ScreenTellsWhereToTapWhatIsHitAndForHowLong) {
  const auto screen = [this] { return Ask("GET", "/api/v1/screen").json; };
  mCamera.Set(".desk.operator.mode", "none");
  EXPECT_EQ(screen(), nullptr);
  std::optional<desk::Clock::Participation> mine(std::in_place, mCamera.Camera().Clock(),
                                                 desk::Clock::Role::Follows);
  const auto sleepUntil = [this](int ms) {
    mCamera.Camera().Clock().SleepUntil(std::chrono::milliseconds(ms));
  };
  auto result = std::async(std::launch::async,
                           [this] { return mCamera.Run("test.items.touchscreen.touchscreen"); });
  sleepUntil(5000);  // the dialog came at 3 s
  Json before = screen();
  ASSERT_EQ(before["controls"].size(), 9U);
  before["controls"].erase(before["controls"].begin() + 1, before["controls"].end());
  EXPECT_EQ(before, Json::parse(R"({"template":120,"title":"Touch Screen Test","x":149,"y":57,
      "width":726,"height":486,"timeout_ms":58000.0,"controls":[{"id":1029,"kind":"button",
      "text":"Hit me!","label":"Hit me!","x":168,"y":105,"width":216,"height":128,"enabled":true,
      "hit":false}]})"));
  for (std::size_t i = 0; i < 9; ++i) {
    const Json target = screen()["controls"][i];
    EXPECT_EQ(target["hit"], false) << i;
    const int right = target["x"].get<int>() + target["width"].get<int>() - 1;
    const int bottom = target["y"].get<int>() + target["height"].get<int>() - 1;
    mCamera.Set(".desk.touch", std::to_string(right) + "," + std::to_string(bottom));
    sleepUntil(5010 + 10 * static_cast<int>(i));
    const Json after = screen()["controls"][i];
    EXPECT_EQ(after["hit"], true) << i;
    EXPECT_EQ(after["text"], "OK") << i;
    EXPECT_EQ(after["label"], "Hit me!") << i;
  }
  EXPECT_EQ(screen()["timeout_ms"], nullptr);  // all is seen: it ends by itself
  mine.reset();
  EXPECT_EQ(result.get().value, "OK      ");
  EXPECT_EQ(screen(), nullptr);
}

// What the knob table says, with names filled in.
TEST_F(ApiTest, KnobsTellTheirFaults) {
  const Json knobs = Ask("GET", "/api/v1/knobs").json["knobs"];
  const auto found = std::find_if(knobs.begin(), knobs.end(), [](const Json& each) {
    return each["path"] == "desk.focus.speed";
  });
  ASSERT_NE(found, knobs.end());
  EXPECT_EQ((*found)["device"], "Focus motor");
  EXPECT_EQ((*found)["start"], 32000.0);  // this camera's lens, not the table's
  EXPECT_EQ((*found)["range"], Json::array({0, 1e9}));
  EXPECT_EQ((*found)["faults"][0]["value"], "500");
  EXPECT_EQ((*found)["faults"][0]["part"], "lens");
  EXPECT_EQ((*found)["faults"][0]["at_start"], false);
  EXPECT_TRUE((*found)["faults"][0].contains("from"));
  EXPECT_FALSE((*found).contains("healthy"));
}

TEST_F(ApiTest, ProblemsSayWhatIsWrong) {
  const std::string main = "/api/v1/task/test.items.eeprom.main";
  std::string deep = R"({"value":)";
  for (int i = 0; i < 200000; ++i) deep += '[';
  const std::tuple<const char*, std::string, std::string, unsigned> cases[] = {
      {"GET", "/api/v1/tasks", "", 404},
      {"GET", "/api/v1/task/test.nobody", "", 404},
      {"GET", "/api/v1/task/%0", "", 400},
      {"GET", "/api/v1/task/test%00", "", 400},
      {"GET", "/api/v1/task/test?depth=x", "", 400},
      {"GET", "/api/v1/task/test?depth=33", "", 400},
      {"DELETE", main, "", 405},
      {"POST", "/healthz", "", 405},
      {"PUT", main, "", 400},
      {"PUT", main, R"(["run"])", 400},
      {"PUT", main, R"({"values":"run"})", 400},
      {"PUT", main, "{\"value\":\"\xC3\"}", 400},
      {"PUT", main, std::string(R"({"value":"run"})") + '\0' + "x", 400},
      {"PUT", main, deep, 400},
      {"PUT", main, R"({"value":null})", 422},
      {"PUT", main, R"({"value":3000000000})", 422},
      {"PUT", main, R"({"value":"a\u0000b"})", 422},
      {"PUT", "/api/v1/task/test.items", R"({"value":"run"})", 422},
      {"PUT", "/api/v1/task/test.description.format", R"({"value":"PDF"})", 422},
      {"PUT", "/api/v1/task/test.nobody", R"({"value":"run"})", 404},
      {"PUT", "/api/v1/camera/.desk.rtc.rate", R"({"value":"fast"})", 422},
      {"PUT", "/api/v1/camera/.desk.rtc.rate", R"({"value":1e9})", 422},
      {"PUT", "/api/v1/camera/.desk.fvd.status58", R"({"value":4294967296})", 422},
      {"PUT", "/api/v1/camera/.desk.fvd.function", R"({"value":2147483648})", 422},
      {"PUT", "/api/v1/camera/.desk.clock.now", R"({"value":"1"})", 422},
      {"PUT", "/api/v1/camera/.desk.clock.at", R"({"value":"soon x=1"})", 422},
      {"PUT", "/api/v1/camera/.desk.bus.i2c1.ae.data", R"({"value":"0g"})", 422},
      {"PUT", "/api/v1/lease", deep, 400},
      {"PUT", "/api/v1/lease", R"({"owner":"a"})", 400},
      {"PUT", "/api/v1/lease", R"({"owner":"","seconds":1})", 422},
      {"PUT", "/api/v1/lease", R"({"owner":"a","seconds":3601})", 422},
      {"GET", "/api/v1/files/FlashFS/tmp", "", 404},
      {"GET", "/api/v1/files/../../../etc/passwd", "", 404},
  };
  for (const auto& [method, target, body, status] : cases) {
    const Answer answer = Ask(method, target, body);
    EXPECT_EQ(answer.status, status) << method << " " << target << " " << body.substr(0, 100);
    EXPECT_EQ(answer.json["status"], status) << target;
    EXPECT_FALSE(answer.json["detail"].get<std::string>().empty()) << target;
  }
  EXPECT_EQ(mCamera.Get("test.items.eeprom.main"), "Untested");
}

TEST_F(ApiTest, OnlyAPageOfThisMachineMayAsk) {
  const std::string target = "/api/v1/task/test.items.eeprom.main";
  const std::string body = R"({"value":"run"})";
  for (const char* const host : {"", "example.com", "localhost.example.com", "127.0.0.1x:80",
                                 "localhost:80a", "127.0.0.2"}) {
    EXPECT_EQ(Ask("PUT", target, body, host).status, 403U) << host;
  }
  for (const char* const origin : {"http://example.com", "null", "https://localhost"}) {
    EXPECT_EQ(Ask("PUT", target, body, "localhost", origin).status, 403U) << origin;
  }
  EXPECT_EQ(mCamera.Get("test.items.eeprom.main"), "Untested");
  EXPECT_EQ(Ask("PUT", target, body, "[::1]:80", "http://127.0.0.1:22143").status, 200U);
}

}  // namespace
}  // namespace test
