#include "tests/device/compass_accel.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

struct DirectionSensor {
  const char* typeNode;
  Failure absent;
  Failure silent;
};
constexpr DirectionSensor kCompass = {"system.direction.compass.type",
                                      {0x130, "No Compass available"},
                                      {0x132, "Compass not responding"}};
constexpr DirectionSensor kAccel = {"system.direction.sensorAccel.type",
                                    {0x140, "No Accelerometer available"},
                                    {0x142, "Accelerometer not responding"}};

// The type text of a sensor that is there; a node that cannot be read counts as an empty one.
Finding FindType(const DirectionSensor& sensor) {
  const OpenedResource node(CameraTree(), sensor.typeNode);
  if (!node) return sensor.absent.Found();
  TARQ::CResourceValue type("", 0);
  node.ReadInto(type);
  const CText text = type.GetAsAscii(true);
  if (text.IsEmpty()) return sensor.silent.Found();
  return {0, text.AsChar()};
}

}  // namespace

DWORD CResBitCompass::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const Finding finding = FindType(kCompass);
  if (finding.code != 0) return SetResult(finding);
  return SetResultTested(FormatText("Compass %s tested", finding.message.c_str()).c_str());
}

DWORD CResBitAccel::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const Finding finding = FindType(kAccel);
  if (finding.code != 0) return SetResult(finding);
  return SetResultTested(FormatText("Accelerometer %s tested", finding.message.c_str()).c_str());
}

DWORD CreateCompassGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitCompass>("compass", "detect", "Compass");
}

DWORD CreateAccelGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitAccel>("accel", "detect", "Accel");
}
