#include "peripherals/image_filter.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kStuck, kSticks, kDrop, kGlow };
constexpr KnobRow kRows[] = {
    {"stuck", KnobKind::Text, "", "", 0, 0,
     "in, out or half: the filter stays there, whatever is commanded. Empty: it moves."},
    {"sticks", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good moves the filter stays where it is for the next count; counted from this "
     "write on."},
    {"drop", KnobKind::Integer, "counts", "4000", 0, 65535,
     "What the filter takes away of a black body's radiation."},
    {"glow", KnobKind::Integer, "counts", "100", 0, 65535,
     "What the filter adds by its own radiation when no black body is in view."},
};

}  // namespace

std::span<const KnobRow> ImageFilter::KnobRows() {
  return kRows;
}

ImageFilter::ImageFilter()
    : Peripheral(".desk.filter", kRows), mPart(mKnobs[kStuck], mKnobs[kSticks]) {}

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
