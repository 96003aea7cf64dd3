#include "tests/device/gps.h"

#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

constexpr Failure kNotAvailable = {0xE0, "No GPS available"};
constexpr Failure kNotConnected = {0xE2, "GPS not connected"};

Finding ReadConnection() {
  const OpenedResource state(Tree::Camera, "power.states.gpsOK");
  if (!state) return kNotAvailable;
  TARQ::CResourceValue connected(false, 0);
  state.ReadInto(connected);
  if (!connected.GetBool()) return kNotConnected;
  return {0, "GPS tested", Passed::Tested};
}

// The receiver's power is on meanwhile, and afterwards as it was.
Finding AskReceiver() {
  if (!OpenedResource(Tree::Camera, "image.sysimg.gps")) return kNotAvailable;
  const OpenedResource power(Tree::Camera, "power.settings.gpsPower");
  if (!power) return kNotAvailable;
  // A supply that cannot be read is never switched: nobody could put it back.
  TARQ::CResourceValue wasOn(true, 0);
  power.ReadInto(wasOn);
  if (wasOn.GetBool()) return ReadConnection();
  power.Write(TARQ::CResourceValue(true, 0));
  Finding finding = ReadConnection();
  power.Write(TARQ::CResourceValue(false, 0));
  return finding;
}

}  // namespace

DWORD CResBitGps::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(AskReceiver());
}

DWORD CreateGpsGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitGps>("gps", "detect", "Gps");
}
