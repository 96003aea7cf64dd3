#include "client/run_plan.h"

#include <fnmatch.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "client/cooler_plan.h"

namespace client {

namespace {

constexpr char kItems[] = "test.items";

void Collect(const Json& node, std::vector<TestItem>& items) {
  if (node["kind"] == "test") {
    const Json& value = node["value"];
    items.push_back({node["path"].get<std::string>(), node["class"].get<std::string>(),
                     value.is_string() ? value.get<std::string>() : value.dump()});
  }
  for (const Json& child : node["children"]) Collect(child, items);
}

bool Matches(const TestItem& item, const std::string& glob) {
  const std::string path = FullPath(glob);
  return fnmatch(path.c_str(), item.path.c_str(), 0) == 0 || item.path.starts_with(path + ".");
}

std::string Text(CameraClient& camera, const char* path) {
  const Json value = camera.Get(path)["value"];
  return value.is_string() ? value.get<std::string>() : std::string();
}

double CameraSeconds(CameraClient& camera) {
  return std::strtod(Text(camera, ".desk.clock.now").c_str(), nullptr);
}

// Reports an attempt's stages: an item that goes through several shows them in the node "state"
// beside it.
class StageWatch {
 public:
  StageWatch(CameraClient& camera, const Progress& progress)
      : mCamera(camera), mProgress(progress) {
    try {
      mCamera.Subscribe([this](const Event& event) { OnEvent(event); });
    } catch (const RefusedError&) {
      // Others take all the streams there are: the run goes on, without stages.
      mIsSubscribed = false;
    }
  }

  ~StageWatch() { mCamera.Unsubscribe(); }
  StageWatch(const StageWatch&) = delete;
  StageWatch& operator=(const StageWatch&) = delete;

  void Begin(const Attempt& attempt) {
    mAttempt = &attempt;
    mStateNode = attempt.path.substr(0, attempt.path.rfind('.')) + ".state";
    mEnded = 0;
  }
  // After the replies to that many writes of the attempt: their events come on another connection.
  void AwaitEnd(unsigned writes) {
    constexpr std::chrono::seconds kPatience{5};
    try {
      if (mIsSubscribed) mCamera.AwaitEvents([&] { return mEnded >= writes; }, kPatience);
    } catch (const ConnectionError&) {
      mIsSubscribed = false;
    }
  }
  void End() { mAttempt = nullptr; }

 private:
  void OnEvent(const Event& event) {
    if (mAttempt == nullptr || !event.fields.is_object()) return;
    const Json& path = event.fields.value("path", Json(""));
    if (event.kind == "test-ended" && path == mAttempt->path) ++mEnded;
    const Json& value = event.fields.value("value", Json());
    if (event.kind != "value" || path != mStateNode || !value.is_string()) return;
    Attempt stage = *mAttempt;
    stage.message = value.get<std::string>();
    mProgress(stage, Phase::GoesOn);
  }

