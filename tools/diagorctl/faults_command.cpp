// faults: what the tests make of a simulated camera's faults.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <iomanip>
#include <iostream>
#include <set>

#include "client/dictionary.h"
#include "client/fault_study.h"
#include "diagorctl/about_camera.h"
#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

using client::FaultOutcome;
using client::ItemResult;
using client::Json;
using client::KnobFault;
using client::PairOutcome;

std::string NameOf(const KnobFault& fault) {
  return fault.path + "=" + fault.value;
}

// On a terminal one line that changes, elsewhere nothing: the time that is left is a guess from the
// runs so far.
class ProgressLine {
 public:
  explicit ProgressLine(bool quiet) : mShows(!quiet && isatty(STDERR_FILENO) != 0) {}
  ~ProgressLine() {
    if (mShows) std::cerr << "\r\x1B[K" << std::flush;
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Show(std::size_t done, std::size_t all, const std::string& next) {
    if (!mShows) return;
    const auto now = std::chrono::steady_clock::now();
    if (done == 0) mStart = now;
    std::cerr << "\r\x1B[K" << done + 1 << "/" << all << " ";
    if (done > 0) {
      const double each =
          std::chrono::duration<double>(now - mStart).count() / static_cast<double>(done);
      std::cerr << std::fixed << std::setprecision(0) << each * static_cast<double>(all - done)
                << " s left ";
    }
    std::cerr << ShownAsError(next).substr(0, 60) << std::flush;
  }

 private:
  const bool mShows;
  std::chrono::steady_clock::time_point mStart;
};

Json ResultsJson(const std::vector<ItemResult>& results) {
  Json json = Json::array();
  for (const ItemResult& each : results) {
    json.push_back({{"path", each.path}, {"class", each.className}, {"result", each.result}});
  }
  return json;
}

Json FaultJson(const KnobFault& fault) {
  Json json = {{"path", fault.path},
               {"value", fault.value},
               {"what", fault.what},
               {"part", fault.part},
               {"at_start", fault.atStart}};
  if (!fault.unseen.empty()) json["unseen"] = fault.unseen;
  return json;
}

Json PairJson(const PairOutcome& pair, const std::vector<FaultOutcome>& outcomes) {
  Json json;
  json["faults"] = {NameOf(outcomes[pair.first].fault), NameOf(outcomes[pair.second].fault)};
  json["hidden"] = Json::array();
  if (pair.hidesFirst) json["hidden"].push_back(NameOf(outcomes[pair.first].fault));
  if (pair.hidesSecond) json["hidden"].push_back(NameOf(outcomes[pair.second].fault));
  json["lost"] = Json::array();
  const auto addLost = [&json](const FaultOutcome& outcome, const std::vector<ItemResult>& lost) {
    for (const ItemResult& each : lost) {
      json["lost"].push_back(
          {{"fault", NameOf(outcome.fault)}, {"path", each.path}, {"result", each.result}});
    }
  };
  addLost(outcomes[pair.first], pair.lostOfFirst);
  addLost(outcomes[pair.second], pair.lostOfSecond);
  return json;
}

// A spreadsheet takes what begins like that for a formula.
std::string CsvField(const std::string& text) {
  std::string field = "\"";
  if (text.find_first_of("=+-@\t\r") == 0) field += "'";
  for (const char each : text) field.append(each == '"' ? 2 : 1, each);
  return field + "\"";
}

std::string SignatureText(const std::vector<ItemResult>& differences) {
  std::string text;
  for (const ItemResult& each : differences) {
    text.append(text.empty() ? "" : "; ")
        .append(client::ItemName(each.path))
        .append(" ")
        .append(each.result);
  }
  return text;
}

void PrintCsv(const std::vector<FaultOutcome>& outcomes) {
  std::cout << "knob,value,fault,part,item,class,result\r\n";
  const auto line = [](const KnobFault& fault, const ItemResult& each) {
    for (const std::string& field :
         {fault.path, fault.value, fault.what, fault.part, each.path, each.className}) {
      std::cout << CsvField(field) << ",";
    }
    std::cout << CsvField(each.result) << "\r\n";
  };
  for (const FaultOutcome& outcome : outcomes) {
    if (outcome.differences.empty()) line(outcome.fault, {});
    for (const ItemResult& each : outcome.differences) line(outcome.fault, each);
  }
}

double Percent(std::size_t part, std::size_t whole) {
  return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void PrintTable(const std::vector<FaultOutcome>& outcomes, const std::vector<PairOutcome>& pairs) {
  constexpr std::size_t kMost = 3;  // items of a row; the rest is counted
  for (const FaultOutcome& outcome : outcomes) {
    std::cout << Shown(outcome.fault.what) << " [" << Shown(outcome.fault.part) << "]\n    "
              << Shown(NameOf(outcome.fault)) << "\n    ";
    if (outcome.differences.empty()) {
      std::cout << "not detected";
      if (!outcome.fault.unseen.empty()) std::cout << ": " << Shown(outcome.fault.unseen);
    } else {
      const std::size_t shown = std::min(kMost, outcome.differences.size());
      const auto end = outcome.differences.begin() + static_cast<std::ptrdiff_t>(shown);
      std::cout << Shown(SignatureText({outcome.differences.begin(), end}));
      if (outcome.differences.size() > kMost) {
        std::cout << "; and " << outcome.differences.size() - kMost << " more";
      }
    }
    std::cout << "\n";
  }
  const client::Diagnosability measured = client::Measure(outcomes);
  std::cout << std::fixed << std::setprecision(0) << measured.made << " faults made, "
            << measured.detected << " detected (" << Percent(measured.detected, measured.made)
            << " %); of these " << measured.toOnePart << " ("
            << Percent(measured.toOnePart, measured.detected) << " %) point at one part, "
            << measured.toThreeParts << " at three at most; " << measured.groups.size()
            << " groups that the tests tell apart\n";
  if (pairs.empty()) return;
  std::size_t hiding = 0;
  for (const PairOutcome& pair : pairs) {
    if (!pair.hidesFirst && !pair.hidesSecond) continue;
    ++hiding;
    const KnobFault& hidden = outcomes[pair.hidesFirst ? pair.first : pair.second].fault;
    const KnobFault& hiding1 = outcomes[pair.hidesFirst ? pair.second : pair.first].fault;
    std::cout << Shown(hidden.what) << ": hidden while " << Shown(hiding1.what) << "\n";
  }
  std::cout << pairs.size() << " pairs made, in " << hiding << " one fault hid the other\n";
}

int PrintList(const std::vector<KnobFault>& faults, const Options& options) {
  if (options.json) {
    Json json = Json::array();
    for (const KnobFault& fault : faults) json.push_back(FaultJson(fault));
    PrintJson({{"faults", json}});
    return kNothingFailed;
  }
  for (const KnobFault& fault : faults) {
    std::cout << Shown(NameOf(fault)) << (fault.atStart ? " (at the start)" : "") << ": "
              << Shown(fault.what) << " [" << Shown(fault.part) << "]\n";
  }
  return kNothingFailed;
}

// Only a virtual clock passes a time-out of minutes in no time, and has somebody to act.
void RequireVirtualClock(client::CameraClient& camera) {
  if (ValueText(camera.Get(".desk.clock.kind")["value"]) != "virtual") {
    throw UsageError(
        "faults are made on the virtual clock: start the camera with "
        "DIAGOR_CLOCK=virtual");
  }
}

// Whoever interrupts the study gets a healthy camera back, where it still answers.
void RestoreAnew(const Options& options) {
  try {
    client::CameraClient(options.port).Set(".desk.restore", true);
  } catch (const std::exception& error) {
    Complain(std::string("the camera is left as it is: ") + error.what());
  }
}

}  // namespace

int Faults(client::CameraClient& camera, const Options& options) {
  const std::vector<KnobFault> faults = client::FaultsOf(camera.Knobs(), options.globs);
  if (faults.empty()) {
    Complain("no fault matches; diagorctl faults --list shows them all");
    return kUsage;
  }
  if (options.lists) return PrintList(faults, options);
  RequireVirtualClock(camera);
  TellOfLease(camera);
  ProgressLine progress(options.quiet);
  client::LongTests tests;
  tests.memory = !options.skipMemory;
  if (options.asItIs) {
    PrintJson({{"results", ResultsJson(client::RunAll(camera, tests))}});
    return kNothingFailed;
  }
  client::FaultStudy study(camera, tests,
                           [&progress](std::size_t done, std::size_t all, const std::string& next) {
                             progress.Show(done, all, next);
                           });
  std::vector<FaultOutcome> outcomes;
  std::vector<PairOutcome> pairs;
  try {
    outcomes = study.MakeEach(faults);
    pairs = study.MakePairs(outcomes, options.pairs, options.seed);
  } catch (...) {
    RestoreAnew(options);
    throw;
  }
  if (options.json) {
    Json json;
    json["camera"] = NameOf(camera);
    json["healthy"] = ResultsJson(study.Healthy());
    json["faults"] = Json::array();
    for (const FaultOutcome& outcome : outcomes) {
      json["faults"].push_back(FaultJson(outcome.fault));
      json["faults"].back()["differences"] = ResultsJson(outcome.differences);
    }
    json["at_start"] = Json::array();
    for (const KnobFault& fault : faults) {
      if (fault.atStart) json["at_start"].push_back(FaultJson(fault));
    }
    json["pairs"] = Json::array();
    for (const PairOutcome& pair : pairs) json["pairs"].push_back(PairJson(pair, outcomes));
    PrintJson(json);
  } else if (options.csv) {
    PrintCsv(outcomes);
  } else {
    PrintTable(outcomes, pairs);
    const auto atStart = std::count_if(faults.begin(), faults.end(),
                                       [](const KnobFault& fault) { return fault.atStart; });
    if (atStart > 0) {
      std::cout << atStart << " more act at the start of the camera alone: scripts/faults makes "
                << "them too\n";
    }
  }
  return kNothingFailed;
}

}  // namespace diagorctl
