#include "tests/optics/focus.h"

#include <cstdint>
#include <functional>
#include <string>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/text.h"
#include "task/platform.h"

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

constexpr char kDetected[] = "%s:Detected, ";
constexpr char kNotDetected[] = "%s:NOT Detected, ";

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

struct Steps {
  std::function<DWORD()> detect;
  std::function<DWORD()> far;
  std::function<DWORD()> near;
};

Finding Single(DWORD code, const char* name) {
  return {code, FormatText(code == 0 ? kDetected : kNotDetected, name)};
}

Finding NoMotor(const char* name) {
  return {kNoMotor, FormatText(kNotDetected, name)};
}

Finding FullTest(const Steps& steps, const char* name) {
  DWORD code = steps.detect();
  if (code != 0) return {code, FormatText("%s:NOT Detected (Pos), ", name)};
  code = steps.far();
  if (code != 0) return {code, FormatText("%s:NOT Detected (Far), ", name)};
  code = steps.near();
  if (code != 0) return {code, FormatText("%s:NOT Detected (Near), ", name)};
  return {0, FormatText(kDetected, name)};
}

Finding RunSteps(const Steps& steps, LONG mode, const char* name) {
  switch (mode) {
    case kFocusDetect:
      return Single(steps.detect(), name);
    case kFocusFar:
      return Single(steps.far(), name);
    case kFocusNear:
      return Single(steps.near(), name);
    case kFocusFull:
      return FullTest(steps, name);
    default:
      return {};
  }
}

// A motor without one of its nodes has no position that could be read.
Finding RunWithoutChild(LONG mode, const char* name) {
  const auto missing = [] { return kNoPosition; };
  return RunSteps({missing, missing, missing}, mode, name);
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

DWORD CResBitFocus::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  Finding finding;
  {
    const OpenedResource motor(CameraTree(), "system.focus");
    if (!motor) return SetResult(NoMotor(mTestName));
    OpenedResource position(motor, "position");
    OpenedResource maxPos(motor, "maxPos");
    OpenedResource minPos(motor, "minPos");
    if (position && maxPos && minPos) {
      finding = RunSteps({[&] { return CheckDetect(position); },
                          [&] { return CheckFar(position, minPos, maxPos); },
                          [&] { return CheckNear(position, minPos, maxPos); }},
                         mMode, mTestName);
    } else {
      finding = RunWithoutChild(mMode, mTestName);
    }
    position.Close();
    maxPos.Close();
    minPos.Close();
  }
  return SetResult(finding);
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

DWORD CResBitFocusM7::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  Finding finding;
  {
    const OpenedResource motor(CameraTree(), "system.focus");
    if (!motor) return SetResult(NoMotor(mTestName));
    const OpenedResource position(motor, "position");
    finding =
        position
            ? RunSteps({[&] { return CheckDetect(position); }, [&] { return CheckFar(position); },
                        [&] { return CheckNear(position); }},
                       mMode, mTestName)
            : RunWithoutChild(mMode, mTestName);
  }
  return SetResult(finding);
}

CResBitFocusManual::CResBitFocusManual(const TARQ::CResourcePath& path, const char* description,
                                       LONG mode)
    : CResBitItem(path, description), mTestName(), mMode(mode) {
  CopyText(mTestName, description);
}

DWORD CResBitFocusManual::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  Finding finding;
  {
    const OpenedResource motor(CameraTree(), "system.focus");
    if (!motor) return SetResult(NoMotor(mTestName));
    const OpenedResource position(motor, "position");
    finding = Single(CheckPosition(position), mTestName);
  }
  return SetResult(finding);
}

namespace {

struct FocusRow {
  const char* node;
  const char* description;
  FocusMode mode;
};
constexpr FocusRow kItems[] = {{"detect", "Focus detect", kFocusDetect},
                               {"far", "Focus far", kFocusFar},
                               {"near", "Focus near", kFocusNear},
                               {"focus", "Focus test", kFocusFull}};

bool HasMotorM7(DWORD platform) {
  return platform == kPlatformM7 || platform == kPlatformKY || platform == kPlatformR8;
}

}  // namespace

DWORD CreateFocusGroup(CBitTask* /*task*/, DWORD platform) {
  GroupBuilder group("focus");
  if (group.Status() != 0) return group.Status();
  if (platform == kPlatformN7) {
    group.Add(new CResBitFocusManual("detect", "Focus detect", kFocusManual));
    return 0;
  }
  for (const FocusRow& row : kItems) {
    if (HasMotorM7(platform)) {
      group.Add(new CResBitFocusM7(row.node, row.description, row.mode, platform));
    } else {
      group.Add(new CResBitFocus(row.node, row.description, row.mode, platform));
    }
  }
  return 0;
}
