#include "client/fault_study.h"

#include <fnmatch.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "client/cooler_plan.h"
#include "client/run_plan.h"

namespace client {

namespace {

// A node of the camera's software that breaks has no reason of its own to go unseen.
struct NodeKnob {
  const char* path;
  const char* asked;  // for which nodes the program asked in that way
  const char* ifNot;
  const char* ifSo;
};
constexpr NodeKnob kNodeKnobs[] = {
    {".desk.hidden", ".desk.nodes.opened", "no test of this camera opens it",
     "the program opens it, but its absence changes no verdict"},
    {".desk.unreadable", ".desk.nodes.read", "no test of this camera reads it",
     "the program reads it, but its value changes no verdict"},
    {".desk.refused", ".desk.nodes.written", "no test of this camera writes it",
     "the program writes it, but no verdict depends on that"},
};

constexpr char kVideoMemory[] = ".desk.video.";
constexpr char kMemoryTest[] = "CResBitVDDR";

bool StartsWithAny(const std::string& text, std::initializer_list<const char*> beginnings) {
  return std::any_of(beginnings.begin(), beginnings.end(),
                     [&text](const char* each) { return text.starts_with(each); });
}

// What the video memory's test goes through. Any other fault leaves it alone.
bool ReachesVideoMemory(const KnobFault& fault) {
  return StartsWithAny(fault.path, {kVideoMemory, ".desk.driver.fvd1."});
}

// Likewise the cooler's plan, of many hundred steps.
bool ReachesCooler(const KnobFault& fault) {
  const std::string nodes = "system.cooler";
  const bool namesNodes =
      StartsWithAny(fault.path, {".desk.hidden", ".desk.unreadable", ".desk.refused"});
  const bool namesCoolers = fault.value.starts_with(nodes) || nodes.starts_with(fault.value + ".");
  return StartsWithAny(fault.path, {".desk.cooler.", ".desk.lost", ".desk.nodes."}) ||
         (namesNodes && namesCoolers);
}

ItemResult RunOne(CameraClient& camera, const TestItem& item) {
  Attempt attempt;
  attempt.path = item.path;
  if (IsCooler(item.className)) {
    RunCooler(camera, attempt);
  } else {
    Judge(camera.Set(item.path, "run"), attempt);
  }
  return {item.path, item.className, ResultText(attempt)};
}

// What the run shows otherwise: another fault may make the same item fail in a way of its own.
std::vector<ItemResult> Missing(const std::vector<ItemResult>& signature,
                                const std::vector<ItemResult>& run) {
  std::vector<ItemResult> missing;
  std::copy_if(signature.begin(), signature.end(), std::back_inserter(missing),
               [&run](const ItemResult& each) {
                 return std::find(run.begin(), run.end(), each) == run.end();
               });
  return missing;
}

KnobFault FaultOf(const std::string& knob, const Json& row) {
  KnobFault fault;
  fault.path.append(".").append(knob);
  fault.value = row.at("value").get<std::string>();
  fault.what = row.at("what").get<std::string>();
  fault.part = row.at("part").get<std::string>();
  fault.unseen = row.value("unseen", "");
  fault.atStart = row.at("at_start").get<bool>();
  return fault;
}

std::vector<KnobFault> AllFaultsOf(const Json& knobs) {
  std::vector<KnobFault> faults;
  try {
    for (const Json& knob : knobs.at("knobs")) {
      const auto path = knob.at("path").get<std::string>();
      if (!knob.contains("faults")) continue;
      for (const Json& row : knob["faults"]) faults.push_back(FaultOf(path, row));
    }
  } catch (const Json::exception& error) {
    throw ConnectionError(std::string("its list of knobs cannot be read: ") + error.what());
  }
  return faults;
}

}  // namespace

std::vector<KnobFault> FaultsOf(const Json& knobs, const std::vector<std::string>& globs) {
  std::vector<KnobFault> faults = AllFaultsOf(knobs);
  std::erase_if(faults, [&globs](const KnobFault& fault) {
    const std::string name = fault.path + "=" + fault.value;
    return !globs.empty() && std::none_of(globs.begin(), globs.end(), [&](const std::string& glob) {
      return fnmatch(glob.c_str(), name.c_str(), 0) == 0 ||
             fnmatch(glob.c_str(), fault.path.c_str(), 0) == 0;
    });
  });
  return faults;
}

std::vector<ItemResult> RunAll(CameraClient& camera, const LongTests& tests) {
  camera.Set("test.clearResult", true);
  std::vector<ItemResult> results;
  for (const TestItem& item : TestItems(camera)) {
    const bool isSkipped = (item.className == kMemoryTest && !tests.memory) ||
                           (IsCooler(item.className) && !tests.cooler);
    if (NeverEnds(item.className) || isSkipped) continue;
    results.push_back(RunOne(camera, item));
  }
  return results;
}

// A run that left a test out says nothing of it.
std::vector<ItemResult> Differences(const std::vector<ItemResult>& healthy,
                                    const std::vector<ItemResult>& run) {
  std::vector<ItemResult> differences;
  std::copy_if(run.begin(), run.end(), std::back_inserter(differences),
               [&healthy](const ItemResult& each) {
                 const auto same = [&each](const ItemResult& other) {
                   return other.path == each.path && other.result == each.result;
                 };
                 return std::none_of(healthy.begin(), healthy.end(), same);
               });
  return differences;
}

FaultStudy::FaultStudy(CameraClient& camera, const LongTests& tests, Progress progress)
    : mCamera(camera), mTests(tests), mProgress(std::move(progress)) {}

void FaultStudy::Restore() {
  mCamera.Set(".desk.restore", true);
}

const std::vector<ItemResult>& FaultStudy::Healthy() {
  if (mHealthy.empty()) {
    Restore();
    mHealthy = RunAll(mCamera, mTests);
    AskWhichNodesCount();
  }
  return mHealthy;
}

void FaultStudy::AskWhichNodesCount() {
  for (const NodeKnob& knob : kNodeKnobs) {
    const Json value = mCamera.Get(knob.asked)["value"];
    std::istringstream paths(value.is_string() ? value.get<std::string>() : "");
    for (std::string path; paths >> path;) mAskedFor[knob.path].insert(path);
  }
}

std::string FaultStudy::WhyUnseen(const KnobFault& fault) const {
  for (const NodeKnob& knob : kNodeKnobs) {
    if (fault.path != knob.path) continue;
    const auto asked = mAskedFor.find(knob.path);
    const bool isAsked = asked != mAskedFor.end() && asked->second.contains(fault.value);
    return isAsked ? knob.ifSo : knob.ifNot;
  }
  return fault.unseen;
}

std::vector<ItemResult> FaultStudy::RunWith(const std::vector<const KnobFault*>& faults) {
  Restore();
  LongTests reached = {false, false};
  for (const KnobFault* const fault : faults) {
    mCamera.Set(fault->path, fault->value);
    reached.memory = reached.memory || (mTests.memory && ReachesVideoMemory(*fault));
    reached.cooler = reached.cooler || (mTests.cooler && ReachesCooler(*fault));
  }
  return Differences(mHealthy, RunAll(mCamera, reached));
}

std::vector<FaultOutcome> FaultStudy::MakeEach(const std::vector<KnobFault>& faults) {
  Healthy();
  std::vector<FaultOutcome> outcomes;
  for (const KnobFault& fault : faults) {
    // Without that test nothing can be said of the memory's own faults.
    const bool isLeftOut = !mTests.memory && fault.path.starts_with(kVideoMemory);
    if (fault.atStart || isLeftOut) continue;
    outcomes.push_back({fault, {}});
    outcomes.back().fault.unseen = WhyUnseen(fault);
  }
  std::size_t done = 0;
  for (FaultOutcome& outcome : outcomes) {
    mProgress(done++, outcomes.size(), outcome.fault.what);
    outcome.differences = RunWith({&outcome.fault});
  }
  Restore();
  return outcomes;
}

std::vector<PairOutcome> FaultStudy::MakePairs(const std::vector<FaultOutcome>& outcomes,
                                               unsigned count, unsigned seed) {
  std::vector<std::size_t> detected;
  std::set<std::string> knobs;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    if (outcomes[i].differences.empty()) continue;
    detected.push_back(i);
    knobs.insert(outcomes[i].fault.path);
  }
  std::vector<PairOutcome> pairs;
  if (knobs.size() < 2) return pairs;
  std::mt19937 numbers(seed);  // the same on every machine, as a distribution would not be
  const auto draw = [&] { return detected[numbers() % detected.size()]; };
  while (pairs.size() < count) {
    PairOutcome pair;
    pair.first = draw();
    pair.second = draw();
    const FaultOutcome& first = outcomes[pair.first];
    const FaultOutcome& second = outcomes[pair.second];
    if (first.fault.path == second.fault.path) continue;
    mProgress(pairs.size(), count, first.fault.what + " and " + second.fault.what);
    const std::vector<ItemResult> run = RunWith({&first.fault, &second.fault});
    pair.lostOfFirst = Missing(first.differences, run);
    pair.lostOfSecond = Missing(second.differences, run);
    pair.hidesFirst = pair.lostOfFirst.size() == first.differences.size();
    pair.hidesSecond = pair.lostOfSecond.size() == second.differences.size();
    pairs.push_back(std::move(pair));
  }
  Restore();
  return pairs;
}

Diagnosability Measure(const std::vector<FaultOutcome>& outcomes) {
  Diagnosability measured;
  measured.made = outcomes.size();
  std::map<std::string, std::vector<std::size_t>> groups;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    std::string signature;
    for (const ItemResult& each : outcomes[i].differences) {
      signature.append(each.path).append("=").append(each.result).append("\n");
    }
    if (!signature.empty()) groups[signature].push_back(i);
  }
  for (const auto& [signature, members] : groups) {
    std::set<std::string> parts;
    for (const std::size_t i : members) parts.insert(outcomes[i].fault.part);
    measured.detected += members.size();
    if (parts.size() == 1) measured.toOnePart += members.size();
    if (parts.size() <= 3) measured.toThreeParts += members.size();
    measured.groups.push_back(members);
  }
  return measured;
}

}  // namespace client
