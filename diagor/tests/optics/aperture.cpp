#include "tests/optics/aperture.h"

#include "items/group_builder.h"
#include "items/platform.h"
#include "items/text.h"

namespace {

constexpr char kPosition[] = "image.flow.aperture.position";
constexpr char kTruePosition[] = "image.flow.aperture.truePosition";
constexpr char kTested[] = "Aperture tested";

constexpr Failure kFailedInit = {0x80, "Failed to init Aperture test"};

constexpr SensedFlag kSensed = {kPosition,          kTruePosition, kFailedInit,
                                {0x81, 0x81, 0x81}, 0x82,          0x83};

constexpr UnsensedFlag kUnsensed = {kPosition, kFailedInit, {0x81, 0x81, 0x81}};

constexpr ImagedFlag kImaged = {kUnsensed,
                                {{0x87, "Aperture test failed in fvd"},
                                 {0x86, "Suspicious framegrab"},
                                 0x84,
                                 "Aperture stucked, diff:%d",
                                 0x85,
                                 "Aperture locked, diff: %d"},
                                true,
                                Passed::OK,
                                kTested};

}  // namespace

CResBitApertureK::CResBitApertureK(const TARQ::CResourcePath& path, const char* description,
                                   LONG mode)
    : CResBitItem(path, description), mTestName(), mMode(mode) {
  CopyText(mTestName, description);
}

DWORD CResBitApertureK::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(RunSensedFlag(kSensed, mMode, mTestName));
}

CResBitAperture::CResBitAperture(const TARQ::CResourcePath& path, const char* description,
                                 LONG mode)
    : CResBitItem(path, description), mTestName(), mMode(mode) {
  CopyText(mTestName, description);
}

DWORD CResBitAperture::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const Finding finding = RunUnsensedFlag(kUnsensed, mMode, mTestName);
  const bool moved = finding.code == 0 && mMode == kFlagFull;
  return moved ? SetResultTested(kTested) : SetResult(finding);
}

CResBitApertureR8::CResBitApertureR8(const TARQ::CResourcePath& path, const char* description,
                                     LONG mode)
    : CResBitItemI2C(path, description, false), mTestName(), mMode(mode), mFvdHandle(L"FVD1:") {
  CopyText(mTestName, description);
}

DWORD CResBitApertureR8::MeasureCorners(CornerValues& values, WORD width, WORD height) {
  return MeasureFvdCorners(mFvdHandle.Get(), values, width, height);
}

DWORD CResBitApertureR8::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(RunImagedFlag(kImaged, {*this, mMode, mTestName, mFvdHandle.IsOpen()},
                                 [this](CornerValues& values, WORD width, WORD height) {
                                   return MeasureCorners(values, width, height);
                                 }));
}

namespace {

constexpr FlagItemRow kItems[] = {{"aperture", "Aperture test", kFlagFull},
                                  {"detect", "Aperture detect", kFlagDetect},
                                  {"in", "Aperture in", kFlagIn},
                                  {"out", "Aperture out", kFlagOut}};

TARQ::CServerResource* MakeItem(const FlagItemRow& row, DWORD platform) {
  if (platform == kPlatformK) return new CResBitApertureK(row.node, row.description, row.mode);
  if (platform == kPlatformR8) return new CResBitApertureR8(row.node, row.description, row.mode);
  return new CResBitAperture(row.node, row.description, row.mode);
}

}  // namespace

DWORD CreateApertureGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("aperture", [platform](GroupBuilder& group) {
    for (const FlagItemRow& row : kItems) group.Add(MakeItem(row, platform));
  });
}
