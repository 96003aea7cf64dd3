#include "peripherals/measuring_range.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

constexpr double kStart = 80;  // degrees Celsius

enum Row : std::size_t { kSwitches };
constexpr KnobRow kRows[] = {
    {"switches", KnobKind::Bool, "", "true", 0, 0,
     "False: the range stays as it is, whatever is committed.",
     Breaks({"false", "the measuring range does not switch", "main board"})},
};
constexpr KnobFamily kFamily = {"Measuring range", ".desk.range", kRows};

}  // namespace

MeasuringRange::MeasuringRange() : Peripheral(kFamily), mHighest(kStart) {}

void MeasuringRange::Publish(TARQ::CServerResource& root) {
  TARQ::CServerResource& branch = TARQ::NodeAccess::MakeBranch(root, "image.services.TMax");
  mSetting = new TARQ::CServerResource("TMax", TARQ::DoubleValue(kStart), TARQ::kPlainNode);
  mCommit = new DeviceNode("commit", TARQ::CResourceValue(false));
  mCommit->OnWritten([this](const TARQ::CResourceValue& commit) {
    if (!commit.GetBool() || !mKnobs[kSwitches].Bool()) return;
    const std::lock_guard lock(mLock);
    mHighest = TARQ::NodeAccess::Stored(*mSetting).GetDouble();
  });
  branch.AddChild(mSetting, nullptr);
  branch.AddChild(mCommit, nullptr);
}

void MeasuringRange::Restore() {
  TARQ::NodeAccess::Store(*mSetting, TARQ::DoubleValue(kStart));
  TARQ::NodeAccess::Store(*mCommit, TARQ::CResourceValue(false));
  const std::lock_guard lock(mLock);
  mHighest = kStart;
}

double MeasuringRange::Highest() const {
  const std::lock_guard lock(mLock);
  return mHighest;
}

}  // namespace desk
