#include "peripherals/image_service.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kShows, kDamaged };
constexpr KnobRow kRows[] = {
    {"shows", KnobKind::ReadOnly, "", "", 0, 0,
     "What the camera's display shows: live, frozen, or the path or name of what was recalled."},
    {"damaged", KnobKind::Bool, "", "false", 0, 0,
     "True: every picture has lines in it that do not belong there, as a person sees; the "
     "automatic operator reports them.",
     Breaks({"true", "the display shows lines in every picture", "display", "", false,
             "this camera's tests of the display ask nobody what he sees"})},
};
constexpr KnobFamily kFamily = {"The camera's display", ".desk.image", kRows};

}  // namespace

ImageService::ImageService() : Peripheral(kFamily) {
  mKnobs[kShows].OnRead([this] { return KnobValue(Describe()); });
}

std::string ImageService::Describe() const {
  const Shown shown = Now();
  if (!shown.recalled.empty()) return shown.recalled;
  return shown.frozen == nullptr ? "live" : "frozen";
}

bool ImageService::IsDamaged() const {
  return mKnobs[kDamaged].Bool();
}

void ImageService::Publish(TARQ::CServerResource& root) {
  const auto add = [&](const char* branch, DeviceNode* node) {
    TARQ::NodeAccess::MakeBranch(root, branch).AddChild(node, nullptr);
    mNodes.emplace_back(node, TARQ::NodeAccess::Stored(*node));
    return node;
  };
  const TARQ::CResourceValue off(false);
  mLcd = add("power.settings", new DeviceNode("lcdEnable", TARQ::CResourceValue(true)));
  mViewFinder = add("ui.userSettings", new DeviceNode("viewFinder", TARQ::CResourceValue("$OFF")));
  mHiddenByUser = add("ui.userSettings", new DeviceNode("hideGraphics", off));
  mHidden = add("gui.system", new DeviceNode("hideGraphics", off));
  DeviceNode* const recall =
      add("image.state.recall", new DeviceNode("setW", TARQ::CResourceValue(L"")));
  recall->OnWritten([this](const TARQ::CResourceValue& picture) {
    const std::lock_guard lock(mLock);
    mRecalled = picture.GetAscii().AsChar();
  });
  DeviceNode* const live = add("image.state.live", new DeviceNode("set", off));
  live->OnWritten([this](const TARQ::CResourceValue& set) {
    if (!set.GetBool()) return;
    const std::lock_guard lock(mLock);
    mRecalled.clear();
    mFrozen.reset();
  });
  DeviceNode* const freeze = add("image.state.freeze", new DeviceNode("set", off));
  freeze->OnWritten([this](const TARQ::CResourceValue& set) {
    if (!set.GetBool() || !mTake) return;
    std::shared_ptr<const Picture> taken = mTake();
    const std::lock_guard lock(mLock);
    if (mFrozen == nullptr) mFrozen = std::move(taken);
  });
}

void ImageService::Restore() {
  for (const auto& [node, value] : mNodes) TARQ::NodeAccess::Store(*node, value);
  const std::lock_guard lock(mLock);
  mRecalled.clear();
  mFrozen.reset();
}

ImageService::Shown ImageService::Now() const {
  using TARQ::NodeAccess;
  Shown shown;
  shown.lcd = NodeAccess::Stored(*mLcd).GetBool();
  shown.viewFinder =
      std::string_view(NodeAccess::Stored(*mViewFinder).GetAscii().AsChar()) == "$ON";
  shown.graphics =
      !NodeAccess::Stored(*mHidden).GetBool() && !NodeAccess::Stored(*mHiddenByUser).GetBool();
  const std::lock_guard lock(mLock);
  shown.recalled = mRecalled;
  shown.frozen = mFrozen;
  return shown;
}

}  // namespace desk
