// Cooler test: how long the detector's cooler takes from warm to cold, and how steadily it then
// holds. A client drives it: it writes a command to test.items.cooler.command and then writes to
// this item, once for each step. The state and the results are in the nodes beside it.
// Needs system.cooler with temperature, active and state.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "items/bit_log_file.h"
#include "items/res_bit_item.h"
#include "items/resource_access.h"

class CBitTask;

// Sample standard deviation (n - 1) and mean (unless null). False, and nothing written, for fewer
// than two samples.
bool ComputeStatistics(const LONG* samples, LONG n, double& standardDeviation, double* mean);

// Steps come on the thread of a client's write, samples with each read of the item: from the task
// once a second, from clients at any moment.
class CResBitCooler : public CResBitItem {
 public:
  CResBitCooler(const TARQ::CResourcePath& path, const char* description);
  // A step; the written value is not looked at. Always 0. Only "save" changes the item's own value.
  DWORD RunTest(const TARQ::CResourceValue& written) override;
  // Fills the value; takes a sample while sampling is on.
  DWORD GetImpl(TARQ::CResourceValue& value) override;

 private:
  // What a step goes by, and the nodes that it writes to.
  struct Step {
    LocalTime time = {};        // at its start
    OpenedResource group;       // test.items.cooler
    OpenedResource stateNode;   // its state
    OpenedResource cooler;      // system.cooler
    OpenedResource activeNode;  // its active
    LONG temperature = 0;
    bool active = false;
    LONG coolerState = 0;
    std::string command;
    std::string newState;
  };

  bool ReadInputs(Step& step);
  void ActFirst(Step& step);
  void ActSecond(Step& step);
  void Publish(Step& step);
  void ControlSampling(const Step& step);

  void CoolDown(Step& step);
  void StartLog(Step& step);
  void PublishLog(const Step& step);
  void Save(Step& step);

  void TakeSample();
  bool Append(LONG sample);

  bool StateIs(const char* state) const;

  char mTestName[kDescriptionSize];
  CText mState;            // at the start of the current step
  DWORD mCoolStart = 0;    // tick count, ms
  LONG mTempHistory[3]{};  // while warming up, oldest first

  // The log, which a step and a sample may want at the same moment. Held while the log is read or
  // grown, never while the camera is asked for anything.
  std::mutex mLogLock;
  unsigned mLogNumber = 0;  // grows whenever a step leaves samples under way without meaning
  LONG mLogMax = 0;
  LONG mLogMin = 0;
  LONG mLogCount = 0;
  DWORD mLogCapacity = 0;
  std::unique_ptr<LONG[]> mpLog;
  bool mLogging = false;
  LONG mLogCountdown = 1;  // samples until sampling stops by itself
};

DWORD CreateCoolerGroup(CBitTask* task, DWORD platform);
