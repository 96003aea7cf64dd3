// Plans and settings as people write them, and what comes next in a run.
#include "station/runner/plan.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "station/config/station_config.h"
#include "station/runner/run_state.h"
#include "support/test_camera.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)

// What the act complains of; empty: nothing.
template <typename Act>
std::string ProblemOf(const Act& act) {
  try {
    act();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return {};
}

const std::vector<client::TestItem> kItems = {{"test.items.eeprom.main", "A", ""},
                                              {"test.items.lcd.bitmaps", "B", ""},
                                              {"test.items.lcd.images", "C", ""},
                                              {"test.items.VDDR.test", "D", ""},
                                              {"test.items.VDDR.looptest", "CResBitLoopVDDR", ""}};

TEST(PlanTest, MistakesAreNamedByFileLineAndKey) {
  const std::string head = "title = \"T\"\nitems = [\"*\"]\n";
  const std::pair<std::string, std::string> cases[] = {
      {"items = [\"*\"]\n", ":1: the key title is missing"},
      {"title = \"\"\nitems = [\"*\"]\n", ":1: title is empty"},
      {"title = \"T\"\n", ":1: items names no test"},
      {"title = \"T\"\nitems = [\n\"a\",\n\"a\"]\n", ":4: items lists a twice"},
      {head + "rounds = 0\n", ":3: rounds is no number from 1 to 1000000"},
      {head + "rounds = 2\nhours = 1\n", ":4: hours stands in place of rounds, not beside"},
      {head + "hours = -1\n", ":3: hours is no number above 0, of at most 8760"},
      {head + "hours = nan\n", ":3: hours is no number above 0, of at most 8760"},
      {head + "retries = \"1\"\n", ":3: the key retries has a wrong type"},
      {head + "on_failure = \"halt\"\n", ":3: on_failure is neither \"go on\" nor \"stop\""},
      {head + "\nround = 1\n", ":4: unknown key round"},
      {head + "title = \"U\"\n", ":3: "},
  };
  for (const auto& [text, problem] : cases) {
    const std::string found = ProblemOf([&, &plan = text] { PlanOf(plan, "p.toml"); });
    EXPECT_EQ(found.rfind("p.toml" + problem, 0), 0U) << found;
  }
  EXPECT_NE(
      ProblemOf([] { FindPlan("none", DIAGOR_PLANS); }).find("there are all operator quick soak"),
      std::string::npos);
}

TEST(PlanTest, ItemsRunInThePlansOrderEachOnce) {
  const std::pair<std::string, std::string> cases[] = {
      {R"(items = ["lcd", "*"])", "lcd.bitmaps lcd.images eeprom.main VDDR.test"},
      {R"(items = ["VDDR.*", "test.items.eeprom.main"])", "VDDR.test eeprom.main"},
      {R"(items = ["*"])"
       "\n"
       R"(except = ["lcd.i*", "VDDR"])",
       "eeprom.main lcd.bitmaps"},
  };
  for (const auto& [text, order] : cases) {
    std::string found;
    for (const auto& item : ItemsOf(PlanOf("title = \"T\"\n" + text, "p"), kItems)) {
      found += (found.empty() ? "" : " ") + item.path.substr(sizeof "test.items." - 1);
    }
    EXPECT_EQ(found, order);
  }
  const std::pair<std::string, std::string> refused[] = {
      {R"(items = ["focus"])", "p: this camera has none of the plan's tests"},
      {"items = [\"lcd\",\n\"VDDR.looptest\"]",
       "p:3: items names test.items.VDDR.looptest, which never ends"},
  };
  for (const auto& [text, problem] : refused) {
    EXPECT_EQ(
        ProblemOf([&, &plan = text] { ItemsOf(PlanOf("title = \"T\"\n" + plan, "p"), kItems); }),
        problem);
  }
  for (const std::string& name : PlanNames(DIAGOR_PLANS)) {
    EXPECT_FALSE(FindPlan(name, DIAGOR_PLANS).title.empty());
  }
}

TEST(ConfigTest, MistakesAreNamedAndFoldersStandBesideTheFile) {
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "station.toml").string();
  const auto load = [&file](const std::string& text) {
    std::ofstream(file) << text;
    return LoadConfig(file);
  };
  const std::string camera = "[[camera]]\nname = \"A\"\naddress = \"127.0.0.1:1\"\n";
  const std::pair<std::string, std::string> cases[] = {
      {"name = \"\"\n", ":1: name has not 1 to 80 bytes"},
      {"[[camera]]\nname = \"A\"\naddress = \"here\"\n",
       ":3: address: \"here\" is no camera's address, as 127.0.0.1:22143"},
      {camera + camera, ":4: a camera of that name or address is listed above"},
      {camera + "speed = 1\n", ":4: unknown key speed"},
      {"\nplans = \"/no/plans\"\n", ":2: /no/plans is no folder"},
  };
  for (const auto& [text, problem] : cases) {
    EXPECT_EQ(ProblemOf([&, &config = text] { load(config); }), file + problem);
  }
  const StationConfig config =
      load("name = \"B 3\"\ndata = \"d\"\nplans = \"/usr\"\nwait_for_camera = 5\n" + camera +
           "[[camera]]\nname = \"C\"\naddress = \"[::1]:65535\"\n");
  EXPECT_EQ(config.name, "B 3");
  EXPECT_EQ(config.database, (folder.Path() / "d/station.db").string());
  EXPECT_EQ(config.plans, "/usr");
  EXPECT_EQ(config.waitForCamera, std::chrono::seconds(5));
  ASSERT_EQ(config.cameras.size(), 2U);
  EXPECT_EQ(config.cameras[1].host + " " + config.cameras[1].Text(), "::1 [::1]:65535");
}

