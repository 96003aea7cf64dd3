#include "tests/optics/shutter.h"

#include "items/group_builder.h"
#include "items/platform.h"
#include "items/text.h"

namespace {

constexpr char kPosition[] = "image.flow.shutter.position";
constexpr char kTruePosition[] = "image.flow.shutter.truePosition";
constexpr char kTested[] = "Shutter tested";

constexpr Failure kFailedInit = {0x70, "Failed to init Shutter test"};

constexpr Failure kFailedInitN = {0x70, "Failed to init test"};

constexpr SensedFlag kSensed = {kPosition,          kTruePosition, kFailedInit,
                                {0x71, 0x72, 0x73}, 0x72,          0x73};

constexpr ImagedFlag kImaged = {{kPosition, kFailedInit, {0x71, 0x71, 0x71}},
                                {{0x77, "Shutter test failed in fvd"},
                                 {0x76, "Suspicious framegrab"},
                                 0x74,
                                 "Shutter stucked, diff:%d",
                                 0x75,
                                 "Shutter locked, diff: %d"},
                                false,
                                Passed::Tested,
                                kTested};

}  // namespace

DWORD CResBitShutterN::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  {
    const OpenedResource position(Tree::Camera, kPosition);
    if (!position) return SetResultError(kFailedInitN);
    MoveThreeTimes(position);
  }
  return SetResultTested(kTested);
}

CResBitShutterK::CResBitShutterK(const TARQ::CResourcePath& path, const char* description,
                                 LONG mode)
    : CResBitItem(path, description), mTestName(), mMode(mode) {
  CopyText(mTestName, description);
}

DWORD CResBitShutterK::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(RunSensedFlag(kSensed, mMode, mTestName));
}

CResBitShutterRMV::CResBitShutterRMV(const TARQ::CResourcePath& path, const char* description,
                                     LONG mode)
    : CResBitItemI2C(path, description, false), mTestName(), mMode(mode), mFvdHandle(L"FVD1:") {
  CopyText(mTestName, description);
}

DWORD CResBitShutterRMV::MeasureCorners(CornerValues& values, WORD width, WORD height) {
  return MeasureFvdCorners(mFvdHandle.Get(), values, width, height);
}

DWORD CResBitShutterRMV::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(RunImagedFlag(kImaged, {*this, mMode, mTestName, mFvdHandle.IsOpen()},
                                 [this](CornerValues& values, WORD width, WORD height) {
                                   return MeasureCorners(values, width, height);
                                 }));
}

namespace {

constexpr FlagItemRow kItems[] = {{"shutter", "Shutter test", kFlagFull},
                                  {"detect", "Shutter detect", kFlagDetect},
                                  {"in", "Shutter in", kFlagIn},
                                  {"out", "Shutter out", kFlagOut}};

bool HasDetect(DWORD platform) {
  return platform != kPlatformR7 && platform != kPlatformR8 && platform != kPlatformLQ;
}

// A number that clients may change; the next full test goes by it.
void AddLevel(GroupBuilder& group, const char* node, LONG level) {
  group.Add(new TARQ::CServerResource(node, TARQ::CResourceValue(level, 0), kNodeAttributes));
}

}  // namespace

DWORD CreateShutterGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("shutter", [platform](GroupBuilder& group) {
    for (const FlagItemRow& row : kItems) {
      if (platform == kPlatformK) {
        group.Add(new CResBitShutterK(row.node, row.description, row.mode));
      } else if (row.mode != kFlagDetect || HasDetect(platform)) {
        group.Add(new CResBitShutterRMV(row.node, row.description, row.mode));
      }
    }
    if (platform == kPlatformK) return;
    const CornerLevels levels;
    AddLevel(group, "flatLevel", levels.flat);
    AddLevel(group, "responseLevel", levels.response);
  });
}
