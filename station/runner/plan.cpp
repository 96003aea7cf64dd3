#include "station/runner/plan.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>

namespace station {

namespace {

using settings::ListedName;
using settings::TableReader;

constexpr std::int64_t kMostRounds = 1'000'000;
constexpr std::int64_t kMostRetries = 100;
constexpr double kMostHours = 24 * 365;

// "eeprom.*" as "test.items.eeprom.*"; longer forms as everywhere.
std::string FullGlob(const std::string& glob) {
  const std::string full = client::FullPath(glob);
  return full.starts_with("test.items") ? full : "test.items." + full;
}

void TakeEnd(TableReader& reader, Plan& plan) {
  const auto rounds = reader.TakeWhole("rounds", 1, kMostRounds);
  const toml::node* const hours = reader.TakeNode("hours");
  plan.rounds = static_cast<unsigned>(rounds.value_or(1));
  if (hours == nullptr) return;
  if (rounds) {
    throw std::runtime_error(reader.AtKey("hours") + "hours stands in place of rounds, not beside");
  }
  const auto length = hours->value<double>();  // a whole number too
  if (!length || !(*length > 0 && *length <= kMostHours)) {
    throw std::runtime_error(reader.AtKey("hours") + "hours is no number above 0, of at most 8760");
  }
  plan.hours = *length;
}

void TakeOnFailure(TableReader& reader, Plan& plan) {
  const std::string act = reader.TakeIfThere<std::string>("on_failure").value_or("go on");
  if (act != "go on" && act != "stop") {
    throw std::runtime_error(reader.AtKey("on_failure") +
                             "on_failure is neither \"go on\" nor \"stop\"");
  }
  plan.stopsOnFailure = act == "stop";
}

bool Takes(const std::vector<client::TestItem>& items, const std::string& path) {
  return std::any_of(items.begin(), items.end(),
                     [&path](const client::TestItem& item) { return item.path == path; });
}

}  // namespace

Plan PlanOf(const std::string& text, const std::string& file) {
  Plan plan;
  plan.file = file;
  plan.text = text;
  const toml::table table = settings::ParsedText(text, file);
  TableReader reader(file, table);
  plan.title = reader.Take<std::string>("title");
  if (plan.title.empty()) throw std::runtime_error(reader.AtKey("title") + "title is empty");
  plan.items = reader.TakeNames("items");
  if (plan.items.empty()) throw std::runtime_error(reader.AtKey("items") + "items names no test");
  plan.except = reader.TakeNames("except");
  TakeEnd(reader, plan);
  plan.retries = static_cast<unsigned>(reader.TakeWhole("retries", 0, kMostRetries).value_or(0));
  TakeOnFailure(reader, plan);
  plan.asksOperator = reader.TakeIfThere<bool>("operator").value_or(false);
  // The plan's word and the camera's node.
  for (const auto& [key, node] :
       {std::pair("article", "article"), {"environment", "env"}, {"category", "category"}}) {
    const auto value = reader.TakeIfThere<std::string>(key);
    if (value) plan.description.emplace_back(node, *value);
  }
  reader.Finish();
  return plan;
}

Plan LoadPlan(const std::string& file) {
  return PlanOf(settings::FileText(file), file);
}

std::vector<std::string> PlanNames(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".toml") names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

Plan FindPlan(const std::string& name, const std::string& folder) {
  if (name.find('/') != std::string::npos || name.ends_with(".toml")) return LoadPlan(name);
  const auto names = PlanNames(folder);
  if (std::find(names.begin(), names.end(), name) != names.end()) {
    return LoadPlan(folder + "/" + name + ".toml");
  }
  std::string known;
  for (const std::string& each : names) known.append(" ").append(each);
  if (!known.empty()) known.insert(0, "; there are");
  throw std::runtime_error("there is no plan " + name + " in " + folder + known);
}

std::vector<client::TestItem> ItemsOf(const Plan& plan, const std::vector<client::TestItem>& all) {
  std::vector<std::string> left;
  for (const ListedName& glob : plan.except) left.push_back(FullGlob(glob.name));
  const auto excepted = left.empty() ? std::vector<client::TestItem>() : client::Select(all, left);
  std::vector<client::TestItem> items;
  for (const ListedName& glob : plan.items) {
    for (const client::TestItem& item : client::SelectForRun(all, {FullGlob(glob.name)})) {
      if (client::NeverEnds(item.className)) {
        throw std::runtime_error(glob.at + "items names " + item.path + ", which never ends");
      }
      if (!Takes(excepted, item.path) && !Takes(items, item.path)) items.push_back(item);
    }
  }
  if (items.empty()) {
    throw std::runtime_error(plan.file + ": this camera has none of the plan's tests");
  }
  return items;
}

}  // namespace station
