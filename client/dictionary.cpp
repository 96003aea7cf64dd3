#include "client/dictionary.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string_view>
#include <tuple>

// The two files of this folder, as they are linked into the library.
extern "C" const char gFaultCausesBegin[];
extern "C" const char gFaultCausesEnd[];
extern "C" const char gTestGuideBegin[];
extern "C" const char gTestGuideEnd[];

namespace client {

namespace {

using Data = nlohmann::json;
using Row = std::tuple<std::string, std::string, std::string>;  // item, class, result

constexpr std::string_view kItems = "test.items.";
constexpr std::string_view kNoResult = "no result";
constexpr std::string_view kAnyBoard = "* board";

std::map<Row, std::vector<Cause>> ReadCauses() {
  std::map<Row, std::vector<Cause>> rows;
  for (const Data& row : Data::parse(gFaultCausesBegin, gFaultCausesEnd)) {
    std::vector<Cause>& causes = rows[{row["item"], row["class"], row["result"]}];
    for (const Data& cause : row["causes"]) {
      causes.push_back({cause["what"], cause["part"], cause["variants"]});
    }
  }
  return rows;
}

const std::map<Row, std::vector<Cause>>& Causes() {
  static const std::map<Row, std::vector<Cause>> kCauses = ReadCauses();
  return kCauses;
}

// item: empty for any. "no result" is that with any status.
bool IsOf(const Row& row, const std::string& className, const std::string& result,
          const std::string& item = "") {
  const auto& [rowItem, rowClass, rowResult] = row;
  const bool isResult =
      rowResult == result || (result == kNoResult && rowResult.starts_with(kNoResult));
  return rowClass == className && isResult && (item.empty() || item == rowItem);
}

// Of all rows for which that holds, each once.
template <typename Holds>
std::vector<Cause> Collect(const Holds& holds) {
  std::vector<Cause> causes;
  for (const auto& [row, known] : Causes()) {
    if (!holds(row)) continue;
    for (const Cause& cause : known) {
      const bool isThere = std::any_of(causes.begin(), causes.end(), [&cause](const Cause& each) {
        return each.what == cause.what && each.part == cause.part;
      });
      if (!isThere) causes.push_back(cause);
    }
  }
  return causes;
}

struct Guide {
  std::map<std::string, TestGuide> tests;
  std::map<std::string, std::string> remedies;
};

Guide ReadGuide() {
  Guide guide;
  const Data guideFile = Data::parse(gTestGuideBegin, gTestGuideEnd);
  for (const Data& unit : guideFile["units"]) guide.remedies[unit["unit"]] = unit["try"];
  for (const Data& test : guideFile["tests"]) {
    TestGuide read{test["about"], {}};
    for (const Data& result : test["results"]) {
      for (const Data& code : result["codes"]) {
        read.results.push_back({code, result["means"], result["try"]});
      }
    }
    for (const Data& name : test["classes"]) guide.tests[name] = read;
  }
  return guide;
}

const Guide& TheGuide() {
  static const Guide kGuide = ReadGuide();
  return kGuide;
}

}  // namespace

std::string ItemName(const std::string& path) {
  return path.starts_with(kItems) ? path.substr(kItems.size()) : path;
}

bool HasCauses(const std::string& path, const std::string& className, const std::string& result) {
  return !Collect([&](const Row& row) {
            return IsOf(row, className, result, ItemName(path));
          }).empty();
}

std::vector<Cause> CausesOf(const std::string& path, const std::string& className,
                            const std::string& result, const std::string& camera) {
  std::vector<Cause> causes =
      Collect([&](const Row& row) { return IsOf(row, className, result, ItemName(path)); });
  if (causes.empty()) {
    causes = Collect([&](const Row& row) { return IsOf(row, className, result); });
  }
  std::stable_partition(causes.begin(), causes.end(), [&camera](const Cause& cause) {
    return std::find(cause.variants.begin(), cause.variants.end(), camera) != cause.variants.end();
  });
  return causes;
}

const ResultGuide* TestGuide::Find(const std::string& result) const {
  const std::string code(result.starts_with(kNoResult) ? kNoResult : result);
  const auto found = std::find_if(results.begin(), results.end(),
                                  [&code](const ResultGuide& each) { return each.code == code; });
  return found == results.end() ? nullptr : &*found;
}

const TestGuide* GuideOf(const std::string& className) {
  const auto found = TheGuide().tests.find(className);
  return found == TheGuide().tests.end() ? nullptr : &found->second;
}

std::string RemedyFor(const std::string& part) {
  const auto& remedies = TheGuide().remedies;
  const auto found = remedies.find(part);
  if (found != remedies.end()) return found->second;
  const std::string_view board = kAnyBoard.substr(1);
  if (!part.ends_with(board)) return "";
  std::string remedy = remedies.at(std::string(kAnyBoard));
  for (std::size_t at = 0; (at = remedy.find(kAnyBoard, at)) != std::string::npos;) {
    remedy.replace(at, kAnyBoard.size(), part);
    at += part.size();
  }
  return remedy;
}

}  // namespace client
