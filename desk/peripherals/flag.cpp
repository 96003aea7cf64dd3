#include "peripherals/flag.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

constexpr char kNoLook[] = "this camera's tests of that part look at no picture and at no sensor";
constexpr char kNoSensor[] = "no test of this camera reads the end sensor";
constexpr char kOnlyAnswers[] =
    "this camera's tests ask the control only whether it answers, or not at all";

enum Row : std::size_t { kStuck, kSticks, kTravel, kReadBack, kSensor };
constexpr KnobRow kRows[] = {
    {"stuck", KnobKind::Text, "", "", 0, 0,
     "in, out or half: the flag stays there, whatever is commanded; half covers the left half of "
     "the detector. Empty: it moves.",
     Breaks({"in", "the {device} is stuck in the image path", "", "", false, kNoLook},
            {"out", "the {device} is stuck outside the image path", "", "", false, kNoLook},
            {"half", "the {device} is stuck half way", "", "", false, kNoLook})},
    {"sticks", KnobKind::Text, "skip,count", "0,0", 0, 0,
     "After skip good moves the flag stays where it is for the next count; counted from this write "
     "on.",
     Breaks({"0,1", "the {device} sticks once", "", "one move", false,
             "the tests command each end more than once, or look at no picture and no sensor"})},
    {"travel", KnobKind::Number, "s", "0.2", 0, 1e6,
     "How long after a command truePosition reads between. The image shows the end at once.",
     Breaks({"5", "the {device} is slow", "", "1 s and more", false,
             "only the tests that read its end sensor see its time"})
         .Within(0.05, 0.4)},
    {"readback", KnobKind::Text, "", "", 0, 0,
     "What position reads; empty: what was commanded last.",
     Breaks({"in", "the {device}'s control always reports in", "", "", false, kOnlyAnswers},
            {"out", "the {device}'s control always reports out", "", "", false, kOnlyAnswers},
            {"between", "the {device}'s control reports no end", "", "", false, kOnlyAnswers})},
    {"sensor", KnobKind::Text, "", "", 0, 0, "What truePosition reads; empty: where the flag is.",
     Breaks({"in", "the {device}'s sensor always reports in", "", "", false, kNoSensor},
            {"out", "the {device}'s sensor always reports out", "", "", false, kNoSensor},
            {"between", "the {device}'s sensor reports no end", "", "", false, kNoSensor})},
};
constexpr KnobFamily kFamily = {"Shutter and aperture", ".desk.<shutter, aperture>", kRows};

constexpr const char* kEnds[] = {"in", "out", nullptr};

TARQ::CResourceValue Text(const std::string& text) {
  return TARQ::CResourceValue(text.c_str());
}

}  // namespace

Flag::Flag(std::string name, const Clock& clock)
    : Peripheral(".desk." + name, kFamily, name),
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
