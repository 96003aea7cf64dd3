#include "peripherals/power.h"

#include "peripherals/device_node.h"
#include "tarq/node_access.h"

namespace desk {

namespace {

enum GpsRow : std::size_t { kConnected, kReady };
constexpr KnobRow kGpsRows[] = {
    {"connected", KnobKind::Bool, "", "true", 0, 0, "False: the receiver finds no connection."},
    {"ready", KnobKind::Number, "s", "0", 0, 1e6,
     "How long after its power came the receiver reports that it is connected."},
};

enum DisplayRow : std::size_t { kOut, kMagnet };
constexpr KnobRow kDisplayRows[] = {
    {"out", KnobKind::Bool, "", "true", 0, 0,
     "The display's position, as whoever holds the camera moves it."},
    {"magnet", KnobKind::Bool, "", "true", 0, 0,
     "False: the position sensor does not see the display's magnet and reads true."},
};

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

std::span<const KnobRow> Gps::KnobRows() {
  return kGpsRows;
}

Gps::Gps(const Clock& clock) : Peripheral(".desk.gps", kGpsRows), mClock(clock) {}

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

std::span<const KnobRow> Display::KnobRows() {
  return kDisplayRows;
}

Display::Display() : Peripheral(".desk.display", kDisplayRows) {}

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
