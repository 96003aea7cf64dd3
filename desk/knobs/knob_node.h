// Knobs as nodes of the camera-wide tree.
#pragma once

#include "common_dll.h"
#include "knobs/knob.h"

namespace desk {

// Publishes every knob of the set below its prefix.
void PublishKnobs(TARQ::CResourceTree& camera, KnobSet& knobs);

}  // namespace desk
