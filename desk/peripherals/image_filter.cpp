#include "peripherals/image_filter.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

constexpr char kNoLook[] = "this camera's filter test looks at no picture";

enum Row : std::size_t { kStuck, kSticks, kDrop, kGlow };
constexpr KnobRow kRows[] = {
    {"stuck", KnobKind::Text, "", "", 0, 0,
     "in, out or half: the filter stays there, whatever is commanded. Empty: it moves.",
     Breaks({"in", "the filter is stuck in the image path", "filter", "", false, kNoLook},
            {"out", "the filter is stuck outside the image path", "filter", "", false, kNoLook},
            {"half", "the filter is stuck half way", "filter", "", false, kNoLook})},
    {"sticks", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good moves the filter stays where it is for the next count; counted from this "
     "write on.",
     Breaks({"0,1", "the filter sticks once", "filter", "one move", false,
             "the filter test commands each end more than once, or looks at no picture"})},
    {"drop", KnobKind::Integer, "counts", "4000", 0, 65535,
     "What the filter takes away of a black body's radiation.",
     Breaks({"1000", "the filter lets too much through", "filter", "below 2000 counts", false,
             kNoLook})
         .Within(3000, 6000)},
    {"glow", KnobKind::Integer, "counts", "100", 0, 65535,
     "What the filter adds by its own radiation when no black body is in view.",
     Condition("how warm the filter is").Within(50, 300)},
};
constexpr KnobFamily kFamily = {"Filter", ".desk.filter", kRows};

}  // namespace

ImageFilter::ImageFilter() : Peripheral(kFamily), mPart(mKnobs[kStuck], mKnobs[kSticks]) {}

void ImageFilter::Publish(TARQ::CServerResource& root) {
  mPosition = new DeviceNode("position", TARQ::CResourceValue(0));
  mPosition->OnWritten(
      [this](const TARQ::CResourceValue& end) { mPart.Move(end.GetInt() != 0, TimePoint{}); });
  TARQ::NodeAccess::MakeBranch(root, "image.flow.filter").AddChild(mPosition, nullptr);
}

void ImageFilter::Restore() {
  mPart.Restore();
  TARQ::NodeAccess::Store(*mPosition, TARQ::CResourceValue(0));
}

double ImageFilter::Change(bool blackBody) const {
  return mPart.Cover() * (blackBody ? -mKnobs[kDrop].Number() : mKnobs[kGlow].Number());
}

}  // namespace desk
