#include "station/runner/run.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <thread>

#include "client/measurements.h"
#include "station/config/station_config.h"
#include "station/runner/known_times.h"
#include "station/runner/run_state.h"
#include "station/store/uuid.h"

namespace station {

namespace {

using client::CameraClient;
using client::RefusedError;
using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;
using Kind = RunNews::Kind;

// The video memory's tests fill megabytes with what they ask, all of it alike.
client::Traced TracedOf(const std::string& className) {
  return className == "CResBitVDDR" ? client::Traced::No : client::Traced::OfFailure;
}

// Refused for now: another client's write, or more clients than there is room for.
bool IsBusy(const RefusedError& error) {
  constexpr unsigned kConflict = 409;
  constexpr unsigned kNoRoom = 503;
  return error.status == kConflict || error.status == kNoRoom;
}

// As other stations are told, the same in each process of this one: two stations may have one name.
// One camera under two addresses is two owners' too: the second run on it is refused.
std::string OwnerOf(const StationIdentity& station, const CameraAddress& address) {
  std::array<char, 20> folder{};
  std::snprintf(folder.data(), folder.size(), "%08zx",
                std::hash<std::string>()(std::filesystem::absolute(station.folder).string() +
                                         address.Text()) &
                    0xFFFFFFFF);
  return std::string(station.name)
      .append(" (")
      .append(MachineName())
      .append(" ")
      .append(folder.data())
      .append(")");
}

std::string TextOf(CameraClient& camera, const char* path) {
  try {
    const client::Json value = camera.Get(path)["value"];
    return value.is_string() ? value.get<std::string>() : std::string();
  } catch (const RefusedError&) {
    return {};
  }
}

AttemptEnd EndOf(std::int64_t number, const client::Attempt& attempt) {
  AttemptEnd end;
  end.number = number;
  end.passed = attempt.passed;
  end.seconds = attempt.seconds;
  end.status = attempt.status;
  end.value = attempt.value;
  end.message = attempt.message;
  end.problem = attempt.problem;
  if (!end.passed && end.problem.empty()) end.code = client::ResultText(attempt);
  for (const std::string& record : attempt.records) {
    end.evidence.push_back({EvidenceKind::Record, record});
  }
  if (!end.passed && !attempt.trace.is_null()) {
    end.evidence.push_back(
        {EvidenceKind::Trace,
         attempt.trace.dump(-1, ' ', false, client::Json::error_handler_t::replace)});
  }
  // A cooler's plan has no trace; how the detector cooled is kept in its place, of those that pass
  // too.
  if (!attempt.curve.empty()) {
    client::Json trace{{"steps", client::Json::array()}, {"left_out", 0}};
    client::Json& curve = trace["curve"] = client::Json::array();
    for (const auto& [seconds, kelvin] : attempt.curve) curve.push_back({seconds, kelvin});
    end.evidence.push_back({EvidenceKind::Trace, trace.dump()});
  }
  for (const client::Measurement& each :
       client::MeasurementsOf(attempt.className, attempt.message)) {
    if (std::isfinite(each.value)) {
      end.measurements.push_back({each.name, each.unit, each.value, each.lower, each.upper});
    }
  }
  return end;
}

// Which dialog it is, whatever was hit on it meanwhile; null: there is none.
client::Json DialogIn(const client::Json& screen) {
  if (!screen.is_object()) return {};
  return {screen.value("template", client::Json()), screen.value("title", client::Json())};
}

// Pauses that grow, until the patience is over: the last one ends with it.
class Pauses {
 public:
  explicit Pauses(milliseconds patience) : mDeadline(SteadyClock::now() + patience) {}

  bool AreOver() const { return SteadyClock::now() >= mDeadline; }
  milliseconds Next() {
    constexpr milliseconds kLongest{10'000};
    const auto rest = std::chrono::ceil<milliseconds>(mDeadline - SteadyClock::now());
    const milliseconds next = std::clamp(rest, milliseconds(1), mNext);
    mNext = std::min(2 * mNext, kLongest);
    return next;
  }

 private:
  const SteadyClock::time_point mDeadline;
  milliseconds mNext{250};
};

// How far a run is.
struct Progressed {
  std::size_t done = 0;
  std::size_t left = 0;
  std::optional<milliseconds> timeLeft;
};

// One run on one camera, from its hold to its end.
class CameraRun {
 public:
  CameraRun(Store& store, const StationIdentity& station, const CameraAddress& address,
            const RunControl& control, const OnNews& onNews)
      : mStore(store),
        mStation(station),
        mControl(control),
        mOnNews(onNews),
        mAddress(address),
        mCamera(address.host, address.port, [&control] { return control.interrupts.load(); }),
        mHold(address, OwnerOf(station, address), station.folder, station.leaseRenewal) {}

