// A plan: which tests a run makes, in which order, how often, and what it writes into the camera's
// records. A TOML file that a person edits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "client/run_plan.h"
#include "settings/table_reader.h"

namespace station {

struct Plan {
  std::string file;                         // as errors name it
  std::string text;                         // the whole of it, kept with each run
  std::string title;                        // what statistics know it by
  std::vector<settings::ListedName> items;  // globs below test.items, in the order to run
  std::vector<settings::ListedName> except;
  unsigned rounds = 1;
  double hours = 0;      // in place of rounds: no further round after so many; 0: by rounds
  unsigned retries = 0;  // of a failed item
  bool stopsOnFailure = false;
  bool asksOperator = false;
  // The camera's records, node below test.description and text: article, env, category.
  std::vector<std::pair<std::string, std::string>> description;
};

// Throws std::runtime_error that names file, line and key.
Plan LoadPlan(const std::string& file);
// Of a text that was kept.
Plan PlanOf(const std::string& text, const std::string& file);

// The plan of that name ("quick") in the folder; a name with a '/' or ".toml" is a file.
// std::runtime_error lists the names that are there.
Plan FindPlan(const std::string& name, const std::string& folder);
std::vector<std::string> PlanNames(const std::string& folder);

// The camera's items that the plan runs, glob by glob, each once. std::runtime_error: there is
// none, or one is named that never ends.
std::vector<client::TestItem> ItemsOf(const Plan& plan, const std::vector<client::TestItem>& all);

}  // namespace station
