// run and resume: cameras through plans, each on a thread of its own.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <system_error>
#include <thread>

#include "client/dictionary.h"
#include "client/results.h"
#include "diagor-station/command.h"
#include "station/report/writers.h"
#include "station/runner/run.h"
#include "station/store/text.h"
#include "terminal/output.h"

namespace station_tool {

namespace {

using station::CameraAddress;
using station::RunNews;
using station::RunRecord;

// What a signal asks of every run of the process.
station::RunControl gControl;
std::atomic<int> gSignal{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void EndOnSignals() {
  std::signal(SIGINT, [](int signal) {
    // A person may not want to wait for the test under way.
    constexpr char kSaid[] = "Ends after the test under way; Ctrl-C again: at once.\n";
    if (gControl.aborts.exchange(true)) {
      gControl.interrupts = true;
    } else if (write(STDERR_FILENO, kSaid, sizeof kSaid - 1) < 0) {
      // Whoever reads has gone.
    }
    gSignal = signal;
  });
  const auto end = [](int signal) {
    gControl.interrupts = true;
    gSignal = signal;
  };
  std::signal(SIGTERM, end);
  // Who started it to outlive the terminal has it ignored.
  if (std::signal(SIGHUP, end) == SIG_IGN) std::signal(SIGHUP, SIG_IGN);
}

std::string Lasting(std::chrono::milliseconds length) {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(length).count();
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 3600;
  std::ostringstream text;
  if (seconds >= kHour) {
    text << seconds / kHour << " h " << seconds % kHour / kMinute << " min";
  } else if (seconds >= kMinute) {
    text << seconds / kMinute << " min " << seconds % kMinute << " s";
  } else {
    text << seconds << " s";
  }
  return text.str();
}

// A line for each thing that happens, from all cameras.
class Progress {
 public:
  explicit Progress(bool isQuiet) : mIsQuiet(isQuiet) {}

  void operator()(const RunNews& news) {
    if (mIsQuiet && news.kind != RunNews::Kind::Warns) return;
    std::ostringstream line;
    line << ShownAsError(news.run->cameraName) << ": ";
    switch (news.kind) {
      case RunNews::Kind::Begins:
        line << "run " << news.run->id << ", " << news.left << " tests to make";
        break;
      case RunNews::Kind::AttemptBegins:
        line << "[" << news.done + 1 << "/" << news.done + news.left << "] "
             << ShownAsError(news.attempt->item) << " ...";
        if (news.timeLeft) line << " (" << Lasting(*news.timeLeft) << " left)";
        break;
      case RunNews::Kind::Waits:
        line << "waits: " << ShownAsError(news.text);
        break;
      case RunNews::Kind::AttemptEnds:
        // What passed needs no second line.
        if (news.end->passed) return;
        line << ShownAsError(news.attempt->item) << " "
             << ShownAsError(news.end->problem.empty() ? news.end->code : news.end->problem) << " "
             << ShownAsError(news.end->message);
        break;
      case RunNews::Kind::Warns:
        line << "warning: " << ShownAsError(news.text);
        break;
      case RunNews::Kind::Ends:
        line << station::OutcomeText(news.run->outcome);
        break;
    }
    line << "\n";
    const std::lock_guard lock(mLock);
    std::cerr << line.str() << std::flush;
  }

 private:
  const bool mIsQuiet;
  std::mutex mLock;
};

// What came of one camera: a run, or why there is none.
struct Result {
  std::optional<RunRecord> run;
  std::string problem;
  int code = kNothingFailed;
};

// The one of that serial; where there is only one camera, that one, whose serial is looked at when
// its run begins. ConnectionError: it may be one of those that do not answer. RunRefused: none of
// them.
CameraAddress CameraOfSerial(const std::vector<CameraAddress>& cameras, const std::string& serial) {
  if (cameras.size() == 1) return cameras.front();
  std::string others;
  bool isOneAway = false;
  for (const CameraAddress& address : cameras) {
    std::string said;
    try {
      client::CameraClient camera(address.host, address.port, [] { return gSignal != 0; });
      said = station::IdentityOf(camera).serial;
    } catch (const client::ConnectionError& error) {
      said = error.what();
      isOneAway = true;
    }
    if (said == serial) return address;
    others.append(others.empty() ? "" : ", ").append(address.Text()).append(": ").append(said);
  }
  if (isOneAway) throw client::ConnectionError(others);
  throw station::RunRefused("no camera has the serial " + serial + " (" + others + ")");
}

// The camera is looked for among those, by its serial where there is one, and act(address) makes
// the run there. What goes wrong is this run's alone.
template <typename Act>
Result ResultOf(const std::vector<CameraAddress>& cameras, const std::string& serial,
                const Act& act) {
  Result result;
  const auto fail = [&](int code, const std::string& text) {
    result.code = code;
    result.problem = text;
  };
  std::string camera = serial.empty() ? "camera" : "camera with the serial " + serial;
  try {
    const CameraAddress address = CameraOfSerial(cameras, serial);
    camera = "camera at " + address.Text();
    result.run = act(address);
  } catch (const client::ConnectionError& error) {
    fail(kNoConnection, "no " + camera + ": " + error.what());
  } catch (const client::InterruptedError&) {
    fail(kRefused, camera + ": interrupted before its run began");
  } catch (const client::RefusedError& error) {
    fail(kRefused, camera + ": " + error.what());
  } catch (const station::RunRefused& error) {
    fail(kRefused, error.what());
  } catch (const std::exception& error) {
    fail(kUsage, error.what());
  }
  return result;
}

CameraAddress CameraOf(const station::StationConfig& config, const std::string& text) {
  for (const CameraAddress& each : config.cameras) {
    if (each.name == text) return each;
  }
  try {
    return station::AddressOf(text);
  } catch (const std::runtime_error& error) {
    throw UsageError(error.what());
  }
}

std::vector<CameraAddress> CamerasOf(const station::StationConfig& config,
                                     const std::vector<std::string>& texts) {
  if (texts.empty()) return config.cameras;
  std::vector<CameraAddress> cameras;
  for (const std::string& text : texts) {
    const CameraAddress camera = CameraOf(config, text);
    const bool isThere = std::any_of(
        cameras.begin(), cameras.end(),
        [&camera](const CameraAddress& other) { return other.Text() == camera.Text(); });
    if (!isThere) cameras.push_back(camera);
  }
  return cameras;
}

// Of each test of each round the latest result: a failure that a retry made good is none.
bool EndsWithFailure(const std::vector<station::AttemptRecord>& attempts) {
  std::map<std::pair<std::int64_t, std::string>, bool> failed;
  for (const auto& attempt : attempts) {
    if (!attempt.isEnded || !attempt.problem.empty()) continue;
    failed[{attempt.round, attempt.item}] = station::HasFailed(attempt);
  }
  return std::any_of(failed.begin(), failed.end(), [](const auto& each) { return each.second; });
}

// Verdict, failures with their likeliest cause, and what to do next.
void Print(const RunRecord& run, const std::vector<station::AttemptRecord>& attempts) {
  const auto passed = std::count_if(attempts.begin(), attempts.end(),
                                    [](const auto& attempt) { return attempt.passed; });
  const auto failed = std::count_if(attempts.begin(), attempts.end(), station::HasFailed);
  std::cout << run.id << "  " << Shown(run.cameraName) << "  " << Shown(run.serial) << "  "
            << station::OutcomeText(run.outcome) << ", " << passed << " passed, " << failed
            << " failed\n";
  if (!run.reason.empty()) std::cout << "    " << Shown(run.reason) << "\n";
  for (const auto& attempt : attempts) {
    if (!station::HasFailed(attempt)) continue;
    std::cout << "    " << Shown(attempt.item) << "  " << Shown(attempt.code) << "  "
              << Shown(attempt.message) << "\n";
    const auto causes =
        client::CausesOf(attempt.item, attempt.className, attempt.code, run.variant);
    if (!causes.empty()) {
      std::cout << "        likely: " << causes.front().what << " [" << causes.front().part
                << "]\n";
    }
  }
}

int Finish(Station& station, const Options& options, const std::vector<Result>& results) {
  client::Json json = client::Json::array();
  std::vector<int> codes;
  bool canResume = false;
  for (const Result& result : results) {
    if (!result.run) {
      Complain(result.problem);
      codes.push_back(result.code);
      continue;
    }
    const RunRecord& run = *result.run;
    json.push_back(station::SummaryOf(run));
    const bool isIncomplete = run.outcome == station::Outcome::Incomplete;
    canResume = canResume || isIncomplete;
    if (run.outcome == station::Outcome::Failed) codes.push_back(kTestFailed);
    try {
      const auto attempts = station.store->Attempts(run.id);
      if (!options.json) Print(run, attempts);
      if (isIncomplete) codes.push_back(EndsWithFailure(attempts) ? kTestFailed : kRefused);
      WriteAudit(station, run.operatorName.empty() ? WhoActs(options) : run.operatorName,
                 "run " + run.id + " ended: " + std::string(station::OutcomeText(run.outcome)));
    } catch (const station::StoreError& error) {
      // The other runs' verdicts are still to be told.
      Complain("run " + run.id + ": " + error.what());
      codes.push_back(kUsage);
    }
  }
  if (options.json) {
    PrintJson(json);
  } else if (canResume) {
    std::cout << "diagor-station resume RUN goes on with an incomplete run.\n";
  }
  if (gSignal != 0) return kSignal + gSignal;
  // What needs somebody's hand first.
  for (const int code : {kUsage, kNoConnection, kTestFailed, kRefused}) {
    if (std::count(codes.begin(), codes.end(), code) > 0) return code;
  }
  return kNothingFailed;
}

station::StationIdentity IdentityOfStation(const Station& station) {
  station::StationIdentity identity;
  identity.name = station.config.name;
  identity.folder = station.config.data;
  identity.version = DIAGOR_STATION_VERSION;
  identity.cameraPatience = station.config.waitForCamera;
  return identity;
}

// act(index): what is done with each, all at once; those begin that the machine has threads for.
template <typename Act>
std::vector<Result> AllAtOnce(std::size_t count, const Act& act) {
  std::vector<Result> results(count);
  std::vector<std::thread> threads;
  threads.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    try {
      threads.emplace_back([&results, &act, i] { results[i] = act(i); });
    } catch (const std::system_error& error) {
      results[i].problem = std::string("no thread for this run: ").append(error.what());
      results[i].code = kUsage;
    }
  }
  for (std::thread& thread : threads) thread.join();
  return results;
}

}  // namespace

int Run(Station& station, const Options& options) {
  station::RunRequest request;
  try {
    request.plan = station::FindPlan(options.plan, station.config.plans.string());
  } catch (const std::runtime_error& error) {
    throw UsageError(error.what());
  }
  if (request.plan.asksOperator && options.operatorName.empty()) {
    throw UsageError("the plan " + options.plan + " asks who tests: --operator NAME");
  }
  // As a terminal or a scanner hands them over: they go into JSON and into the camera's records.
  request.operatorName = station::Settled(options.operatorName);
  request.scannedSerial = station::Settled(options.serial);
  request.mayContradict = options.despiteSerial;
  EndOnSignals();
  const auto cameras = CamerasOf(station.config, options.cameras);
  const auto identity = IdentityOfStation(station);
  const std::string who = WhoActs(options);
  Progress progress(options.quiet);
  const auto onNews = [&](const RunNews& news) {
    progress(news);
    if (news.kind != RunNews::Kind::Begins) return;
    std::string what = "run " + news.run->id + " begun: camera " + news.run->serial + ", plan " +
                       news.run->planTitle;
    if (!request.scannedSerial.empty() && request.scannedSerial != news.run->serial) {
      what += ", although " + request.scannedSerial + " was scanned";
    }
    WriteAudit(station, who, what);
  };
  const auto start = [&](const CameraAddress& camera) {
    return station::StartRun(*station.store, identity, camera, request, gControl, onNews);
  };
  const bool isSearched = !options.serial.empty();
  const auto results = AllAtOnce(isSearched ? 1 : cameras.size(), [&](std::size_t i) {
    return isSearched ? ResultOf(cameras, request.scannedSerial, start)
                      : ResultOf({cameras[i]}, "", start);
  });
  return Finish(station, options, results);
}

int Resume(Station& station, const Options& options) {
  std::vector<RunRecord> runs;
  for (const std::string& id : options.runs) {
    const RunRecord run = FindRun(station, id);
    const bool isThere = std::any_of(runs.begin(), runs.end(),
                                     [&run](const RunRecord& other) { return other.id == run.id; });
    if (!isThere) runs.push_back(run);
  }
  EndOnSignals();
  const auto cameras = CamerasOf(station.config, options.cameras);
  const auto identity = IdentityOfStation(station);
  const std::string who = WhoActs(options);
  Progress progress(options.quiet);
  const auto onNews = [&](const RunNews& news) {
    progress(news);
    if (news.kind != RunNews::Kind::Begins) return;
    WriteAudit(station, who, "run " + news.run->id + " resumed: camera " + news.run->serial);
  };
  const auto results = AllAtOnce(runs.size(), [&](std::size_t i) {
    return ResultOf(cameras, runs[i].serial, [&](const CameraAddress& camera) {
      return station::ResumeRun(*station.store, identity, camera, runs[i], gControl, onNews);
    });
  });
  return Finish(station, options, results);
}

}  // namespace station_tool
