// What the camera's power task serves: the GPS receiver's supply and state, the display's position.
#pragma once

#include <mutex>

#include "clock/clock.h"
#include "common_dll.h"
#include "knobs/knob.h"

namespace desk {

class DeviceNode;

class Power {
 public:
  explicit Power(const Clock& clock);
  // Adds the nodes to those that the variant lists. Each only where its hardware is.
  void PublishGps(TARQ::CResourceTree& camera);
  void PublishDisplay(TARQ::CResourceTree& camera);
  void Restore();

  KnobSet& GpsKnobs() { return mGpsKnobs; }
  KnobSet& DisplayKnobs() { return mDisplayKnobs; }
  // Whoever holds the camera moves its display.
  void MoveDisplay(bool out);

  static std::span<const KnobRow> GpsKnobRows();
  static std::span<const KnobRow> DisplayKnobRows();

 private:
  bool GpsIsReady() const;
  void SwitchGps(bool on);

  const Clock& mClock;
  KnobSet mGpsKnobs;
  KnobSet mDisplayKnobs;
  mutable std::mutex mLock;
  TimePoint mGpsPoweredAt = kNever;  // never: it has no power
  // The tree's; null where the variant has no such hardware.
  DeviceNode* mGpsSupply = nullptr;
  DeviceNode* mGpsState = nullptr;
  DeviceNode* mDisplaySensor = nullptr;
};

}  // namespace desk
