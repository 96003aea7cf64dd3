#include "peripherals/lamp.h"

#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kWorks, kLit };
constexpr KnobRow kRows[] = {
    {"works", KnobKind::Bool, "", "true", 0, 0,
     "False: the lamp stays dark. No test sees it; whoever stands at the camera does."},
    {"lit", KnobKind::ReadOnly, "", "", 0, 0, "Whether the lamp is lit now: true or false."},
};

}  // namespace

std::span<const KnobRow> Lamp::KnobRows() {
  return kRows;
}

Lamp::Lamp(std::string name) : Peripheral(".desk." + name, kRows), mName(std::move(name)) {
  mKnobs[kLit].OnRead([this] {
    const bool on = mSwitch != nullptr && TARQ::NodeAccess::Stored(*mSwitch).GetBool();
    return KnobValue(std::string(on && mKnobs[kWorks].Bool() ? "true" : "false"));
  });
}

void Lamp::Publish(TARQ::CServerResource& root) {
  mSwitch = new TARQ::CServerResource(mName.c_str(), TARQ::CResourceValue(false), 0x80000000);
  TARQ::NodeAccess::MakeBranch(root, "system.vcam").AddChild(mSwitch, nullptr);
}

void Lamp::Restore() {
  TARQ::NodeAccess::Store(*mSwitch, TARQ::CResourceValue(false));
}

}  // namespace desk
