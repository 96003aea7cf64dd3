// The calls of a test.
#pragma once

#include "support/test_camera.h"

namespace test {

// In one line, "ms step; ms step", but for its record's.
inline std::string Steps(const Json& reply) {
  std::string steps;
  for (const std::string& step : TraceLines(reply)) {
    if (step.find(" file /FlashFS/tmp/bitlog.txt") != std::string::npos) continue;
    steps.append(steps.empty() ? "" : "; ").append(step);
  }
  return steps;
}

}  // namespace test
