#include "tests/optics/focus.h"

#include <cstdint>
#include <string>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
#include "items/text.h"

namespace {

constexpr DWORD kNoMotor = 0xA0;
constexpr DWORD kNoPosition = 0xA1;
constexpr DWORD kFarMissed = 0xA2;
constexpr DWORD kNearMissed = 0xA3;

constexpr DWORD kTravelTime = 3000;  // ms; the whole travel takes less
constexpr LONG kInset = 500;         // position units from the end to the target
constexpr LONG kTolerance = 250;
constexpr LONG kToleranceM7 = 500;
constexpr LONG kFirstPositionM7 = 0;
constexpr LONG kLastPositionM7 = 65535;

// Both ends are outside.
struct Window {
  std::int64_t low;
  std::int64_t high;
};
constexpr Window kAnyFarPosition = {2000, 10000};

Window Around(LONG target, LONG tolerance) {
  return {std::int64_t{target} - tolerance, std::int64_t{target} + tolerance};
}

// Limits are what the motor says they are: the sum of any two fits, wrapped as 32 bits do.
LONG Offset(LONG limit, LONG offset) {
  return static_cast<LONG>(static_cast<DWORD>(limit) + static_cast<DWORD>(offset));
}

TARQ::CResourceValue Position(LONG position) {
  return TARQ::CResourceValue(position, 0);
}

// A value that cannot be read leaves the caller's alone: no window takes it for a position.
bool ReadPosition(const OpenedResource& node, LONG& position) {
  TARQ::CResourceValue value(0, 0);
  if (!node.ReadInto(value)) return false;
  position = value.GetInt();
  return true;
}

// From one end of the travel to the target near the other one. The moves themselves are not
// checked: a lens that stands still shows in the reading.
bool Reaches(const OpenedResource& position, const TARQ::CResourceValue& end, LONG target,
             Window window) {
  position.Write(end);
  Sleep(kTravelTime);
  position.Write(Position(target));
  Sleep(kTravelTime);
  LONG reached = 0;
  return ReadPosition(position, reached) && window.low < reached && reached < window.high;
}

Finding Detected(const char* name) {
  return {0, FormatText("%s:Detected, ", name)};
}

Finding NotDetected(DWORD code, const char* name) {
  return {code, FormatText("%s:NOT Detected, ", name)};
}

// The steps of the full test, until the first that fails.
struct FullStep {
  FocusMode mode;
  const char* failed;
};
constexpr FullStep kFullSteps[] = {{kFocusDetect, "%s:NOT Detected (Pos), "},
                                   {kFocusFar, "%s:NOT Detected (Far), "},
                                   {kFocusNear, "%s:NOT Detected (Near), "}};

// check gives the code of detect, far or near; 0 when it passed.
template <typename Check>
Finding RunMode(LONG mode, const char* name, const Check& check) {
  if (mode == kFocusFull) {
    for (const FullStep& step : kFullSteps) {
      const DWORD code = check(step.mode);
      if (code != 0) return {code, FormatText(step.failed, name)};
    }
    return Detected(name);
  }
  if (mode < kFocusDetect || mode > kFocusNear) return {};
  const DWORD code = check(mode);
  return code == 0 ? Detected(name) : NotDetected(code, name);
}

// The motors of a camera move one lens.
TurnLock& LensTurns() {
  static TurnLock lock;
  return lock;
}

DWORD CheckPosition(const OpenedResource& position) {
  LONG ignored = 0;
  return ReadPosition(position, ignored) ? 0 : kNoPosition;
}

}  // namespace

CResBitFocus::CResBitFocus(const TARQ::CResourcePath& path, const char* description, LONG mode,
                           DWORD platform)
    : CResBitItem(path, description), mTestName(), mMode(mode), mPlatform(platform) {
  CopyText(mTestName, description);
}

DWORD CResBitFocus::CheckDetect(const OpenedResource& position) const {
  return CheckPosition(position);
}

DWORD CResBitFocus::CheckFar(const OpenedResource& position, const OpenedResource& minPos,
                             const OpenedResource& maxPos) const {
  TARQ::CResourceValue highest(0, 0);
  TARQ::CResourceValue lowest(0, 0);
  // A limit that cannot be read counts as 0: what comes of it shows in the lens' position.
  maxPos.ReadInto(highest);
  minPos.ReadInto(lowest);
  const LONG target = Offset(highest.GetInt(), -kInset);
  const bool takesAny = mPlatform == kPlatformM || mPlatform == kPlatformM8;
  const Window window = takesAny ? kAnyFarPosition : Around(target, kTolerance);
  return Reaches(position, lowest, target, window) ? 0 : kFarMissed;
}

