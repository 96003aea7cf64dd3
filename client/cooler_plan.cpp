#include "client/cooler_plan.h"

namespace client {

namespace {

constexpr int kStepSeconds = 10;
constexpr int kMostWarmingSteps = 24 * 3600 / kStepSeconds;
constexpr int kMostCoolingSteps = 3600 / kStepSeconds;
constexpr int kLogSteps = 6;
constexpr char kLogging[] = "tempLogging";

// The item, with the nodes beside it that command it and tell its state.
class Driver {
 public:
  Driver(CameraClient& camera, Attempt& attempt)
      : mCamera(camera),
        mAttempt(attempt),
        mGroup(attempt.path.substr(0, attempt.path.rfind('.'))) {}

  void Command(const char* command) { mCamera.Set(mGroup + ".command", command); }

  // The state after the step.
  std::string Step() {
    Judge(mCamera.Set(mAttempt.path, "run"), mAttempt);
    ++mSteps;
    Sample();
    return State();
  }
  unsigned Steps() const { return mSteps; }

  // From any state to one in which a cool-down begins.
  void Begin() { mCamera.Set(mGroup + ".state", "idle"); }

  bool IsActive() { return mCamera.Get(".system.cooler.active")["value"] == true; }

  void Pass(int seconds) {
    mCamera.Set(".desk.clock.advance", std::to_string(seconds));
    mSeconds += seconds;
  }

  std::string State() {
    const Json value = mCamera.Get(mGroup + ".state")["value"];
    return value.is_string() ? value.get<std::string>() : std::string();
  }

 private:
  void Sample() {
    constexpr double kKelvin = 0.01;  // what the node counts in
    try {
      const Json temperature = mCamera.Get(".system.cooler.temperature")["value"];
      if (temperature.is_number()) {
        mAttempt.curve.push_back({mSeconds, temperature.get<double>() * kKelvin});
      }
    } catch (const RefusedError&) {  // NOLINT(bugprone-empty-catch)
      // It tells no temperature: the test itself says so.
    }
  }

  CameraClient& mCamera;
  Attempt& mAttempt;
  double mSeconds = 0;
  const std::string mGroup;
  unsigned mSteps = 0;
};

// Steps while the state lasts, at most so often; the state afterwards.
std::string StepWhile(Driver& driver, const std::string& state, int most) {
  std::string now = state;
  for (int step = 0; step < most && now == state; ++step) {
    driver.Pass(kStepSeconds);
    now = driver.Step();
  }
  return now;
}

// The state at the end: logging, unless something went wrong.
std::string CoolDown(Driver& driver) {
  // Whatever an earlier run, or a reset of all results, left behind.
  if (driver.State() != "idle") driver.Begin();
  driver.Command("full");
  std::string state = driver.Step();
  if (state == "warmingUp") state = StepWhile(driver, state, kMostWarmingSteps);
  // A cooler that does not start will not cool down.
  if (state == "coolingDown" && driver.IsActive()) {
    state = StepWhile(driver, state, kMostCoolingSteps);
  }
  return state;
}

std::string Log(Driver& driver) {
  std::string state;
  for (int step = 0; step < kLogSteps; ++step) {
    driver.Pass(kStepSeconds);
    state = driver.Step();
  }
  return state;
}

}  // namespace

bool IsCooler(const std::string& className) {
  return className == "CResBitCooler";
}

unsigned RunCooler(CameraClient& camera, Attempt& attempt) {
  attempt.curve.clear();
  camera.Set(attempt.path, "Untested");
  Driver driver(camera, attempt);
  std::string state = CoolDown(driver);
  if (state == kLogging) state = Log(driver);
  if (state != kLogging) {
    driver.Begin();
    driver.Command("halt");
    driver.Step();
    attempt.passed = false;
    attempt.message = "The cooler test ended in the state \"" + state + "\"";
    return driver.Steps();
  }
  driver.Command("save");
  driver.Step();
  attempt.passed = attempt.passed && attempt.message != "Unknown error";
  return driver.Steps();
}

}  // namespace client
