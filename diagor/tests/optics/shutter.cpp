#include "tests/optics/shutter.h"

#include "items/group_builder.h"
#include "items/text.h"
#include "task/platform.h"

namespace {

constexpr char kPosition[] = "image.flow.shutter.position";
constexpr char kTruePosition[] = "image.flow.shutter.truePosition";
constexpr char kTested[] = "Shutter tested";

constexpr Failure kFailedInit = {0x70, "Failed to init Shutter test"};

constexpr SensedFlag kSensed = {kPosition,          kTruePosition, kFailedInit,
                                {0x71, 0x72, 0x73}, 0x72,          0x73};

constexpr ImagedFlag kImaged = {{kPosition, kFailedInit, {0x71, 0x71, 0x71}},
                                {{0x77, "Shutter test failed in fvd"},
                                 {0x76, "Suspicious framegrab"},
                                 0x74,
                                 "Shutter stucked, diff:%d",
                                 0x75,
                                 "Shutter locked, diff: %d"}};

}  // namespace

DWORD CResBitShutterN::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  {
    const OpenedResource position(CameraTree(), kPosition);
    if (!position) return SetResultError("Failed to init test", 0x70);
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

DWORD CResBitShutterRMV::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  std::optional<TcompPause> pause;
  const Finding finding = RunImagedFlag(kImaged, pause);
  // The items' own findings are not told when they are good.
  return finding.code == 0 ? SetResultTested(kTested) : SetResult(finding);
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
  GroupBuilder group("shutter");
  if (group.Status() != 0) return group.Status();
  for (const FlagItemRow& row : kItems) {
    if (platform == kPlatformK) {
      group.Add(new CResBitShutterK(row.node, row.description, row.mode));
    } else if (row.mode != kFlagDetect || HasDetect(platform)) {
      group.Add(new CResBitShutterRMV(row.node, row.description, row.mode));
    }
  }
  if (platform != kPlatformK) {
    const CornerLevels levels;
    AddLevel(group, "flatLevel", levels.flat);
    AddLevel(group, "responseLevel", levels.response);
  }
  return 0;
}