// A run as its attempts' results, each "item:result": p passed, f failed, n no result.
struct StateCase {
  const char* plan;
  std::vector<std::string> results;  // in the order in which the state asks
  const char* asked;                 // "item round retry", for each of them and what comes next
  Outcome outcome;
  const char* reason;
};

TEST(RunStateTest, WhatComesNextAndWhatItCameTo) {
  const StateCase cases[] = {
      {"", {"p", "p"}, "a10 b10", Outcome::Passed, ""},
      {"rounds = 2", {"p", "f", "p", "p"}, "a10 b10 a20 b20", Outcome::Failed, ""},
      {"retries = 1", {"f", "p", "f", "f"}, "a10 a11 b10 b11", Outcome::Failed, ""},
      {"retries = 2", {"p", "f", "p"}, "a10 b10 b11", Outcome::PassedOnRetry, ""},
      {"on_failure = \"stop\"\nretries = 1", {"f", "f"}, "a10 a11", Outcome::Failed, ""},
      {"on_failure = \"stop\"", {"n", "p"}, "a10 b10", Outcome::Incomplete, "a: gone"},
      {"rounds = 2\nretries = 1",
       {"n", "n", "f", "p", "p"},
       "a10 b10 a20 a21 b20",
       Outcome::Incomplete,
       "a: gone; 1 more without a result"},
      {"hours = 1", {"p", "p", "p", "p"}, "a10 b10 a20 b20", Outcome::Passed, ""},
  };
  const std::vector<client::TestItem> items = {{"a", "A", ""}, {"b", "B", ""}};
  for (const StateCase& each : cases) {
    const Plan plan =
        PlanOf(std::string("title = \"T\"\nitems = [\"*\"]\n").append(each.plan), "p");
    std::string asked;
    RunState state(plan, items);
    std::vector<AttemptRecord> attempts;
    // The time of a plan by hours is over within its second round.
    while (const auto next = state.NextAttempt(attempts.size() > 2)) {
      ASSERT_LT(attempts.size(), each.results.size()) << each.plan;
      asked += (asked.empty() ? "" : " ") + next->item.path + std::to_string(next->round) +
               std::to_string(next->retry);
      const std::string result = each.results[attempts.size()];
      AttemptRecord attempt;
      attempt.item = next->item.path;
      attempt.round = next->round;
      attempt.isEnded = true;
      attempt.passed = result == "p";
      attempt.problem = result == "n" ? "gone" : "";
      state.Add(attempt, attempt);
      attempts.push_back(attempt);
    }
    EXPECT_EQ(asked, each.asked) << each.plan;
    EXPECT_EQ(state.Result("").first, each.outcome) << each.plan;
    EXPECT_EQ(state.Result("").second, each.reason) << each.plan;

    // Taken up again after each of its attempts, it goes on where it was; what has no result is
    // made anew.
    for (std::size_t made = 0; made <= attempts.size(); ++made) {
      RunState again(plan, items);
      for (std::size_t i = 0; i < made; ++i) again.AddEarlier(attempts[i]);
      const auto next = again.NextAttempt(made > 2);
      const bool hasGap = std::any_of(attempts.begin(), attempts.begin() + std::ptrdiff_t(made),
                                      [](const auto& attempt) { return !attempt.problem.empty(); });
      if (hasGap) {
        ASSERT_TRUE(next);
        EXPECT_EQ(next->item.path + std::to_string(next->round), "a1") << each.plan;
      } else {
        ASSERT_EQ(next.has_value(), made < attempts.size()) << each.plan << made;
        EXPECT_EQ(next ? next->item.path : attempts.back().item,
                  attempts[std::min(made, attempts.size() - 1)].item);
      }
    }
  }
}

TEST(RunStateTest, AnInterruptedAttemptIsMadeAgain) {
  RunState state(PlanOf("title = \"T\"\nitems = [\"*\"]\nretries = 1\nrounds = 1000000", "p"),
                 {{"a", "A", ""}});
  AttemptRecord attempt;
  attempt.item = "a";
  state.AddEarlier(attempt);  // has no end
  attempt.isEnded = true;
  state.AddEarlier(attempt);  // failed
  const auto next = state.NextAttempt(false);
  ASSERT_TRUE(next);
  EXPECT_EQ(next->retry, 1);
  EXPECT_EQ(state.Left().at("a"), 1'000'000U);
  attempt.passed = true;
  for (attempt.round = 1; attempt.round <= 9; ++attempt.round) {
    ASSERT_TRUE(state.NextAttempt(false));
    state.Add(attempt, attempt);
    EXPECT_EQ(state.Done(), static_cast<std::size_t>(attempt.round));
  }
  EXPECT_EQ(state.Left().at("a"), 999'991U);
  EXPECT_EQ(state.Result("aborted").second, "aborted");
}

}  // namespace
}  // namespace test
