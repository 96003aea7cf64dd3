#include "peripherals/laser.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kPressed, kWorks };
constexpr KnobRow kRows[] = {
    {"pressed", KnobKind::Bool, "", "false", 0, 0,
     "The laser button, as whoever holds the camera presses it.",
     Condition("whether somebody presses the laser button")},
    {"works", KnobKind::Bool, "", "true", 0, 0, "False: the laser stays dark.",
     Breaks({"false", "the laser stays dark", "laser"})},
};
constexpr KnobFamily kFamily = {"Laser pointer", ".desk.laser", kRows};

}  // namespace

Laser::Laser() : Peripheral(kFamily) {}

void Laser::Publish(TARQ::CServerResource& root) {
  mEnable = new TARQ::CServerResource("laserEnable", TARQ::CResourceValue(false), TARQ::kPlainNode);
  TARQ::NodeAccess::MakeBranch(root, "power.settings").AddChild(mEnable, nullptr);
  auto* const state = new DeviceNode("laser", TARQ::CResourceValue(false));
  state->OnRead([this] {
    return TARQ::CResourceValue(TARQ::NodeAccess::Stored(*mEnable).GetBool() &&
                                mKnobs[kPressed].Bool() && mKnobs[kWorks].Bool());
  });
  TARQ::NodeAccess::MakeBranch(root, "power.states").AddChild(state, nullptr);
}

void Laser::Restore() {
  TARQ::NodeAccess::Store(*mEnable, TARQ::CResourceValue(false));
}

void Laser::Press(bool pressed) {
  mKnobs[kPressed].Write(pressed);
}

}  // namespace desk
