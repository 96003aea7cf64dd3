// Knobs as nodes of the camera-wide tree.
#pragma once

#include "common_dll.h"
#include "knobs/knob.h"

namespace desk {

// Publishes every knob of the set below its prefix.
void PublishKnobs(TARQ::CResourceTree& camera, KnobSet& knobs);

// Whether a write to that node stores a value and no more: it is done at once, and waits for
// nothing. What acts (a command, a trigger, a node with a device behind it) may take its time.
bool IsSetting(const TARQ::CServerResource& node);

}  // namespace desk