  RunRecord Start(const RunRequest& request) {
    const CameraIdentity camera = IdentityOf(mCamera);
    if (!request.scannedSerial.empty() && request.scannedSerial != camera.serial &&
        !request.mayContradict) {
      throw RunRefused("camera " + mAddress.Text() + " has the serial " + camera.serial +
                       ", scanned was " + request.scannedSerial);
    }
    auto items = TestsOf(request.plan);
    mRun.id = NewRunId(Now());
    mRun.station = mStation.name;
    mRun.serial = camera.serial;
    mRun.cameraName = mAddress.name.empty() ? camera.product : mAddress.name;
    mRun.variant = camera.product;
    mRun.scannedSerial = request.scannedSerial;
    mRun.planTitle = request.plan.title;
    mRun.planText = request.plan.text;
    mRun.operatorName = request.operatorName;
    mRun.versions = "diagor-station " + mStation.version;
    mRun.startedAt = Now();
    mRun.cameraTime = TextOf(mCamera, ".desk.clock.local");
    mHold.Name(mRun.id);
    mStore.BeginRun(mRun);
    RunState state(request.plan, std::move(items));
    return Go(request.plan, state, {}, true);
  }

  RunRecord Resume(const RunRecord& run) {
    const CameraIdentity camera = IdentityOf(mCamera);
    if (camera.serial != run.serial) {
      throw RunRefused("camera " + mAddress.Text() + " has the serial " + camera.serial +
                       ", the run is of " + run.serial);
    }
    const Plan plan = PlanOf(run.planText, "the plan of run " + run.id);
    RunState state(plan, TestsOf(plan));
    // The hold tells that no other process is at it: a run that is still said to be running was
    // ended from outside. What it came to until this one had the camera is read anew.
    const auto kept = mStore.FindRun(run.id);
    if (!kept) throw RunRefused("run " + run.id + " was deleted meanwhile");
    RefuseComplete(*kept);
    mHold.Name(run.id);
    if (kept->outcome == Outcome::Running) {
      mStore.EndRun(run.id, {Now(), Outcome::Incomplete, "interrupted"});
    }
    mStore.ReopenRun(run.id);
    mRun = *kept;
    mRun.outcome = Outcome::Running;
    mRun.endedAt.reset();
    mRun.reason.clear();
    const auto attempts = mStore.Attempts(run.id);
    for (const AttemptRecord& attempt : attempts) state.AddEarlier(attempt);
    return Go(plan, state, attempts, false);
  }

  static void RefuseComplete(const RunRecord& run) {
    const bool isOpen = run.outcome == Outcome::Running || run.outcome == Outcome::Incomplete;
    if (!isOpen) {
      throw RunRefused("run " + run.id + " is complete: " + std::string(OutcomeText(run.outcome)));
    }
  }

 private:
  std::vector<client::TestItem> TestsOf(const Plan& plan) {
    const auto all = client::TestItems(mCamera);
    try {
      return ItemsOf(plan, all);
    } catch (const std::runtime_error& error) {
      throw RunRefused(error.what());
    }
  }

  RunRecord Go(const Plan& plan, RunState& state, const std::vector<AttemptRecord>& earlier,
               bool isFresh) {
    mTimes = KnownTimes(mStore, mRun);
    mNumber = earlier.empty() ? 0 : earlier.back().number;
    for (const AttemptRecord& attempt : earlier) mSeconds += attempt.seconds;
    mSecondsBefore = mSeconds;
    std::string broken;
    try {
      Tell(Kind::Begins, state);
      broken = GoThrough(plan, state, isFresh);
    } catch (const client::InterruptedError&) {
      broken = mControl.interrupts ? "interrupted" : "aborted";
    } catch (const RefusedError& error) {
      broken = std::string("refused by the camera: ").append(error.what());
    } catch (const RunRefused& error) {
      broken = error.what();
    } catch (...) {
      GiveBack();
      throw;
    }
    // What stands in the camera then is the other station's.
    if (mHold.TakenBy().empty()) GiveBack();
    const auto [outcome, reason] = state.Result(broken);
    const RunEnd end{Now(), outcome, reason};
    Keep([&] { mStore.EndRun(mRun.id, end); });
    mHold.NameNone();
    mRun.outcome = end.outcome;
    mRun.reason = end.reason;
    mRun.endedAt = end.endedAt;
    Tell(Kind::Ends, state);
    return mRun;
  }

