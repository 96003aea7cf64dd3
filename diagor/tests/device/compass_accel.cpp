#include "tests/device/compass_accel.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

struct Finding {
  std::string message;
  DWORD code;  // 0: found
};

struct DirectionSensor {
  const char* typeNode;
  const char* absent;
  DWORD absentCode;
  const char* silent;
  DWORD silentCode;
};
constexpr DirectionSensor kCompass = {"system.direction.compass.type", "No Compass available",
                                      0x130, "Compass not responding", 0x132};
constexpr DirectionSensor kAccel = {"system.direction.sensorAccel.type",
                                    "No Accelerometer available", 0x140,
                                    "Accelerometer not responding", 0x142};

// The type text of a sensor that is there; a node that cannot be read counts as an empty one.
Finding FindType(const DirectionSensor& sensor) {
  const OpenedResource node(CameraTree(), sensor.typeNode);
  if (!node) return {sensor.absent, sensor.absentCode};
  TARQ::CResourceValue type("", 0);
  node.ReadInto(type);
  const CText text = type.GetAsAscii(true);
  if (text.IsEmpty()) return {sensor.silent, sensor.silentCode};
  return {text.AsChar(), 0};
}

}  // namespace

DWORD CResBitCompass::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const Finding finding = FindType(kCompass);
  if (finding.code != 0) return SetResultError(finding.message.c_str(), finding.code);
  return SetResultTested(FormatText("Compass %s tested", finding.message.c_str()).c_str());
}

DWORD CResBitAccel::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  const Finding finding = FindType(kAccel);
  if (finding.code != 0) return SetResultError(finding.message.c_str(), finding.code);
  return SetResultTested(FormatText("Accelerometer %s tested", finding.message.c_str()).c_str());
}

DWORD CreateCompassGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  GroupBuilder group("compass");
  if (group.Status() != 0) return group.Status();
  group.Add(new CResBitCompass("detect", "Compass"));
  return 0;
}

DWORD CreateAccelGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  GroupBuilder group("accel");
  if (group.Status() != 0) return group.Status();
  group.Add(new CResBitAccel("detect", "Accel"));
  return 0;
}
