// explain: what a test does, what its result means, what makes it, what to try.
#include <algorithm>
#include <cctype>
#include <iostream>
#include <set>

#include "client/dictionary.h"
#include "diagorctl/about_camera.h"
#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

using client::Cause;
using client::Json;
using client::ResultGuide;

constexpr std::size_t kMostCauses = 8;

// What an item holds that did not fail: the same of every test.
const ResultGuide kWithoutFailure[] = {
    {"OK", "The test passed.", ""},
    {"Tested", "The test passed.", ""},
    {"Untested", "The test has not been run since the camera started or was reset.", ""},
};

std::string InCapitals(std::string text) {
  for (char& each : text) each = static_cast<char>(std::toupper(static_cast<unsigned char>(each)));
  return text;
}

// "00A3", "a3", "E 00a3", "ok" or "no result" as the results have it.
std::string ResultOf(const std::string& code) {
  constexpr std::size_t kDigits = 4;
  if (code.starts_with("no result")) return code;
  std::string digits = InCapitals(code);
  for (const ResultGuide& each : kWithoutFailure) {
    if (digits == InCapitals(each.code)) return each.code;
  }
  if (digits.starts_with("E ")) digits.erase(0, 2);
  return "E " + std::string(kDigits - std::min(kDigits, digits.size()), '0') + digits;
}

// Null: the test has no such result.
const ResultGuide* Find(const client::TestGuide& guide, const std::string& result) {
  for (const ResultGuide& each : kWithoutFailure) {
    if (each.code == result) return &each;
  }
  return guide.Find(result);
}

// What a technician asks about: the code that he names, else the one that the item holds.
std::string AskedFor(const client::TestItem& item, const Options& options) {
  if (!options.value.empty()) return ResultOf(options.value);
  const std::string value = item.value.substr(0, item.value.find_last_not_of(' ') + 1);
  return value.starts_with("E ") ? value : "";
}

bool IsFailure(const ResultGuide& guide) {
  return !guide.remedy.empty();
}

void PrintCauses(const std::vector<Cause>& causes) {
  if (causes.empty()) {
    std::cout << "  No cause is known that makes it.\n";
    return;
  }
  std::cout << "  Known causes, the most specific first:\n";
  std::size_t shown = 0;
  for (const Cause& cause : causes) {
    if (++shown > kMostCauses) {
      std::cout << "    and " << causes.size() - kMostCauses << " more\n";
      break;
    }
    std::cout << Wrapped(Shown(cause.part) + ": " + Shown(cause.what), 4);
  }
}

void PrintRemedies(const ResultGuide& guide, const std::vector<Cause>& causes) {
  std::cout << "  What to try:\n" << Wrapped(guide.remedy, 4);
  std::set<std::string> told;
  for (const Cause& cause : causes) {
    if (told.size() == 3 || !told.insert(cause.part).second) continue;
    const std::string remedy = client::RemedyFor(cause.part);
    if (!remedy.empty()) std::cout << Wrapped(Shown(cause.part) + ": " + remedy, 4);
  }
}

Json GuideJson(const ResultGuide& guide, const std::vector<Cause>& causes) {
  Json json = {{"result", guide.code}, {"means", guide.means}, {"try", guide.remedy}};
  json["causes"] = Json::array();
  for (const Cause& cause : causes) {
    json["causes"].push_back({{"what", cause.what},
                              {"part", cause.part},
                              {"variants", cause.variants},
                              {"try", client::RemedyFor(cause.part)}});
  }
  return json;
}

}  // namespace

int Explain(client::CameraClient& camera, const Options& options) {
  const auto items = client::Select(client::TestItems(camera), {options.path});
  if (items.size() != 1) {
    Complain(items.empty() ? "there is no test item " + options.path + "; diagorctl list shows them"
                           : options.path + " are several test items; name one");
    return kUsage;
  }
  const client::TestItem& item = items.front();
  const client::TestGuide* const guide = client::GuideOf(item.className);
  if (guide == nullptr) {
    Complain("nothing is known about " + item.path);
    return kUsage;
  }
  const std::string asked = AskedFor(item, options);
  std::vector<ResultGuide> results = guide->results;
  if (!asked.empty()) {
    const ResultGuide* const found = Find(*guide, asked);
    if (found == nullptr) {
      Complain(item.path + " has no result " + asked);
      return kUsage;
    }
    results = {*found};
  }
  if (asked.empty()) {
    // What only other items of its kind end with: the full test's results say nothing of a part's.
    std::erase_if(results, [&item](const ResultGuide& each) {
      return !client::HasCauses(item.path, item.className, each.code) &&
             !client::CausesOf(item.path, item.className, each.code).empty();
    });
  }
  const std::string name = NameOf(camera);
  Json json = {{"path", item.path}, {"about", guide->about}, {"results", Json::array()}};
  if (!options.json) std::cout << item.path << "\n" << Wrapped(guide->about, 0);
  for (const ResultGuide& result : results) {
    // Of "no result" the dictionary knows the status too.
    const auto causes =
        client::CausesOf(item.path, item.className, asked.empty() ? result.code : asked, name);
    if (options.json) {
      json["results"].push_back(GuideJson(result, causes));
      continue;
    }
    std::cout << "\n" << Wrapped(result.code + ": " + result.means, 0);
    if (!IsFailure(result)) continue;
    PrintCauses(causes);
    PrintRemedies(result, causes);
  }
  if (options.json) PrintJson(json);
  return kNothingFailed;
}

}  // namespace diagorctl