  // Why it did not come to its end; empty: it did. A lost camera is looked for, and the run goes on
  // there with what has no result yet.
  std::string GoThrough(const Plan& plan, RunState& state, bool isFresh) {
    // A test that loses its camera each time is not made for ever.
    constexpr int kMostLosses = 3;
    for (int losses = 0;;) {
      mAnswered = 0;
      std::string lost;
      try {
        Prepare(plan, isFresh && mNumber == 0);
        WatchScreen();
        if (MakeAttempts(plan, state)) return {};
        return mControl.interrupts ? "interrupted" : "aborted";
      } catch (const client::ConnectionError& error) {
        lost = error.what();
      }
      losses = mAnswered > 0 ? 1 : losses + 1;
      if (losses == kMostLosses) return kLost + lost + "; " + std::to_string(losses) + " times";
      if (!ComesBack(lost)) return kLost + lost;
    }
  }

  // lost: why it is away, the last reason at the end. InterruptedError: also when the run is
  // aborted.
  bool ComesBack(std::string& lost) {
    constexpr std::chrono::seconds kAnswer{3};
    CameraClient camera(mAddress.host, mAddress.port,
                        [this] { return mControl.aborts || mControl.interrupts; },
                        {kAnswer, kAnswer});
    for (Pauses pauses(mStation.cameraPatience);;) {
      try {
        const std::string serial = IdentityOf(camera).serial;
        if (serial == mRun.serial) {
          // One that was started again knows of no lease.
          mHold.Renew(camera);
          return true;
        }
        lost = "in its place is one with the serial " + serial;
      } catch (const client::ConnectionError& error) {
        lost = error.what();
      } catch (const RefusedError& error) {
        if (!IsBusy(error)) throw;
        lost = error.what();
      }
      if (pauses.AreOver()) return false;
      RunNews news;
      news.text = "the camera is lost and looked for: " + lost;
      Tell(Kind::Waits, std::move(news));
      camera.Pause(pauses.Next());
    }
  }

  // The camera's own log says who tested which camera; nothing of an earlier run is left in it.
  void Prepare(const Plan& plan, bool isFresh) {
    std::map<std::string, std::string> texts(plan.description.begin(), plan.description.end());
    texts["tester"] = mRun.operatorName;
    texts["serial"] = mRun.serial;
    texts.try_emplace("article", mRun.variant);
    WhenFree(mStation.busyPatience, [&] {
      mHold.Describe(mCamera, mRun.serial, texts);
      if (isFresh) mCamera.Set("test.clearResult", true);
    });
  }

  // Keeps what stands on the screen while a dialog is up: what the operator saw last, should the
  // test fail. On a virtual clock nobody looks, and dialogs go faster than pictures.
  void WatchScreen() {
    try {
      mCamera.Screen();
      if (TextOf(mCamera, ".desk.clock.kind") == "virtual") return;
      mCamera.Subscribe([this](const client::Event& event) {
        const auto dialog = event.fields.find("dialog");
        const bool isUp = dialog != event.fields.end() && dialog->is_object();
        if (event.kind != "screen" || !isUp) return;
        constexpr std::chrono::seconds kPatience{3};  // the test's own answer waits meanwhile
        try {
          CameraClient camera(mAddress.host, mAddress.port,
                              [this] { return mControl.interrupts.load(); },
                              {kPatience, kPatience});
          std::string picture = camera.Picture(false);
          // The news may be late: by now another test's dialog may be there, or none.
          if (DialogIn(camera.Screen()) == DialogIn(*dialog)) mPicture = std::move(picture);
        } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch)
          // A run does not depend on it.
        }
      });
    } catch (const RefusedError&) {  // NOLINT(bugprone-empty-catch)
      // It does not show its screen, or has no room for another stream.
    } catch (const client::ConnectionError&) {  // NOLINT(bugprone-empty-catch)
      // Whether it is lost is seen when it is asked for its first test.
    }
  }

