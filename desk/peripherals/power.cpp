#include "peripherals/power.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum GpsRow : std::size_t { kConnected, kReady };
constexpr KnobRow kGpsRows[] = {
    {"connected", KnobKind::Bool, "", "true", 0, 0, "False: the receiver finds no connection.",
     Breaks({"false", "the GPS receiver finds no connection", "GPS receiver"})},
    {"ready", KnobKind::Number, "s", "0", 0, 1e6,
     "How long after its power came the receiver reports that it is connected.",
     Breaks({"5", "the GPS receiver takes too long", "GPS receiver", "the test asks at once"})},
};
constexpr KnobFamily kGps = {"GPS receiver", ".desk.gps", kGpsRows};

enum DisplayRow : std::size_t { kOut, kMagnet };
constexpr KnobRow kDisplayRows[] = {
    {"out", KnobKind::Bool, "", "true", 0, 0,
     "The display's position, as whoever holds the camera moves it.",
     Condition("where whoever holds the camera has put the display")},
    {"magnet", KnobKind::Bool, "", "true", 0, 0,
     "False: the position sensor does not see the display's magnet and reads true.",
     Breaks({"false", "the display's magnet is missing or out of place", "display"})},
};
constexpr KnobFamily kDisplay = {"Display position", ".desk.display", kDisplayRows};

// A knob that is written is a change, also when the node then says the same as before.
void TellOfKnobs(KnobSet& knobs, DeviceNode& node) {
  for (Knob& knob : knobs.All()) {
    knob.OnWrite([&node](const KnobValue& /*value*/) {
      node.DeviceChanged();
      return true;
    });
  }
}

}  // namespace

Gps::Gps(const Clock& clock) : Peripheral(kGps), mClock(clock) {}

void Gps::Publish(TARQ::CServerResource& root) {
  mState = new DeviceNode("gpsOK", TARQ::CResourceValue(false));
  mState->OnRead([this] { return TARQ::CResourceValue(IsReady()); });
  TellOfKnobs(mKnobs, *mState);
  mSupply = new DeviceNode("gpsPower", TARQ::CResourceValue(false));
  mSupply->OnWritten([this](const TARQ::CResourceValue& on) { Switch(on.GetBool()); });
  TARQ::NodeAccess::MakeBranch(root, "power.settings").AddChild(mSupply, nullptr);
  TARQ::NodeAccess::MakeBranch(root, "power.states").AddChild(mState, nullptr);
}

void Gps::Restore() {
  {
    const std::lock_guard lock(mLock);
    mPoweredAt = kNever;
  }
  TARQ::NodeAccess::Store(*mSupply, TARQ::CResourceValue(false));
}

bool Gps::IsReady() const {
  const double ready = mKnobs[kReady].Number();
  const std::lock_guard lock(mLock);
  return mKnobs[kConnected].Bool() && mPoweredAt != kNever &&
         ToSeconds(mClock.Now() - mPoweredAt) >= ready;
}

void Gps::Switch(bool on) {
  {
    const std::lock_guard lock(mLock);
    const bool wasOn = mPoweredAt != kNever;
    if (on == wasOn) return;
    mPoweredAt = on ? mClock.Now() : kNever;
  }
  mState->DeviceChanged();
}

Display::Display() : Peripheral(kDisplay) {}

void Display::Publish(TARQ::CServerResource& root) {
  mSensor = new DeviceNode("lcdOut", TARQ::CResourceValue(true));
  mSensor->OnRead(
      [this] { return TARQ::CResourceValue(mKnobs[kOut].Bool() || !mKnobs[kMagnet].Bool()); });
  TellOfKnobs(mKnobs, *mSensor);
  TARQ::NodeAccess::MakeBranch(root, "power.states").AddChild(mSensor, nullptr);
}

void Display::Move(bool out) {
  mKnobs[kOut].Write(out);
}

}  // namespace desk
