// A camera with the program on it, in this process, on the virtual clock.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "camera/camera.h"
#include "client/dictionary.h"
#include "client/run_plan.h"

namespace test {

using Json = nlohmann::ordered_json;

// What a client hears of a test: the write's status, the stored value, the message of its last
// record.
struct Result {
  DWORD status = 0;
  std::string value;
  std::string message;
  bool operator==(const Result&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Result& result);

// A variant's name where only letters and digits may stand.
inline std::string VariantWord(std::string variant) {
  std::erase(variant, '-');
  return variant;
}
inline constexpr auto NameOfVariant = [](const auto& each) { return VariantWord(each.param); };

// A folder of this test's own, removed with it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::filesystem::path& Path() const { return mPath; }

 private:
  std::filesystem::path mPath;
};

// The camera alone: its trees are there, no program fills them.
class BareCamera {
 public:
  explicit BareCamera(const std::string& variant = "KY", const std::string& knobs = "");

  desk::Camera& Camera() { return *mCamera; }
  // A camera-wide node; the write must be taken.
  void Set(const std::string& path, const std::string& value);
  // A node of the program's tree, or with a leading dot a camera-wide one, read as a client reads.
  std::string Get(const std::string& path);
  // A client's write to the program's tree, as JSON: status, value, records, elapsed_ms, trace.
  Json Write(const std::string& path, const Json& value) { return Ask(path, value).get(); }
  Result Run(const std::string& path, const Json& value = "run");
  // Runs of several items that are asked for at the same moment, each as Write answers.
  std::vector<Json> RunTogether(const std::vector<std::string>& paths);
  // A node with all below it, as a client sees it.
  Json Tree(const std::string& path);
  // Every test item, in tree order.
  std::vector<client::TestItem> Items() { return client::TestItems(Tree("test.items")); }

  std::filesystem::path File(const std::string& cameraPath) const;
  std::string Contents(const std::string& cameraPath) const;
  void MakeFile(const std::string& cameraPath, const std::string& contents = "");
  std::vector<std::string> LogLines() const;  // of bitlog.txt

 private:
  // The reply will come; null for a node that is not there, or busy.
  std::future<Json> Ask(const std::string& path, const Json& value);

 protected:
  TemporaryFolder mFolder;
  std::unique_ptr<desk::Camera> mCamera;
};

// The program runs on it, from construction to destruction.
class TestCamera : public BareCamera {
 public:
  // Before the program starts: knobs are set, prepare is done to the camera.
  using Prepare = std::function<void(BareCamera& camera)>;
  explicit TestCamera(const std::string& variant, const std::string& knobs = "",
                      const Prepare& prepare = Prepare());
  // files: empty ones that are there before the program starts.
  TestCamera(const std::string& variant, const std::string& knobs,
             const std::vector<std::string>& files);
  ~TestCamera() { Stop(); }
  TestCamera(const TestCamera&) = delete;
  TestCamera& operator=(const TestCamera&) = delete;

  // False: the program's start failed; ExitCode then says with what.
  bool Started() const { return mStarted; }
  int ExitCode() const { return mExitCode; }
  // Ends the program as SIGTERM does.
  void Stop();

 private:
  bool mStarted = false;
  int mExitCode = -1;
  std::thread mProgram;
};

// One step of a trace in a line: "0 i2c I2C1: e6 00 00 true".
std::vector<std::string> TraceLines(const Json& reply);

// Whoever is told a failure can look up what it means; one of nothing stored, too.
inline bool IsExplained(const std::string& className, const std::string& value) {
  const client::TestGuide* const guide = client::GuideOf(className);
  if (guide == nullptr) return false;
  if (value == "OK      " || value == "Tested  ") return true;
  return guide->Find(value.starts_with("E ") ? value.substr(0, 6) : "no result") != nullptr;
}

}  // namespace test
