#include "tests/optics/flag.h"

#include <cstring>

#include "items/format.h"
#include "items/text.h"

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
  const OpenedResource tcomp(CameraTree(), ".tcomp.active");
  if (!tcomp) return true;
  TARQ::CResourceValue before(true, 0);
  tcomp.ReadInto(before);
  tcomp->Set(TARQ::CResourceValue(active, 0), kTcompWait, kTcompTimeOut, nullptr);
  return before.GetBool();
}

TcompPause::TcompPause() : mTurn(FlagTurns()), mWasActive(SetTcompActive(false)) {}

Finding RunSensedFlag(const SensedFlag& flag, LONG mode, const char* name) {
  OpenedResource position(CameraTree(), flag.position);
  OpenedResource truePosition(CameraTree(), flag.truePosition);
  if (!position || !truePosition) return flag.failedInit.Found();
  const TcompPause pause;
  Finding finding = mode == kFlagFull
                        ? Finding{CheckThreeRounds(position, truePosition, flag), ""}
                        : CheckItem(position, truePosition, kMoveTime, flag.items, mode, name);
  position.Close();
  truePosition.Close();
  return finding;
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
  OpenedResource position(CameraTree(), flag.position);
  if (!position) return flag.failedInit.Found();
  const TcompPause pause;
  Finding finding;
  if (mode == kFlagFull) {
    MoveThreeTimes(position);
  } else {
    finding = CheckItem(position, position, 0, flag.items, mode, name);
  }
  position.Close();
  return finding;
}

CResBitImagedFlag::CResBitImagedFlag(const TARQ::CResourcePath& path, const char* description,
                                     LONG mode)
    : CResBitItemI2C(path, description, false), mTestName(), mMode(mode), mFvdHandle(L"FVD1:") {
  CopyText(mTestName, description);
}

DWORD CResBitImagedFlag::MeasureCorners(CornerValues& values, WORD width, WORD height) {
  return MeasureFvdCorners(mFvdHandle.Get(), values, width, height);
}

Finding CResBitImagedFlag::RunImagedFlag(const ImagedFlag& flag, std::optional<TcompPause>& pause) {
  const bool judges = mMode == kFlagFull;
  if (judges && !mFvdHandle.IsOpen()) return flag.flag.failedInit.Found();
  const DetectorSize size = judges ? ReadDetectorSize() : DetectorSize();
  const CornerLevels levels = judges ? ReadCornerLevels(*this) : CornerLevels();
  OpenedResource position(CameraTree(), flag.flag.position);
  if (!position) return flag.flag.failedInit.Found();
  if (!pause) pause.emplace();
  if (!judges) {
    Finding finding = CheckItem(position, position, 0, flag.flag.items, mMode, mTestName);
    position.Close();
    pause.reset();
    return finding;
  }
  const CornerRounds rounds = MeasureRounds(
      position,
      [this](CornerValues& values, WORD width, WORD height) {
        return MeasureCorners(values, width, height);
      },
      size);
  position.Close();
  pause.reset();
  return JudgeCorners(rounds, levels, flag.verdicts);
}
