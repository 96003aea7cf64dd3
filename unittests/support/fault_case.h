// Failures that a test can report, each by knobs of the running camera: a table per area.
#pragma once

#include <gtest/gtest.h>

#include <sstream>

#include "client/measurements.h"
#include "support/test_camera.h"

namespace test {

struct FaultCase {
  FaultCase(const char* camera, const char* turned, const char* itemPath, Result result)
      : variant(camera), knobs(turned), item(itemPath), expected(std::move(result)) {}
  // The item below test.items; what it says as "E 0041 message", "OK message", "Tested message".
  FaultCase(const char* camera, const char* turned, const char* itemName, const std::string& says,
            const char* atStart = "")
      : variant(camera),
        knobs(turned),
        item(std::string("test.items.").append(itemName)),
        startKnobs(atStart) {
    const std::size_t blank = says.find(' ', says.starts_with("E ") ? 2 : 0);
    expected = {says.starts_with("E ") ? 1U : 0U, says.substr(0, blank), says.substr(blank + 1)};
    expected.value.resize(8, ' ');
  }

  const char* variant;
  const char* knobs;  // "path=value path=value"
  std::string item;
  Result expected;
  const char* startKnobs = "";  // "path=value;path=value": what a restore does not mend
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
  const std::string where = std::string(fault.knobs).append(" ").append(fault.startKnobs);
  TestCamera camera(fault.variant, fault.startKnobs);
  Turn(camera, fault.knobs);
  EXPECT_EQ(camera.Run(fault.item), fault.expected) << where;
  EXPECT_EQ(camera.Get(fault.item), fault.expected.value) << where;
  const auto className = camera.Tree(fault.item)["class"].get<std::string>();
  EXPECT_TRUE(IsExplained(className, fault.expected.value)) << className << where;
  // Every number that stands behind a sensor's name or in the gauge's message is a measurement.
  const std::string& message = fault.expected.message;
  std::size_t numbers = message.find("U=") == std::string::npos ? 0 : 3;
  for (const char* const sign : {" K, ", "diff"}) {
    for (std::size_t at = 0; (at = message.find(sign, at)) != std::string::npos; ++at) ++numbers;
  }
  EXPECT_EQ(client::MeasurementsOf(className, message).size(), numbers) << message;
  if (*fault.startKnobs != '\0') return;
  // With every knob back, the next run passes: nothing is left of the fault.
  camera.Set(".desk.restore", "true");
  const std::string value = camera.Run(fault.item).value;
  EXPECT_TRUE(value == "OK      " || value == "Tested  ") << where << value;
}

// Its variant, item and row.
inline std::string NameOfFault(const ::testing::TestParamInfo<FaultCase>& each) {
  std::string item = each.param.item.substr(std::string("test.items").size());
  std::replace(item.begin(), item.end(), '.', '_');
  return VariantWord(each.param.variant) + item + "_" + std::to_string(each.index);
}

}  // namespace test
