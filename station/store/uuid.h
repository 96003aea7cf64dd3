// Names of runs: UUIDs of version 7, whose order as texts is that of their making.
#pragma once

#include <string>

#include "station/store/types.h"

namespace station {

// A new one, "019aba3c-5f23-7a10-9c1b-0f6c3a8d2e41", for a run that begins now. Within one process
// each comes after all before, also within a millisecond and when the clock was put back. On any
// thread.
std::string NewRunId(Time now);

}  // namespace station
