#include "tasks/power.h"

#include "tarq/node_access.h"
#include "tasks/device_node.h"

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

}  // namespace

std::span<const KnobRow> Power::GpsKnobRows() {
  return kGpsRows;
}
std::span<const KnobRow> Power::DisplayKnobRows() {
  return kDisplayRows;
}

Power::Power(const Clock& clock)
    : mClock(clock),
      mGpsKnobs(".desk.gps", kGpsRows),
      mDisplayKnobs(".desk.display", kDisplayRows) {}

void Power::Restore() {
  {
    const std::lock_guard lock(mLock);
    mGpsPoweredAt = kNever;
  }
  if (mGpsSupply != nullptr) {
    TARQ::NodeAccess::Store(*mGpsSupply, TARQ::CResourceValue(false));
    mGpsState->DeviceChanged();
  }
}

bool Power::GpsIsReady() const {
  const double ready = mGpsKnobs[kReady].Number();
  const std::lock_guard lock(mLock);
  return mGpsKnobs[kConnected].Bool() && mGpsPoweredAt != kNever &&
         std::chrono::duration<double>(mClock.Now() - mGpsPoweredAt).count() >= ready;
}

void Power::PublishGps(TARQ::CResourceTree& camera) {
  auto& root = TARQ::NodeAccess::Root(camera);
  mGpsState = new DeviceNode("gpsOK", TARQ::CResourceValue(false));
  mGpsState->OnRead([this] { return TARQ::CResourceValue(GpsIsReady()); });
  for (Knob& knob : mGpsKnobs.All()) {
    knob.OnWrite([this](const KnobValue& /*value*/) {
      mGpsState->DeviceChanged();
      return true;
    });
  }
  mGpsSupply = new DeviceNode("gpsPower", TARQ::CResourceValue(false));
  mGpsSupply->OnWritten([this](const TARQ::CResourceValue& on) { SwitchGps(on.GetBool()); });
  TARQ::NodeAccess::MakeBranch(root, "power.settings").AddChild(mGpsSupply, nullptr);
  TARQ::NodeAccess::MakeBranch(root, "power.states").AddChild(mGpsState, nullptr);
}

void Power::SwitchGps(bool on) {
  {
    const std::lock_guard lock(mLock);
    const bool wasOn = mGpsPoweredAt != kNever;
    if (on == wasOn) return;
    mGpsPoweredAt = on ? mClock.Now() : kNever;
  }
  mGpsState->DeviceChanged();
}

void Power::PublishDisplay(TARQ::CResourceTree& camera) {
  mDisplaySensor = new DeviceNode("lcdOut", TARQ::CResourceValue(true));
  mDisplaySensor->OnRead([this] {
    return TARQ::CResourceValue(mDisplayKnobs[kOut].Bool() || !mDisplayKnobs[kMagnet].Bool());
  });
  for (Knob& knob : mDisplayKnobs.All()) {
    knob.OnWrite([this](const KnobValue& /*value*/) {
      mDisplaySensor->DeviceChanged();
      return true;
    });
  }
  TARQ::NodeAccess::MakeBranch(TARQ::NodeAccess::Root(camera), "power.states")
      .AddChild(mDisplaySensor, nullptr);
}

void Power::MoveDisplay(bool out) {
  mDisplayKnobs[kOut].Write(out);
}

}  // namespace desk
