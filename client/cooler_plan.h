// The cooler's test, which a client drives: warm up, cool down, log the temperature, save.
#pragma once

#include <string>

#include "client/run_plan.h"

namespace client {

bool IsCooler(const std::string& className);

// The whole of it, step by step; between the steps the camera's time passes. Hours of it, most of
// them for the detector to become warm. It fails, with the cooler told to run again, when the
// detector does not become warm within a day or cold within an hour, when the cooler stops, or when
// the results could not be saved. An interruption leaves the test where it is, perhaps with the
// cooler off: the next run begins anew.
// Returns how many steps it made.
unsigned RunCooler(CameraClient& camera, Attempt& attempt);

}  // namespace client
