#include "tests/optics/cooler.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <numeric>
#include <utility>
#include <vector>

#include "items/files.h"
#include "items/format.h"
#include "items/group_builder.h"
#include "items/text.h"

namespace {

constexpr char kGroup[] = "test.items.cooler";
constexpr char kCommand[] = "test.items.cooler.command";
constexpr char kResultsFile[] = "/FlashFS/system/web/service/diag/coolerTest.txt";
constexpr char kFileHeader[] =
    "\n\n#############   Saved results from cooler test   ##################\n\n";

// States of the test.
constexpr char kIdle[] = "idle";
constexpr char kWarmingUp[] = "warmingUp";
constexpr char kCoolingDown[] = "coolingDown";
constexpr char kCoolDownReady[] = "coolDownRdy";
constexpr char kTempLogging[] = "tempLogging";
constexpr char kAborted[] = "aborted";
constexpr char kUnknown[] = "unknown";

constexpr LONG kHolding = 2;  // the cooler's own state: cooled down
constexpr LONG kLogGrowth = 1000;
constexpr LONG kSamplesAfterStep = 25;
constexpr LONG kFewestSamples = 4;  // for a log result
constexpr LONG kNoMinimum = 100000;

std::string ReadText(const OpenedResource& node) {
  TARQ::CResourceValue value("", 0);
  node.ReadInto(value);
  return value.GetAscii().AsChar();
}

void WriteText(const OpenedResource& node, const std::string& text) {
  node.Write(TARQ::CResourceValue(text.c_str(), 0));
}

void ClearCommand() {
  WriteText(OpenedResource(Tree::Task, kCommand), "");
}

std::string TimeStamp(const LocalTime& time) {
  return FormatText("%02d-%02d-%02d %02d:%02d:%02d", time.year, time.month, time.day, time.hour,
                    time.minute, time.second);
}

// How many of the lines found room, whole and in their order.
int WriteResults(const char* mode, const std::vector<std::string>& lines) {
  FILE* const file = fopen(kResultsFile, mode);
  if (file == nullptr) return 0;
  // Unbuffered: each line is known to be there before the next one.
  setvbuf(file, nullptr, _IONBF, 0);
  int written = 0;
  for (const std::string& line : lines) {
    if (fwrite(line.data(), 1, line.size(), file) != line.size()) break;
    ++written;
  }
  fclose(file);
  return written;
}

}  // namespace

bool ComputeStatistics(const LONG* samples, LONG n, double& standardDeviation, double* mean) {
  if (n < 2) return false;
  const double average = std::accumulate(samples, samples + n, 0.0) / n;
  const double squares = std::accumulate(
      samples, samples + n, 0.0,
      [average](double sum, LONG sample) { return sum + (sample - average) * (sample - average); });
  standardDeviation = std::sqrt(squares / (n - 1));
  if (mean != nullptr) *mean = average;
  return true;
}

CResBitCooler::CResBitCooler(const TARQ::CResourcePath& path, const char* description)
    : CResBitItem(path, description), mTestName(), mState(kUnknown) {
  CopyText(mTestName, description);
}

bool CResBitCooler::StateIs(const char* state) const {
  return strcmp(mState.AsChar(), state) == 0;
}

DWORD CResBitCooler::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  Step step;
  step.time = ReadLocalTime();
  if (!ReadInputs(step)) return 0;
  ActFirst(step);
  ActSecond(step);
  Publish(step);
  ControlSampling(step);
  return 0;
}