  CameraClient& mCamera;
  const Progress& mProgress;
  const Attempt* mAttempt = nullptr;
  std::string mStateNode;
  unsigned mEnded = 0;
  bool mIsSubscribed = true;
};

}  // namespace

std::vector<TestItem> TestItems(const Json& node) {
  std::vector<TestItem> items;
  Collect(node, items);
  return items;
}

std::vector<TestItem> TestItems(CameraClient& camera) {
  constexpr int kAllLevels = 32;
  return TestItems(camera.Get(kItems, kAllLevels));
}

std::string FullPath(const std::string& path) {
  const bool isShort = path == "items" || path.starts_with("items.");
  return isShort ? "test." + path : path;
}

std::vector<TestItem> Select(const std::vector<TestItem>& items,
                             const std::vector<std::string>& globs) {
  if (globs.empty()) return items;
  std::vector<TestItem> selected;
  std::copy_if(
      items.begin(), items.end(), std::back_inserter(selected), [&globs](const TestItem& item) {
        return std::any_of(globs.begin(), globs.end(),
                           [&item](const std::string& glob) { return Matches(item, glob); });
      });
  return selected;
}

bool NeverEnds(const std::string& className) {
  return className == "CResBitLoopVDDR";
}

std::vector<TestItem> SelectForRun(const std::vector<TestItem>& items,
                                   const std::vector<std::string>& globs) {
  std::vector<TestItem> selected = Select(items, globs);
  std::erase_if(selected, [&globs](const TestItem& item) {
    return NeverEnds(item.className) &&
           std::none_of(globs.begin(), globs.end(),
                        [&item](const std::string& glob) { return FullPath(glob) == item.path; });
  });
  return selected;
}

std::string MessageOf(const std::string& record, const std::string& value) {
  const std::string field = ";" + value + ";";
  const std::size_t line = record.find(field);
  if (line != std::string::npos) return record.substr(line + field.size());
  const std::string data = "data=\"";
  const std::string end = "\" datatype=";
  const std::size_t from = record.find(data);
  const std::size_t to = record.rfind(end);
  if (from != std::string::npos && to != std::string::npos && from < to) {
    const std::string entry = record.substr(from + data.size(), to - from - data.size());
    return entry.substr(std::min(entry.find(':') + 1, entry.size()));
  }
  // An item may hold another result than its record: the message is the line's tenth field.
  constexpr int kFieldsBefore = 9;
  std::size_t start = 0;
  for (int i = 0; i < kFieldsBefore; ++i) {
    start = record.find(';', start);
    if (start == std::string::npos) return {};
    ++start;
  }
  return record.substr(start);
}

std::string ResultText(const Attempt& attempt) {
  const std::size_t end = attempt.value.find_last_not_of(' ');
  std::string text = attempt.value.substr(0, end + 1);
  if (attempt.passed || text.starts_with("E ")) return text;
  char status[16] = {};
  std::snprintf(status, sizeof status, "0x%X", static_cast<unsigned>(attempt.status));
  return std::string("no result, status ").append(status);
}

void Judge(const Json& reply, Attempt& attempt) {
  attempt.status = reply["status"].get<std::uint32_t>();
  const Json& value = reply["value"];
  attempt.value = value.is_string() ? value.get<std::string>() : value.dump();
  attempt.records = reply["records"].get<std::vector<std::string>>();
  attempt.message.clear();
  if (!attempt.records.empty()) attempt.message = MessageOf(attempt.records.back(), attempt.value);
  if (reply.contains("trace")) {
    attempt.trace = {{"steps", reply["trace"]}, {"left_out", reply.value("trace_left_out", 0)}};
  }
  attempt.passed =
      attempt.status == 0 && (attempt.value == "OK      " || attempt.value == "Tested  ");
}

unsigned RunTest(CameraClient& camera, const TestItem& item, Traced traced, Attempt& attempt) {
  if (IsCooler(item.className)) {
    const double start = CameraSeconds(camera);
    const unsigned writes = RunCooler(camera, attempt);
    attempt.seconds = CameraSeconds(camera) - start;
    return writes;
  }
  const Json reply = camera.Set(item.path, "run", traced);
  Judge(reply, attempt);
  constexpr double kMillisecond = 0.001;
  attempt.seconds = reply.value("elapsed_ms", 0.0) * kMillisecond;
  return 1;
}

namespace {

// hasResult: its test has ended, whatever comes after.
void RunItem(CameraClient& camera, const TestItem& item, StageWatch& watch, Attempt& attempt,
             bool& hasResult) {
  attempt.started = Text(camera, ".desk.clock.local");
  try {
    const unsigned writes = RunTest(camera, item, Traced::No, attempt);
    hasResult = true;
    watch.AwaitEnd(writes);
  } catch (const RefusedError& error) {
    attempt.problem = error.what();
  }
}

}  // namespace

void Run(CameraClient& camera, const std::vector<TestItem>& items, const RunOptions& options,
         std::vector<Attempt>& attempts, const Progress& progress) {
  StageWatch watch(camera, progress);
  for (unsigned round = 1; round <= options.rounds; ++round) {
    bool failed = false;
    for (const TestItem& item : items) {
      Attempt attempt;
      attempt.path = item.path;
      attempt.className = item.className;
      attempt.round = round;
      progress(attempt, Phase::Begins);
      watch.Begin(attempt);
      std::exception_ptr end;
      bool hasResult = false;
      const auto endWith = [&](const std::exception& error) {
        if (!hasResult) attempt.problem = error.what();
        end = std::current_exception();
      };
      try {
        RunItem(camera, item, watch, attempt, hasResult);
      } catch (const InterruptedError& error) {
        endWith(error);
      } catch (const ConnectionError& error) {
        endWith(error);
      }
      watch.End();
      if (!attempt.problem.empty()) {
        attempt.message = attempt.problem;
        attempt.passed = false;
      }
      failed = failed || !attempt.passed;
      attempts.push_back(attempt);
      progress(attempt, Phase::Ends);
      if (end) std::rethrow_exception(end);
    }
    if (failed && options.untilFail) return;
  }
}

}  // namespace client