DWORD CResBitFocus::CheckNear(const OpenedResource& position, const OpenedResource& minPos,
                              const OpenedResource& maxPos) const {
  TARQ::CResourceValue highest(0, 0);
  TARQ::CResourceValue lowest(0, 0);
  maxPos.ReadInto(highest);
  minPos.ReadInto(lowest);
  const LONG target = Offset(lowest.GetInt(), kInset);
  return Reaches(position, highest, target, Around(target, kTolerance)) ? 0 : kNearMissed;
}

Finding CResBitFocus::RunMotor() const {
  const OpenedResource motor(Tree::Camera, "system.focus");
  if (!motor) return NotDetected(kNoMotor, mTestName);
  // Closed in the order in which they are opened, before the motor.
  OpenedResource position(motor, "position");
  OpenedResource maxPos(motor, "maxPos");
  OpenedResource minPos(motor, "minPos");
  const bool isWhole = position && maxPos && minPos;
  Finding finding = RunMode(mMode, mTestName, [&](LONG step) {
    // A motor without one of its nodes has no position that could be read.
    if (!isWhole) return kNoPosition;
    if (step == kFocusDetect) return CheckDetect(position);
    return step == kFocusFar ? CheckFar(position, minPos, maxPos)
                             : CheckNear(position, minPos, maxPos);
  });
  position.Close();
  maxPos.Close();
  minPos.Close();
  return finding;
}

DWORD CResBitFocus::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(LensTurns(), [this] { return RunMotor(); });
}

CResBitFocusM7::CResBitFocusM7(const TARQ::CResourcePath& path, const char* description, LONG mode,
                               DWORD platform)
    : CResBitItem(path, description), mTestName(), mMode(mode), mPlatform(platform) {
  CopyText(mTestName, description);
}

DWORD CResBitFocusM7::CheckDetect(const OpenedResource& position) const {
  return CheckPosition(position);
}

DWORD CResBitFocusM7::CheckFar(const OpenedResource& position) const {
  constexpr LONG kTarget = kFirstPositionM7 + kInset;
  return Reaches(position, Position(kLastPositionM7), kTarget, Around(kTarget, kToleranceM7))
             ? 0
             : kFarMissed;
}

DWORD CResBitFocusM7::CheckNear(const OpenedResource& position) const {
  constexpr LONG kTarget = kLastPositionM7 - kInset;
  return Reaches(position, Position(kFirstPositionM7), kTarget, Around(kTarget, kToleranceM7))
             ? 0
             : kNearMissed;
}

Finding CResBitFocusM7::RunMotor() const {
  const OpenedResource motor(Tree::Camera, "system.focus");
  if (!motor) return NotDetected(kNoMotor, mTestName);
  const OpenedResource position(motor, "position");
  return RunMode(mMode, mTestName, [&](LONG step) {
    if (!position) return kNoPosition;
    if (step == kFocusDetect) return CheckDetect(position);
    return step == kFocusFar ? CheckFar(position) : CheckNear(position);
  });
}

DWORD CResBitFocusM7::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(LensTurns(), [this] { return RunMotor(); });
}

CResBitFocusManual::CResBitFocusManual(const TARQ::CResourcePath& path, const char* description,
                                       LONG mode)
    : CResBitItem(path, description), mTestName(), mMode(mode) {
  CopyText(mTestName, description);
}

Finding CResBitFocusManual::ReadMotor() const {
  const OpenedResource motor(Tree::Camera, "system.focus");
  if (!motor) return NotDetected(kNoMotor, mTestName);
  const OpenedResource position(motor, "position");
  const DWORD code = CheckPosition(position);
  return code == 0 ? Detected(mTestName) : NotDetected(code, mTestName);
}

DWORD CResBitFocusManual::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(ReadMotor());
}

namespace {

constexpr ItemRow<FocusMode> kItems[] = {{"detect", "Focus detect", kFocusDetect},
                                         {"far", "Focus far", kFocusFar},
                                         {"near", "Focus near", kFocusNear},
                                         {"focus", "Focus test", kFocusFull}};

bool HasMotorM7(DWORD platform) {
  return platform == kPlatformM7 || platform == kPlatformKY || platform == kPlatformR8;
}

void AddItems(GroupBuilder& group, DWORD platform) {
  if (platform == kPlatformN7) {
    group.Add(new CResBitFocusManual("detect", "Focus detect", kFocusManual));
    return;
  }
  for (const auto& [node, description, mode] : kItems) {
    if (HasMotorM7(platform)) {
      group.Add(new CResBitFocusM7(node, description, mode, platform));
    } else {
      group.Add(new CResBitFocus(node, description, mode, platform));
    }
  }
}

}  // namespace

DWORD CreateFocusGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("focus", [platform](GroupBuilder& group) { AddItems(group, platform); });
}