// False: an input is missing, and the step changes nothing.
bool CResBitCooler::ReadInputs(Step& step) {
  step.group.Open(Tree::Task, kGroup);
  step.stateNode.Open(step.group, "state");
  TARQ::CResourceValue state("", 0);
  if (!step.stateNode.ReadInto(state) || state.GetAscii().IsEmpty()) return false;
  mState = state.GetAscii();
  step.newState = mState.AsChar();

  step.cooler.Open(Tree::Camera, "system.cooler");
  const OpenedResource temperature(step.cooler, "temperature");
  TARQ::CResourceValue value(0, 0);
  if (!temperature.ReadInto(value)) return false;
  step.temperature = value.GetInt();
  step.activeNode.Open(step.cooler, "active");
  if (!step.activeNode.ReadInto(value)) return false;
  step.active = value.GetBool();

  const OpenedResource command(Tree::Task, kCommand);
  const OpenedResource coolerState(step.cooler, "state");
  if (!command || !coolerState.ReadInto(value)) return false;
  step.coolerState = value.GetInt();
  step.command = ReadText(command);
  return true;
}

void CResBitCooler::ActFirst(Step& step) {
  if (step.command == "abort") {
    step.newState = kAborted;
  } else if (step.command == "clearLog") {
    WriteResults("w", {kFileHeader});
    ClearCommand();
    step.newState = kIdle;
  } else if (step.command == "coolDown" || step.command == "full") {
    CoolDown(step);
  }
}

// The cooler off until the detector is warm, then on until it holds.
void CResBitCooler::CoolDown(Step& step) {
  if (StateIs(kUnknown) || StateIs(kAborted) || StateIs(kIdle)) {
    if (step.active) step.activeNode.Write(TARQ::CResourceValue(false, 0));
    WriteText(OpenedResource(step.group, "coolDownResult"), "");
    std::fill(std::begin(mTempHistory), std::end(mTempHistory), 0);
    step.newState = kWarmingUp;
  } else if (StateIs(kWarmingUp)) {
    mTempHistory[0] = mTempHistory[1];
    mTempHistory[1] = mTempHistory[2];
    mTempHistory[2] = step.temperature;
    if (mTempHistory[0] >= mTempHistory[1] && mTempHistory[1] >= mTempHistory[2]) {
      mCoolStart = GetTickCount();
      step.activeNode.Write(TARQ::CResourceValue(true, 0));
      step.newState = kCoolingDown;
    }
  }
  if (StateIs(kCoolingDown) && step.coolerState == kHolding) {
    const DWORD seconds = (GetTickCount() - mCoolStart) / 1000;
    WriteText(OpenedResource(step.group, "coolDownResult"),
              FormatText("%s Cool down time: %d S", TimeStamp(step.time).c_str(), seconds));
    step.newState = step.command == "full" ? kTempLogging : kCoolDownReady;
  }
}

void CResBitCooler::ActSecond(Step& step) {
  if (step.command == "tempLog" || step.command == "full") {
    if (step.command == "tempLog" && !StateIs(kTempLogging)) StartLog(step);
    // A cooler that has stopped; what is to be said of it stays unsaid.
    if ((StateIs(kTempLogging) || StateIs(kCoolDownReady)) && !step.active) {
      step.newState = kUnknown;
    }
    if (StateIs(kTempLogging)) PublishLog(step);
  } else if (step.command == "save") {
    Save(step);
  } else if (step.command == "halt") {
    step.activeNode.Write(TARQ::CResourceValue(true, 0));
    step.newState = kIdle;
  }
}

// Logging without a cool-down before it: at once when the cooler holds, else once it does.
void CResBitCooler::StartLog(Step& step) {
  if (step.coolerState == kHolding && step.active) {
    step.newState = kTempLogging;
    mState = CText(kTempLogging);
    WriteText(OpenedResource(step.group, "logResult"), "");
  } else if (StateIs(kAborted) || StateIs(kIdle)) {
    if (!step.active) step.activeNode.Write(TARQ::CResourceValue(true, 0));
    step.newState = kCoolingDown;
  }
}

void CResBitCooler::PublishLog(const Step& step) {
  double deviation = 0;
  LONG largest = 0;
  LONG smallest = 0;
  {
    const std::lock_guard lock(mLogLock);
    if (mLogCount < kFewestSamples) return;
    ComputeStatistics(mpLog.get(), mLogCount, deviation, nullptr);
    largest = mLogMax;
    smallest = mLogMin;
  }
  WriteText(OpenedResource(step.group, "logResult"),
            FormatText("%s Max:%d Min:%d Std:%g", TimeStamp(step.time).c_str(), largest, smallest,
                       deviation));
}