  // Asks a busy camera again and again, ever later; at last the refusal is thrown.
  template <typename Act>
  void WhenFree(milliseconds patience, const Act& act) {
    for (Pauses pauses(patience);;) {
      try {
        act();
        return;
      } catch (const RefusedError& error) {
        if (!IsBusy(error) || pauses.AreOver()) throw;
        RunNews news;
        news.text = error.what();
        Tell(Kind::Waits, std::move(news));
        mCamera.Pause(pauses.Next());
        if (mControl.aborts || IsTaken()) throw;  // it was not to begin any more
      }
    }
  }

  // False: it was asked to end before the run was through. ConnectionError: the camera is lost.
  bool MakeAttempts(const Plan& plan, RunState& state) {
    const auto isTimeOver = [&] {
      constexpr double kHour = 3600;
      const std::chrono::duration<double> passed = SteadyClock::now() - mBegan;
      return std::max(mSeconds, mSecondsBefore + passed.count()) >= plan.hours * kHour;
    };

    std::optional<AttemptEnd> ended;
    AttemptStart start;
    bool isLost = false;
    // Its end and the next one's beginning are one transaction.
    const auto journal = [&](const std::optional<AttemptStart>& next) {
      if (ended || next) Keep([&] { mStore.Journal(mRun.id, ended, next); });
      if (!ended) return;
      RunNews news;
      news.attempt = &start;
      news.end = &*ended;
      Progress(state, news);
      Tell(Kind::AttemptEnds, std::move(news));
    };
    while (!mControl.aborts && !mControl.interrupts && !IsTaken()) {
      const auto next = state.NextAttempt(isTimeOver());
      if (!next) break;
      const AttemptStart begins{++mNumber,   next->item.path, next->item.className,
                                next->round, next->retry,     Now()};
      journal(begins);
      start = begins;
      RunNews news;
      news.attempt = &start;
      Progress(state, news);
      Tell(Kind::AttemptBegins, std::move(news));
      ended.reset();
      ended = MakeAttempt(next->item, mNumber, isLost);
      mSeconds += ended->seconds;
      // What the lost camera left without a result is made anew.
      if (isLost) break;
      state.Add(start, *ended);
      mProgress.reset();
      ++mAnswered;
    }
    journal(std::nullopt);
    if (isLost) throw client::ConnectionError(ended->problem.substr(kLost.size()));
    if (!state.NextAttempt(isTimeOver())) return true;
    if (IsTaken()) throw RunRefused("the camera was taken over: " + mHold.TakenBy());
    return false;
  }
  bool IsTaken() const { return !mHold.TakenBy().empty(); }

  AttemptEnd MakeAttempt(const client::TestItem& item, std::int64_t number, bool& isLost) {
    client::Attempt attempt;
    attempt.path = item.path;
    attempt.className = item.className;
    mPicture.clear();
    constexpr milliseconds kLeast{1000};
    const auto longest = mTimes.Longest(item.path);
    const milliseconds patience = longest ? std::max(*longest, kLeast) : mStation.busyPatience;
    try {
      WhenFree(patience,
               [&] { client::RunTest(mCamera, item, TracedOf(item.className), attempt); });
    } catch (const RefusedError& error) {
      attempt.problem = std::string(IsBusy(error) ? "busy: " : "refused: ").append(error.what());
    } catch (const client::ConnectionError& error) {
      attempt.problem = kLost + error.what();
      isLost = true;
    }
    if (!attempt.problem.empty()) attempt.passed = false;
    AttemptEnd end = EndOf(number, attempt);
    if (!end.passed && end.problem.empty() && !mPicture.empty()) {
      end.evidence.push_back({EvidenceKind::Picture, std::move(mPicture)});
    }
    return end;
  }

