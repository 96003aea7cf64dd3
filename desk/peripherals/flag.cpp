#include "peripherals/flag.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kStuck, kSticks, kTravel, kReadBack, kSensor };
constexpr KnobRow kRows[] = {
    {"stuck", KnobKind::Text, "", "", 0, 0,
     "in, out or half: the flag stays there, whatever is commanded; half covers the left half of "
     "the detector. Empty: it moves."},
    {"sticks", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good moves the flag stays where it is for the next count; counted from this write "
     "on."},
    {"travel", KnobKind::Number, "s", "0.2", 0, 1e6,
     "How long after a command truePosition reads between. The image shows the end at once."},
    {"readback", KnobKind::Text, "", "", 0, 0,
     "What position reads; empty: what was commanded last."},
    {"sensor", KnobKind::Text, "", "", 0, 0, "What truePosition reads; empty: where the flag is."},
};

constexpr const char* kEnds[] = {"in", "out", nullptr};

TARQ::CResourceValue Text(const std::string& text) {
  return TARQ::CResourceValue(text.c_str());
}

}  // namespace

std::span<const KnobRow> Flag::KnobRows() {
  return kRows;
}

Flag::Flag(std::string name, const Clock& clock)
    : Peripheral(".desk." + name, kRows),
      mName(std::move(name)),
      mClock(clock),
      mPart(mKnobs[kStuck], mKnobs[kSticks]) {}

void Flag::Publish(TARQ::CServerResource& root) {
  TARQ::CServerResource& branch = TARQ::NodeAccess::MakeBranch(root, "image.flow." + mName);
  mPosition = new DeviceNode("position", TARQ::CResourceValue("out", kEnds, 0, false));
  mPosition->OnRead([this] {
    const std::string other = mKnobs[kReadBack].Text();
    return other.empty() ? TARQ::NodeAccess::Stored(*mPosition) : Text(other);
  });
  mPosition->OnWritten([this](const TARQ::CResourceValue& end) {
    mPart.Move(std::string_view(end.GetAscii().AsChar()) == "in", mClock.Now());
    mPosition->DeviceChanged();
  });
  branch.AddChild(mPosition, nullptr);
  mSensor = new DeviceNode("truePosition", TARQ::CResourceValue("out"));
  mSensor->OnRead([this] {
    const std::string other = mKnobs[kSensor].Text();
    return Text(other.empty() ? mPart.End(mClock.Now(), mKnobs[kTravel].Number()) : other);
  });
  branch.AddChild(mSensor, nullptr);
}

void Flag::Restore() {
  mPart.Restore();
  TARQ::NodeAccess::Store(*mPosition, TARQ::CResourceValue("out", kEnds, 0, false));
}

}  // namespace desk
