// A whole run of each healthy camera, line by line: which nodes it has, in which order, of which
// class, what each test says and how long it takes. The tables are in healthy/; scripts/healthy
// writes them, and whoever changes one compares each line with what the camera has to do.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "camera/variant.h"
#include "support/test_camera.h"

namespace test {
namespace {

// Long or endless: their runs stand elsewhere.
bool IsLong(const std::string& className) {
  return className == "CResBitVDDR" || client::NeverEnds(className);
}

// The record from the item's description on: before it stand seven fields that are alike
// everywhere.
std::string Tail(const std::string& record) {
  std::size_t at = 0;
  for (int field = 0; field < 7; ++field) at = record.find(';', at) + 1;
  return record.substr(at);
}

std::string Line(TestCamera& camera, const Json& node) {
  const auto path = node["path"].get<std::string>();
  const auto className = node["class"].get<std::string>();
  std::ostringstream line;
  line << path << " | " << className << " | ";
  const bool isTest = path.starts_with("test.items.") && className != "TARQ::CServerResource";
  if (!isTest || IsLong(className)) {
    line << (node["value"].is_string() ? node["value"].get<std::string>() : node["value"].dump());
    return line.str();
  }
  const Json reply = camera.Write(path, "run");
  line << reply["elapsed_ms"].get<double>() / 1000 << " s";
  if (reply["records"].empty()) line << " | " << reply["value"].get<std::string>();
  for (const Json& record : reply["records"]) line << " | " << Tail(record.get<std::string>());
  return line.str();
}

void AddLines(TestCamera& camera, const Json& node, std::string& lines) {
  if (node["kind"] != "branch") lines.append(Line(camera, node)).append("\n");
  for (const Json& child : node["children"]) AddLines(camera, child, lines);
}

class HealthyTest : public ::testing::TestWithParam<std::string> {};

TEST_P(HealthyTest, WholeRun) {
  TestCamera camera(GetParam());
  std::string lines;
  AddLines(camera, camera.Tree("test"), lines);
  const auto file = std::string(TEST_HEALTHY_FOLDER).append("/").append(GetParam()).append(".txt");
  // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
  if (std::getenv("WRITE_HEALTHY") != nullptr) std::ofstream(file) << lines;
  std::ostringstream expected;
  expected << std::ifstream(file).rdbuf();
  EXPECT_EQ(lines, expected.str());
}

INSTANTIATE_TEST_SUITE_P(Variants, HealthyTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

}  // namespace
}  // namespace test
