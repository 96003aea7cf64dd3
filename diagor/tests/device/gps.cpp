#include "tests/device/gps.h"

#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

constexpr DWORD kNotAvailable = 0xE0;
constexpr DWORD kNotConnected = 0xE2;

bool HasReceiver() {
  const OpenedResource receiver(CameraTree(), "image.sysimg.gps");
  return static_cast<bool>(receiver);
}

// 0 for a receiver that is connected. Its power is on meanwhile, and afterwards as it was.
DWORD ReadConnection() {
  const OpenedResource power(CameraTree(), "power.settings.gpsPower");
  if (!power) return kNotAvailable;
  // A supply that cannot be read is never switched: nobody could put it back.
  TARQ::CResourceValue wasOn(true, 0);
  power.ReadInto(wasOn);
  const bool switches = !wasOn.GetBool();
  if (switches) power.Write(TARQ::CResourceValue(true, 0));

  DWORD code = kNotAvailable;
  {
    const OpenedResource state(CameraTree(), "power.states.gpsOK");
    if (state) {
      TARQ::CResourceValue connected(false, 0);
      state.ReadInto(connected);
      code = connected.GetBool() ? 0 : kNotConnected;
    }
  }
  if (switches) power.Write(TARQ::CResourceValue(false, 0));
  return code;
}

}  // namespace

DWORD CResBitGps::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const DWORD code = HasReceiver() ? ReadConnection() : kNotAvailable;
  if (code == kNotAvailable) return SetResultError("No GPS available", code);
  if (code == kNotConnected) return SetResultError("GPS not connected", code);
  return SetResultTested("GPS tested");
}

DWORD CreateGpsGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitGps>("gps", "detect", "Gps");
}
