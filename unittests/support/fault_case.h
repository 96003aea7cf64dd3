// Failures that a test can report, each by knobs of the running camera: a table per area.
#pragma once

#include <gtest/gtest.h>

#include <sstream>

#include "support/test_camera.h"

namespace test {

struct FaultCase {
  FaultCase(const char* caseName, const char* camera, const char* turned, const char* itemPath,
            Result result, const char* atStart = "")
      : name(caseName),
        variant(camera),
        knobs(turned),
        item(itemPath),
        expected(std::move(result)),
        startKnobs(atStart) {}
  // The item below test.items; a failure's status follows from its value.
  FaultCase(const char* caseName, const char* camera, const char* turned, const char* itemName,
            const char* value, const char* message, const char* atStart = "")
      : FaultCase(caseName, camera, turned, itemName,
                  Result{std::string_view(value).starts_with("E ") ? 1U : 0U, value, message},
                  atStart) {
    item = std::string("test.items.").append(itemName);
  }

  const char* name;
  const char* variant;
  const char* knobs;  // "path=value path=value"
  std::string item;
  Result expected;
  const char* startKnobs;  // "path=value;path=value": what a restore does not mend
};

inline void Turn(BareCamera& camera, const std::string& knobs) {
  std::istringstream writes(knobs);
  for (std::string write; writes >> write;) {
    const std::size_t equals = write.find('=');
    camera.Set(write.substr(0, equals), write.substr(equals + 1));
  }
}

class FaultTest : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FaultTest, ReportsAsTheTechnicianExpects) {
  const FaultCase& fault = GetParam();
  TestCamera camera(fault.variant, fault.startKnobs);
  Turn(camera, fault.knobs);
  EXPECT_EQ(camera.Run(fault.item), fault.expected);
  EXPECT_EQ(camera.Get(fault.item), fault.expected.value);
  if (*fault.startKnobs != '\0') return;
  // With every knob back, the next run passes: nothing is left of the fault.
  camera.Set(".desk.restore", "true");
  const std::string value = camera.Run(fault.item).value;
  EXPECT_TRUE(value == "OK      " || value == "Tested  ") << value;
}

inline std::string NameOfFault(const ::testing::TestParamInfo<FaultCase>& each) {
  return each.param.name;
}

}  // namespace test
