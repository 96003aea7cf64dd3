// Attempts as a person or a program reads them.
#pragma once

#include <ostream>
#include <vector>

#include "client/run_plan.h"

namespace client {

// One row an attempt: every one is shown, a later pass hides no earlier failure. colour: for a
// terminal.
void WriteTable(std::ostream& out, const std::vector<Attempt>& attempts, bool colour);
void WriteJson(std::ostream& out, const std::vector<Attempt>& attempts);

std::size_t CountFailed(const std::vector<Attempt>& attempts);

}  // namespace client
