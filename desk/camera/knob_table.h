// What can be turned and broken on a camera: its knobs with their faults, and the table of all
// knobs that docs/desk-camera.md holds, made from the cameras themselves.
#pragma once

#include <string>
#include <vector>

#include "camera/camera.h"
#include "knobs/knob.h"

namespace desk {

// A fault as that camera has it: names filled in.
struct CameraFault {
  std::string value;  // written to the knob, it makes the fault
  std::string what;
  std::string part;  // the replaceable unit
  const Fault* row;
};

// Of one knob of the camera.
std::vector<CameraFault> FaultsOf(const Camera& camera, const KnobSet& set, const KnobRow& row);

std::string_view KindText(KnobKind kind);
bool HasDefault(KnobKind kind);

// Of all variants: the families as Markdown tables, in the order in which the cameras publish them.
std::string KnobTableMarkdown();

// The rows that neither name a fault nor a condition, though they are settings.
std::vector<std::string> KnobsWithoutRole();

}  // namespace desk
