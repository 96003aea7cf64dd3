#include "client/run_plan.h"

#include <fnmatch.h>

#include <algorithm>

#include "client/cooler_plan.h"

namespace client {

namespace {

constexpr char kItems[] = "test.items";

void Collect(const Json& node, std::vector<TestItem>& items) {
  const auto className = node["class"].get<std::string>();
  if (node["kind"] == "value" && className.starts_with("CResBit")) {
    const Json& value = node["value"];
    items.push_back({node["path"].get<std::string>(), className,
                     value.is_string() ? value.get<std::string>() : value.dump()});
  }
  for (const Json& child : node["children"]) Collect(child, items);
}

bool Matches(const TestItem& item, const std::string& glob) {
  const std::string path = FullPath(glob);
  return fnmatch(path.c_str(), item.path.c_str(), 0) == 0 || item.path.starts_with(path + ".");
}

double CameraSeconds(CameraClient& camera) {
  const Json now = camera.Get(".desk.clock.now")["value"];
  return now.is_string() ? std::stod(now.get<std::string>()) : 0;
}

}  // namespace

std::vector<TestItem> TestItems(CameraClient& camera) {
  constexpr int kAllLevels = 32;
  std::vector<TestItem> items;
  Collect(camera.Get(kItems, kAllLevels), items);
  return items;
}

std::string FullPath(const std::string& path) {
  const bool isShort = path == "items" || path.starts_with("items.");
  return isShort ? "test." + path : path;
}

std::vector<TestItem> Select(const std::vector<TestItem>& items,
                             const std::vector<std::string>& globs) {
  if (globs.empty()) return items;
  std::vector<TestItem> selected;
  std::copy_if(
      items.begin(), items.end(), std::back_inserter(selected), [&globs](const TestItem& item) {
        return std::any_of(globs.begin(), globs.end(),
                           [&item](const std::string& glob) { return Matches(item, glob); });
      });
  return selected;
}

bool NeverEnds(const std::string& className) {
  return className == "CResBitLoopVDDR";
}

std::vector<TestItem> SelectForRun(const std::vector<TestItem>& items,
                                   const std::vector<std::string>& globs) {
  std::vector<TestItem> selected = Select(items, globs);
  std::erase_if(selected, [&globs](const TestItem& item) {
    return NeverEnds(item.className) &&
           std::none_of(globs.begin(), globs.end(),
                        [&item](const std::string& glob) { return FullPath(glob) == item.path; });
  });
  return selected;
}

std::string MessageOf(const std::string& record, const std::string& value) {
  const std::string field = ";" + value + ";";
  const std::size_t line = record.find(field);
  if (line != std::string::npos) return record.substr(line + field.size());
  const std::string data = "data=\"";
  const std::string end = "\" datatype=";
  const std::size_t from = record.find(data);
  const std::size_t to = record.rfind(end);
  if (from != std::string::npos && to != std::string::npos && from < to) {
    const std::string entry = record.substr(from + data.size(), to - from - data.size());
    return entry.substr(std::min(entry.find(':') + 1, entry.size()));
  }
  // An item may hold another result than its record: the message is the line's tenth field.
  constexpr int kFieldsBefore = 9;
  std::size_t start = 0;
  for (int i = 0; i < kFieldsBefore; ++i) {
    start = record.find(';', start);
    if (start == std::string::npos) return {};
    ++start;
  }
  return record.substr(start);
}

void Judge(const Json& reply, Attempt& attempt) {
  attempt.status = reply["status"].get<std::uint32_t>();
  const Json& value = reply["value"];
  attempt.value = value.is_string() ? value.get<std::string>() : value.dump();
  attempt.records = reply["records"].get<std::vector<std::string>>();
  attempt.message.clear();
  if (!attempt.records.empty()) attempt.message = MessageOf(attempt.records.back(), attempt.value);
  attempt.passed =
      attempt.status == 0 && (attempt.value == "OK      " || attempt.value == "Tested  ");
}

void Run(CameraClient& camera, const std::vector<TestItem>& items, const RunOptions& options,
         std::vector<Attempt>& attempts, const Progress& progress) {
  for (unsigned round = 1; round <= options.rounds; ++round) {
    bool failed = false;
    for (const TestItem& item : items) {
      Attempt attempt;
      attempt.path = item.path;
      attempt.round = round;
      progress(attempt, Phase::Begins);
      const double start = CameraSeconds(camera);
      if (IsCooler(item.className)) {
        RunCooler(camera, attempt, progress);
      } else {
        Judge(camera.Set(item.path, "run"), attempt);
      }
      attempt.seconds = CameraSeconds(camera) - start;
      failed = failed || !attempt.passed;
      attempts.push_back(attempt);
      progress(attempt, Phase::Ends);
    }
    if (failed && options.untilFail) return;
  }
}

}  // namespace client
