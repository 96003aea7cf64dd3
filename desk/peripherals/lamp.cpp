#include "peripherals/lamp.h"

#include "tarq/node_access.h"

namespace desk {

namespace {

enum Row : std::size_t { kWorks, kLit };
constexpr KnobRow kRows[] = {
    {"works", KnobKind::Bool, "", "true", 0, 0,
     "False: the lamp stays dark. No test sees it; whoever stands at the camera does.",
     Breaks({"false", "the {device} stays dark", "lamps", "", false,
             "no test looks at the lamps; whoever stands at the camera sees them"})},
    {"lit", KnobKind::ReadOnly, "", "", 0, 0, "Whether the lamp is lit now: true or false."},
};
constexpr KnobFamily kFamily = {"Lamps", ".desk.<torch, flash>", kRows};

}  // namespace

Lamp::Lamp(std::string name)
    : Peripheral(".desk." + name, kFamily, "lamps"), mName(std::move(name)) {
  mKnobs[kLit].OnRead([this] {
    const bool on = mSwitch != nullptr && TARQ::NodeAccess::Stored(*mSwitch).GetBool();
    return KnobValue(std::string(on && mKnobs[kWorks].Bool() ? "true" : "false"));
  });
}

void Lamp::Publish(TARQ::CServerResource& root) {
  mSwitch = new TARQ::CServerResource(mName.c_str(), TARQ::CResourceValue(false), TARQ::kPlainNode);
  TARQ::NodeAccess::MakeBranch(root, "system.vcam").AddChild(mSwitch, nullptr);
}

void Lamp::Restore() {
  TARQ::NodeAccess::Store(*mSwitch, TARQ::CResourceValue(false));
}

}  // namespace desk
