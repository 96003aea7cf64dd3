#include "tests/optics/filter.h"

#include <algorithm>
#include <string>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
#include "items/resource_access.h"

namespace {

constexpr char kPosition[] = "image.flow.filter.position";
constexpr LONG kOut = 0;
constexpr LONG kIn = 1;
constexpr int kRounds = 3;
constexpr DWORD kMoveTime = 1000;  // ms
constexpr char kTested[] = "FILTER tested";

constexpr double kRange = 375.0;     // for TMax
constexpr DWORD kRangeTime = 5000;   // ms, until the new range shows
constexpr DWORD kDropNeeded = 2000;  // of the frame average, when the filter goes in
constexpr LONG kRise = -20;          // below that the average rose: no black body stands in view

constexpr DWORD kFailedInit = 0x90;
constexpr Failure kNoFilter = {kFailedInit, "Failed to init test"};
constexpr Failure kNotPrepared = {kFailedInit, "FILTER test init failed"};
constexpr DWORD kNoDrop = 0x61;

bool Move(const OpenedResource& position, LONG end) {
  return position.Write(TARQ::CResourceValue(end, 0));
}

// The average of the frame. One that cannot be read stays as it was, so that it shows no drop.
class FrameAverage {
 public:
  explicit FrameAverage(const OpenedResource& node) : mNode(node) {}
  LONG Read() {
    mNode.ReadInto(mValue);
    return mValue.GetInt();
  }
  LONG ReadAfterMove(const OpenedResource& position, LONG end) {
    Move(position, end);
    Sleep(kMoveTime);
    return Read();
  }

 private:
  const OpenedResource& mNode;
  TARQ::CResourceValue mValue{0, 0};
};

// The drops that a run has seen, each between a reading without the filter and one with it.
class Drops {
 public:
  // Whether the average fell far enough.
  bool Takes(LONG without, LONG with) {
    // Averages are words without a sign: the sum may wrap.
    const DWORD drop = static_cast<DWORD>(without) - static_cast<DWORD>(with);
    mLargest = std::max(mLargest, static_cast<LONG>(drop));
    return static_cast<DWORD>(with) + kDropNeeded <= static_cast<DWORD>(without);
  }
  LONG Largest() const { return mLargest; }

 private:
  LONG mLargest = -100000;
};

// What the test keeps open until the filter is out again; empty as far as the preparation got.
struct Nodes {
  OpenedResource range;
  OpenedResource commit;
  OpenedResource position;
  OpenedResource frameAverage;
};

bool Open(OpenedResource& node, const char* path) {
  node.Open(Tree::Camera, path);
  return static_cast<bool>(node);
}

bool SetRange(const OpenedResource& range) {
  TARQ::CResourceValue value(TARQ::ValueType::Double);
  return value.Set(kRange) == 0 && range.Write(value);
}

// Each step only after the one before.
bool Prepare(Nodes& nodes) {
  return Open(nodes.range, ".image.services.TMax.TMax") && SetRange(nodes.range) &&
         Open(nodes.commit, ".image.services.TMax.commit") &&
         nodes.commit.Write(TARQ::CResourceValue(true, 0)) && Open(nodes.position, kPosition) &&
         Move(nodes.position, kOut) &&
         Open(nodes.frameAverage, ".image.flow.framebuffer.frameAverage");
}

// 0 when the average fell with each move in, and rose with each move out.
DWORD MoveAndCompare(const Nodes& nodes, Drops& drops) {
  Sleep(kRangeTime);
  FrameAverage average(nodes.frameAverage);
  LONG without = average.Read();
  for (int round = 0; round < kRounds; ++round) {
    const LONG with = average.ReadAfterMove(nodes.position, kIn);
    if (!drops.Takes(without, with)) return kNoDrop;
    without = average.ReadAfterMove(nodes.position, kOut);
    if (!drops.Takes(without, with)) return kNoDrop;
  }
  return 0;
}

}  // namespace

DWORD CResBitFilter::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  {
    const OpenedResource position(Tree::Camera, kPosition);
    if (!position) return SetResultError(kNoFilter);
    for (int round = 0; round < kRounds; ++round) {
      Move(position, kIn);
      Sleep(kMoveTime);
      Move(position, kOut);
      Sleep(kMoveTime);
    }
  }
  return SetResultTested(kTested);
}

DWORD CResBitFilterH::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  Drops drops;
  DWORD code = kFailedInit;
  {
    Nodes nodes;
    if (Prepare(nodes)) code = MoveAndCompare(nodes, drops);
    Move(nodes.position, kOut);
    nodes.range.Close();
    nodes.commit.Close();
    nodes.position.Close();
    nodes.frameAverage.Close();
  }
  if (code == 0) return SetResultTested(kTested);
  if (code == kFailedInit) return SetResultError(kNotPrepared);
  const LONG largest = drops.Largest();
  const std::string message =
      largest < kRise ? FormatText("FILTER test failed, maxdiff %d ( missing BB ? )", largest)
                      : FormatText("FILTER test failed, maxdiff %d", largest);
  return SetResultError(message.c_str(), code);
}

DWORD CreateFilterGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("filter", [platform](GroupBuilder& group) {
    if (platform == kPlatformH) {
      group.Add(new CResBitFilterH("filter", "Filter"));
    } else {
      group.Add(new CResBitFilter("filter", "Filter"));
    }
  });
}
