#include "tests/optics/flag.h"

#include <cstring>
#include <optional>

#include "items/format.h"

namespace {

constexpr int kRounds = 3;
constexpr DWORD kMoveTime = 1000;  // ms
constexpr char kIn[] = "in";
constexpr char kOut[] = "out";

constexpr DWORD kTcompWait = 1;
constexpr DWORD kTcompTimeOut = 10000;  // ms

void Move(const OpenedResource& position, const char* end) {
  position.Write(TARQ::CResourceValue(end, 0));
}

bool Reads(const OpenedResource& node, const char* end) {
  TARQ::CResourceValue value("", 0);
  node.ReadInto(value);
  return strcmp(value.GetAscii().AsChar(), end) == 0;
}

Finding Detect(const OpenedResource& position, DWORD code, const char* name) {
  TARQ::CResourceValue ignored("", 0);
  if (!position.ReadInto(ignored)) return {code, FormatText("%s:NOT Detected, ", name)};
  return {0, FormatText("%s:Detected, ", name)};
}

bool MovesTo(const OpenedResource& position, const OpenedResource& readBack, DWORD pause,
             const char* end) {
  Move(position, end);
  if (pause != 0) Sleep(pause);
  return Reads(readBack, end);
}

// Detect, in or out; a mode that is none of the three finds nothing.
Finding CheckItem(const OpenedResource& position, const OpenedResource& readBack, DWORD pause,
                  const FlagCodes& codes, LONG mode, const char* name) {
  if (mode == kFlagDetect) return Detect(position, codes.notDetected, name);
  if (mode != kFlagIn && mode != kFlagOut) return {};
  const bool inward = mode == kFlagIn;
  if (MovesTo(position, readBack, pause, inward ? kIn : kOut)) {
    return {0, FormatText("%s:Moved, ", name)};
  }
  return {inward ? codes.notIn : codes.notOut, FormatText("%s:NOT Moved, ", name)};
}

// Every round runs, whatever became of the ones before; the last failure counts.
DWORD CheckThreeRounds(const OpenedResource& position, const OpenedResource& truePosition,
                       const SensedFlag& flag) {
  DWORD code = 0;
  for (int round = 0; round < kRounds; ++round) {
    if (!MovesTo(position, truePosition, kMoveTime, kIn)) code = flag.fullNotIn;
    if (!MovesTo(position, truePosition, kMoveTime, kOut)) code = flag.fullNotOut;
  }
  return code;
}

TurnLock& FlagTurns() {
  static TurnLock lock;
  return lock;
}

}  // namespace

bool SetTcompActive(bool active) {
  const OpenedResource tcomp(Tree::Camera, ".tcomp.active");
  if (!tcomp) return true;
  TARQ::CResourceValue before(true, 0);
  tcomp.ReadInto(before);
  tcomp->Set(TARQ::CResourceValue(active, 0), kTcompWait, kTcompTimeOut, nullptr);
  return before.GetBool();
}

TcompPause::TcompPause() : mTurn(FlagTurns()), mWasActive(SetTcompActive(false)) {}

Finding RunSensedFlag(const SensedFlag& flag, LONG mode, const char* name) {
  std::optional<TcompPause> pause;  // ends after the resources are closed
  const OpenedResource position(Tree::Camera, flag.position);
  const OpenedResource truePosition(Tree::Camera, flag.truePosition);
  if (!position || !truePosition) return flag.failedInit;
  pause.emplace();
  if (mode == kFlagFull) return {CheckThreeRounds(position, truePosition, flag), ""};
  return CheckItem(position, truePosition, kMoveTime, flag.items, mode, name);
}

void MoveThreeTimes(const OpenedResource& position) {
  for (int round = 0; round < kRounds; ++round) {
    Move(position, kIn);
    Sleep(kMoveTime);
    Move(position, kOut);
    Sleep(kMoveTime);
  }
}

Finding RunUnsensedFlag(const UnsensedFlag& flag, LONG mode, const char* name) {
  std::optional<TcompPause> pause;
  const OpenedResource position(Tree::Camera, flag.position);
  if (!position) return flag.failedInit;
  pause.emplace();
  if (mode != kFlagFull) return CheckItem(position, position, 0, flag.items, mode, name);
  MoveThreeTimes(position);
  return {};
}

namespace {

Finding CheckImagedItem(const ImagedFlag& flag, const OpenedResource& position,
                        const ImagedItem& item) {
  const Finding finding = CheckItem(position, position, 0, flag.flag.items, item.mode, item.name);
  const bool tells = finding.code != 0 || flag.itemsPassed == Passed::OK;
  return tells ? finding : Finding{0, flag.tested, Passed::Tested};
}

}  // namespace

Finding RunImagedFlag(const ImagedFlag& flag, const ImagedItem& item,
                      const MeasureFunction& measure) {
  std::optional<TcompPause> pause;
  if (flag.restsFirst) pause.emplace();
  const bool judges = item.mode == kFlagFull;
  if (judges && !item.hasFrontEnd) return flag.flag.failedInit;
  const DetectorSize size = judges ? ReadDetectorSize() : DetectorSize();
  const CornerLevels levels = judges ? ReadCornerLevels(item.item) : CornerLevels();
  const OpenedResource position(Tree::Camera, flag.flag.position);
  if (!position) return flag.flag.failedInit;
  if (!pause) pause.emplace();
  if (!judges) return CheckImagedItem(flag, position, item);
  const Finding finding =
      JudgeCorners(MeasureRounds(position, measure, size), levels, flag.verdicts);
  return finding.code != 0 ? finding : Finding{0, flag.tested, Passed::Tested};
}
