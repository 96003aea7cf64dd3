#include "peripherals/laser.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kPressed, kWorks };
constexpr KnobRow kRows[] = {
    {"pressed", KnobKind::Bool, "", "false", 0, 0,
     "The laser button, as whoever holds the camera presses it."},
    {"works", KnobKind::Bool, "", "true", 0, 0, "False: the laser stays dark."},
};

}  // namespace

std::span<const KnobRow> Laser::KnobRows() {
  return kRows;
}

Laser::Laser() : Peripheral(".desk.laser", kRows) {}

void Laser::Publish(TARQ::CServerResource& root) {
  mEnable = new TARQ::CServerResource("laserEnable", TARQ::CResourceValue(false), 0x80000000);
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