void CResBitCooler::Save(Step& step) {
  const std::string tester = ReadText(OpenedResource(Tree::Task, "test.description.tester"));
  if (!CanBeRead(kResultsFile)) WriteResults("w", {kFileHeader});
  std::vector<std::string> lines;
  const std::string logResult = ReadText(OpenedResource(step.group, "logResult"));
  if (!logResult.empty()) {
    lines.push_back(
        FormatText("Cooler log result:%s. Tested by %s\n", logResult.c_str(), tester.c_str()));
  }
  const std::string coolDown = ReadText(OpenedResource(step.group, "coolDownResult"));
  if (!coolDown.empty()) {
    lines.push_back(
        FormatText("Cool down result:%s. Tested by %s\n", coolDown.c_str(), tester.c_str()));
  }
  const bool saved = WriteResults("a", lines) > 0;
  ClearCommand();
  SetResultTested(saved ? "Tested" : "Unknown error");
}

void CResBitCooler::Publish(Step& step) {
  WriteText(step.stateNode, step.newState);
}

void CResBitCooler::ControlSampling(const Step& step) {
  const std::lock_guard lock(mLogLock);
  if (step.newState != kTempLogging) {
    mLogging = false;
    ++mLogNumber;
    return;
  }
  if (!mLogging) {
    ++mLogNumber;
    mpLog.reset();
    mLogCount = 0;
    mLogCapacity = 0;
    mLogMax = 0;
    mLogMin = kNoMinimum;
    mLogging = true;
  }
  mLogCountdown = kSamplesAfterStep;
}

DWORD CResBitCooler::GetImpl(TARQ::CResourceValue& value) {
  CServerResource::GetImpl(value);
  TakeSample();
  return 0;
}

void CResBitCooler::TakeSample() {
  unsigned number = 0;
  {
    const std::lock_guard lock(mLogLock);
    if (!mLogging) return;
    number = mLogNumber;
    if (--mLogCountdown <= 0) mLogging = false;  // this one is still taken
  }
  const OpenedResource temperature(Tree::Camera, "system.cooler.temperature");
  TARQ::CResourceValue value(0, 0);
  const bool isRead = temperature.ReadInto(value);
  const std::lock_guard lock(mLogLock);
  if (mLogNumber != number) return;  // a step came meanwhile: the sample is of no log any more
  // A temperature that cannot be read is no sample; the next one may be. Without the node, or
  // without room to grow, the log keeps what it has and ends.
  if (!temperature || (isRead && !Append(value.GetInt()))) mLogging = false;
}

// Under the lock. False: there is no memory for it.
bool CResBitCooler::Append(LONG sample) {
  if (static_cast<DWORD>(mLogCount) == mLogCapacity) {
    const DWORD capacity = mLogCapacity + kLogGrowth;
    std::unique_ptr<LONG[]> grown(new (std::nothrow) LONG[capacity]);
    if (grown == nullptr) return false;
    std::copy_n(mpLog.get(), mLogCount, grown.get());
    mpLog = std::move(grown);
    mLogCapacity = capacity;
  }
  mpLog[mLogCount++] = sample;
  mLogMax = std::max(mLogMax, sample);
  mLogMin = std::min(mLogMin, sample);
  return true;
}

namespace {

struct TextRow {
  const char* node;
  const char* text;
};
constexpr TextRow kTexts[] = {
    {"command", ""}, {"coolDownResult", ""}, {"logResult", ""}, {"state", kIdle}};

}  // namespace

DWORD CreateCoolerGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroup("cooler", [](GroupBuilder& group) {
    group.Add(new CResBitCooler("cooler", "Cooler test"));
    for (const TextRow& row : kTexts) {
      group.Add(
          new TARQ::CServerResource(row.node, TARQ::CResourceValue(row.text, 0), kNodeAttributes));
    }
  });
}