  // What was answered after hours is not lost because the database is held or away for a while.
  template <typename Write>
  void Keep(const Write& write) {
    using Trouble = StoreError::Kind;
    bool mayBeKept = false;
    for (Pauses pauses(mStation.storePatience);;) {
      try {
        write();
        return;
      } catch (const StoreError& error) {
        // The server was gone before it could say that it had kept it.
        if (error.kind == Trouble::Constraint && mayBeKept) return;
        const bool isLost = error.kind == Trouble::Lost;
        mayBeKept = mayBeKept || isLost;
        const bool mayPass =
            isLost || error.kind == Trouble::Busy || error.kind == Trouble::CannotOpen;
        if (!mayPass || pauses.AreOver() || mControl.interrupts) throw;
        RunNews news;
        news.text = std::string("the database does not answer: ").append(error.what());
        Tell(Kind::Waits, std::move(news));
      }
      constexpr milliseconds kStep{50};
      for (milliseconds rest = pauses.Next(); rest > rest.zero() && !mControl.interrupts;
           rest -= kStep) {
        std::this_thread::sleep_for(std::min(rest, kStep));
      }
    }
  }

  // On a connection of its own, for a moment only: also after an interruption.
  void GiveBack() {
    constexpr std::chrono::seconds kPatience{3};
    const auto deadline = SteadyClock::now() + kPatience;
    try {
      CameraClient camera(mAddress.host, mAddress.port,
                          [deadline] { return SteadyClock::now() > deadline; },
                          {kPatience, kPatience});
      mHold.GiveBack(camera, mRun.serial);
    } catch (const std::exception& error) {
      RunNews news;
      news.text = std::string("the camera's descriptions could not be put back (")
                      .append(error.what())
                      .append("); the next run on it does that");
      Tell(Kind::Warns, std::move(news));
    }
  }

  void Progress(const RunState& state, RunNews& news) {
    if (!mProgress) {
      const auto left = state.Left();
      mProgress.emplace();
      mProgress->done = state.Done();
      mProgress->left =
          std::accumulate(left.begin(), left.end(), std::size_t{0},
                          [](std::size_t sum, const auto& each) { return sum + each.second; });
      mProgress->timeLeft = mTimes.Total(left);
    }
    news.done = mProgress->done;
    news.left = mProgress->left;
    news.timeLeft = mProgress->timeLeft;
  }
  void Tell(Kind kind, const RunState& state) {
    RunNews news;
    Progress(state, news);
    Tell(kind, std::move(news));
  }
  void Tell(Kind kind, RunNews news) {
    news.kind = kind;
    news.run = &mRun;
    if (mOnNews) mOnNews(news);
  }

  const std::string kLost = "camera lost: ";

  Store& mStore;
  const StationIdentity& mStation;
  const RunControl& mControl;
  const OnNews& mOnNews;
  const CameraAddress mAddress;
  CameraClient mCamera;
  CameraHold mHold;
  RunRecord mRun;
  KnownTimes mTimes;
  const SteadyClock::time_point mBegan = SteadyClock::now();
  double mSeconds = 0;                  // of the camera's clock, in all attempts
  double mSecondsBefore = 0;            // in those of before it was taken up again
  std::int64_t mNumber = 0;             // of the latest attempt
  std::int64_t mAnswered = 0;           // attempts, since the camera was lost last
  std::optional<Progressed> mProgress;  // none: an attempt has ended since it was reckoned
  std::string mPicture;                 // of the attempt under way
};

}  // namespace

RunRecord StartRun(Store& store, const StationIdentity& station, const CameraAddress& address,
                   const RunRequest& request, const RunControl& control, const OnNews& onNews) {
  EndKilledRuns(store, station.folder);
  return CameraRun(store, station, address, control, onNews).Start(request);
}

RunRecord ResumeRun(Store& store, const StationIdentity& station, const CameraAddress& address,
                    const RunRecord& run, const RunControl& control, const OnNews& onNews) {
  CameraRun::RefuseComplete(run);
  EndKilledRuns(store, station.folder);
  return CameraRun(store, station, address, control, onNews).Resume(run);
}

CameraIdentity IdentityOf(client::CameraClient& camera) {
  const auto said = [&camera](const char* path) {
    const std::string text = TextOf(camera, path);
    return text.empty() ? kUnknown : text;
  };
  return {said(".version.product.serial"), said(".version.product.name")};
}

Time Now() {
  return std::chrono::duration_cast<milliseconds>(
             std::chrono::system_clock::now().time_since_epoch())
      .count();
}

}  // namespace station
