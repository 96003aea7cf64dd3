#include "tests/device/compass_accel.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

struct DirectionSensor {
  const char* typeNode;
  Failure absent;
  Failure silent;
  const char* tested;  // with its type
};
constexpr DirectionSensor kCompass = {"system.direction.compass.type",
                                      {0x130, "No Compass available"},
                                      {0x132, "Compass not responding"},
                                      "Compass %s tested"};
constexpr DirectionSensor kAccel = {"system.direction.sensorAccel.type",
                                    {0x140, "No Accelerometer available"},
                                    {0x142, "Accelerometer not responding"},
                                    "Accelerometer %s tested"};

// A node that cannot be read counts as an empty one.
Finding AskType(const DirectionSensor& sensor) {
  const OpenedResource node(Tree::Camera, sensor.typeNode);
  if (!node) return sensor.absent;
  TARQ::CResourceValue type("", 0);
  node.ReadInto(type);
  const CText text = type.GetAsAscii(true);
  if (text.IsEmpty()) return sensor.silent;
  return {0, FormatText(sensor.tested, text.AsChar()), Passed::Tested};
}

}  // namespace

DWORD CResBitCompass::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(AskType(kCompass));
}

DWORD CResBitAccel::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  return SetResult(AskType(kAccel));
}

DWORD CreateCompassGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitCompass>("compass", "detect", "Compass");
}

DWORD CreateAccelGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitAccel>("accel", "detect", "Accel");
}
