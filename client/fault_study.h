// What the tests of a simulated camera make of its faults: each made alone, or two at once, and
// everything run that applies.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "client/camera_client.h"

namespace client {

struct KnobFault {
  std::string path;      // of the knob, as it is typed: ".desk.focus.stuck"
  std::string value;     // that makes it
  std::string what;      // "the lens is stuck"
  std::string part;      // the replaceable unit
  std::string unseen;    // why no test reports it, where none does
  bool atStart = false;  // made by DIAGOR_KNOBS alone
};

// In the order of the camera's knobs, as CameraClient::Knobs gives them; those whose path or
// "path=value" matches one of the globs, all without one. ConnectionError: that is no list of
// knobs.
std::vector<KnobFault> FaultsOf(const Json& knobs, const std::vector<std::string>& globs);

// What an item came to: its stored text, or "no result, status 0x..." of a test that failed without
// storing one.
struct ItemResult {
  std::string path;  // "test.items.focus.far"
  std::string className;
  std::string result;
  bool operator==(const ItemResult&) const = default;
};

// Tests that take long also on the virtual clock, and whether they are run: by default where a
// fault can reach them.
struct LongTests {
  bool memory = true;  // of the video memory
  bool cooler = true;  // the cooler's plan
};

// Runs every item that ends by itself, each from "Untested".
std::vector<ItemResult> RunAll(CameraClient& camera, const LongTests& tests);

// Those that differ from the healthy run's.
std::vector<ItemResult> Differences(const std::vector<ItemResult>& healthy,
                                    const std::vector<ItemResult>& run);

struct FaultOutcome {
  KnobFault fault;
  std::vector<ItemResult> differences;  // the fault's signature; empty: it is not detected
};

struct PairOutcome {
  std::size_t first = 0;  // places in the outcomes
  std::size_t second = 0;
  bool hidesFirst = false;  // detected alone, and nothing of its signature is left
  bool hidesSecond = false;
  // What each alone makes of an item and the pair does not.
  std::vector<ItemResult> lostOfFirst;
  std::vector<ItemResult> lostOfSecond;
};

class FaultStudy {
 public:
  // Told before each run: how many runs of how many are done, and what comes.
  using Progress = std::function<void(std::size_t done, std::size_t all, const std::string& next)>;

  // tests: those left out are in no run.
  FaultStudy(CameraClient& camera, const LongTests& tests, Progress progress);

  // The camera is restored before each run, and at the end.
  const std::vector<ItemResult>& Healthy();
  // Those that act while the camera runs.
  std::vector<FaultOutcome> MakeEach(const std::vector<KnobFault>& faults);
  // That many pairs of detected faults of different knobs, drawn by the seed.
  std::vector<PairOutcome> MakePairs(const std::vector<FaultOutcome>& outcomes, unsigned count,
                                     unsigned seed);

 private:
  void Restore();
  std::vector<ItemResult> RunWith(const std::vector<const KnobFault*>& faults);
  void AskWhichNodesCount();
  std::string WhyUnseen(const KnobFault& fault) const;

  CameraClient& mCamera;
  const LongTests mTests;
  const Progress mProgress;
  std::vector<ItemResult> mHealthy;
  // By the knob that breaks a node: the nodes for which the healthy run asked in that way.
  std::map<std::string, std::set<std::string>> mAskedFor;
};

// How well a camera's tests point: faults with equal signatures are one ambiguity group.
struct Diagnosability {
  std::size_t made = 0;
  std::size_t detected = 0;
  std::size_t toOnePart = 0;     // of the detected ones: their group lies in one part
  std::size_t toThreeParts = 0;  // in three at most
  std::vector<std::vector<std::size_t>> groups;  // of places in the outcomes; detected ones only
};
Diagnosability Measure(const std::vector<FaultOutcome>& outcomes);

}  // namespace client
