// Which tests a run makes, in which order, how often; and the run itself.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "client/camera_client.h"
#include "client/dictionary.h"

namespace client {

struct TestItem {
  std::string path;       // "test.items.battery.battery"
  std::string className;  // "CResBitBattery"
  std::string value;
};

// Every test item of the camera, in tree order; of a node with all below it.
std::vector<TestItem> TestItems(CameraClient& camera);
std::vector<TestItem> TestItems(const Json& node);

// As the user writes paths: "items.battery.battery" is "test.items.battery.battery"; a leading dot
// names the camera-wide tree.
std::string FullPath(const std::string& path);

// Whether a test of that class goes on until the camera stops: its write is never answered.
bool NeverEnds(const std::string& className);

// What a run makes of the globs: as Select, but an item that never ends only when it is named in
// full.
std::vector<TestItem> SelectForRun(const std::vector<TestItem>& items,
                                   const std::vector<std::string>& globs);

// Items that match any of the globs (all without one), in tree order, each once. A branch's path
// stands for all below it.
std::vector<TestItem> Select(const std::vector<TestItem>& items,
                             const std::vector<std::string>& globs);

struct Attempt {
  std::string path;
  std::string className;
  unsigned round = 1;
  bool passed = false;
  std::uint32_t status = 0;
  std::string value;
  std::string message;  // of the item's last record
  std::string started;  // the camera's local time, as 2013-08-29T12:00:00
  double seconds = 0;   // of the camera's clock
  std::vector<std::string> records;
  std::string problem;        // why there is no result: refused, interrupted, no camera; else empty
  std::vector<Cause> causes;  // known ones of a failure, most likely first
  Json trace =
      Json();  // of a traced write: its "steps", and how many more were "left_out"; else null
  // Of a cooler's plan: the detector's temperature after each step.
  struct Sample {
    double seconds = 0;  // that the plan has let pass
    double kelvin = 0;
  };
  std::vector<Sample> curve = {};
};

// Of an attempt: it begins; it has come to another stage, whose name is its message; it has ended.
enum class Phase { Begins, GoesOn, Ends };
using Progress = std::function<void(const Attempt&, Phase)>;

struct RunOptions {
  unsigned rounds = 1;
  bool untilFail = false;  // no further round after one that had a failure
};

// Runs the items, round by round; the cooler by its plan. progress is told of each attempt, and of
// its stages by the camera's events. An attempt that the camera refuses (its node is busy) is one
// more attempt, and the run goes on. The one that an interruption or a lost camera ends is one too;
// the error is thrown on.
void Run(CameraClient& camera, const std::vector<TestItem>& items, const RunOptions& options,
         std::vector<Attempt>& attempts, const Progress& progress);

// Runs the item's test, a cooler's by its plan, and judges it into the attempt, with its length.
// traced: also what it asked of the camera; a cooler's test tells nothing. Returns how many writes
// it made. RefusedError: the test did not run.
unsigned RunTest(CameraClient& camera, const TestItem& item, Traced traced, Attempt& attempt);

// What the reply to a test's write says, into the attempt.
void Judge(const Json& reply, Attempt& attempt);

// What the attempt came to, as the dictionary names it: the stored text without its blanks, or
// "no result, status 0x..." of a test that failed without storing one.
std::string ResultText(const Attempt& attempt);

// The message of a log line or a system log record of an item that holds that result.
std::string MessageOf(const std::string& record, const std::string& value);

}  // namespace client
