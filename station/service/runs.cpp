#include "station/service/runs.h"

#include <algorithm>

#include "station/service/json.h"
#include "station/service/refusal.h"
#include "station/store/text.h"

namespace station {

namespace {

// What the runner would refuse as well, said so that the client knows what to do.
void CheckFit(CameraState& camera, const RunRequest& request, const RunControl& control) {
  client::CameraClient client(camera.Address().host, camera.Address().port,
                              [&control] { return control.interrupts.load(); });
  const std::string serial = IdentityOf(client).serial;
  if (!request.scannedSerial.empty() && request.scannedSerial != serial && !request.mayContradict) {
    throw Unfit("camera " + camera.Id() + " has the serial " + serial + ", scanned was " +
                request.scannedSerial);
  }
  const auto items = client::TestItems(client);
  try {
    ItemsOf(request.plan, items);
  } catch (const std::runtime_error& error) {
    throw Unfit(error.what());
  }
}

std::string BegunText(const RunRecord& run) {
  std::string what = "run " + run.id + " begun: camera " + run.serial + ", plan " + run.planTitle;
  if (!run.scannedSerial.empty() && run.scannedSerial != run.serial) {
    what.append(", although ").append(run.scannedSerial).append(" was scanned");
  }
  return what;
}

std::string ResultOf(const AttemptEnd& end) {
  if (!end.problem.empty()) return "no result";
  return end.passed ? "OK" : end.code;
}

}  // namespace

Runs::Runs(Store& store, StationIdentity station, Events& events, Complain complain)
    : mStore(store),
      mStation(std::move(station)),
      mEvents(events),
      mComplain(std::move(complain)) {}

void Runs::Start(CameraState& camera, const RunRequest& request, const std::string& who,
                 const OnBegun& onBegun) {
  Go(
      camera, who,
      [&](const RunRecord& run) {
        Audit(who, BegunText(run));
        onBegun(run);
      },
      [&](Active& active, const OnNews& onNews) {
        CheckFit(camera, request, active.control);
        return StartRun(mStore, mStation, camera.Address(), request, active.control, onNews);
      });
}

void Runs::Resume(CameraState& camera, const RunRecord& run, const std::string& who,
                  const OnBegun& onBegun) {
  Go(
      camera, who,
      [&](const RunRecord& begun) {
        Audit(who, "run " + begun.id + " resumed");
        onBegun(begun);
      },
      [&](Active& active, const OnNews& onNews) {
        RunRecord again = run;
        again.reason.clear();  // it counts no more
        return ResumeRun(mStore, mStation, camera.Address(), again, active.control, onNews);
      });
}

void Runs::Go(CameraState& camera, const std::string& who, const OnBegun& onBegun, const Act& act) {
  const Place place = Enter(camera);
  std::optional<RunRecord> run;  // as it is known last
  bool isTold = false;
  try {
    run = act(*place, [&](const RunNews& news) {
      if (news.run != nullptr) run = *news.run;
      Hear(*place, news);
      if (news.kind != RunNews::Kind::Begins) return;
      onBegun(*news.run);
      isTold = true;
    });
  } catch (const std::exception& error) {
    if (run) run = AsKept(*run);
    Leave(place, run, error.what());
    if (!isTold) throw;
    mComplain("run " + run->id + " ended by an error: " + error.what());
    return;
  }
  Leave(place, run, "");
  try {
    Audit(run->operatorName.empty() ? who : run->operatorName,
          "run " + run->id + " ended: " + std::string(OutcomeText(run->outcome)));
  } catch (const StoreError& error) {
    mComplain(error.what());
  }
}

Runs::Place Runs::Enter(CameraState& camera) {
  const std::lock_guard lock(mLock);
  if (mEnds) throw Refusal(503, "Ending", "the station ends; nothing begins any more");
  camera.Take();
  return mActive.emplace(mActive.end(), camera);
}

// Nothing is said to be kept that is not: where the store took no end, the run can be gone on with.
RunRecord Runs::AsKept(const RunRecord& run) {
  try {
    return mStore.FindRun(run.id).value_or(run);
  } catch (const StoreError&) {
    return run;
  }
}

// The camera is free again before anybody hears that the run has ended.
void Runs::Leave(Place place, const std::optional<RunRecord>& ended, const std::string& error) {
  CameraState& camera = place->camera;
  const bool isKept = ended && ended->endedAt;
  {
    const std::lock_guard lock(mLock);
    mActive.erase(place);
    if (isKept) ++mCounts.runs[std::string(OutcomeText(ended->outcome))];
  }
  CameraFacts facts;
  UnderWay last;
  camera.Change([&](CameraFacts& now) {
    if (now.run) last = *now.run;
    now.run.reset();
    now.isTaken = false;
    if (isKept) now.lastRun = ended;
    if (ended && !error.empty()) now.problem = "a run has stopped: " + error;
    facts = now;
  });
  if (!ended) return;
  last.run = *ended;
  last.item.clear();
  Tell("ends", facts, last, error);
}

bool Runs::Abort(const std::string& run, bool isNow) {
  const std::lock_guard lock(mLock);
  const auto active = std::find_if(mActive.begin(), mActive.end(),
                                   [&run](const Active& each) { return each.run == run; });
  if (active == mActive.end()) return false;
  active->control.aborts = true;
  if (isNow) active->control.interrupts = true;
  return true;
}

void Runs::EndAll() {
  const std::lock_guard lock(mLock);
  mEnds = true;
  for (Active& active : mActive) active.control.interrupts = true;
}

std::shared_ptr<const CameraFacts> Runs::CameraOf(const std::string& run) const {
  CameraState* camera = nullptr;
  {
    const std::lock_guard lock(mLock);
    for (const Active& each : mActive) {
      if (each.run == run) camera = &each.camera;
    }
  }
  if (camera == nullptr) return nullptr;
  auto facts = std::make_shared<const CameraFacts>(camera->Facts());
  return facts->run && facts->run->run.id == run ? facts : nullptr;
}

Runs::Counts Runs::CountsNow() const {
  const std::lock_guard lock(mLock);
  return mCounts;
}

void Runs::Audit(const std::string& who, const std::string& what) {
  mStore.WriteAudit({Now(), who, what});
}

void Runs::Hear(Active& active, const RunNews& news) {
  using Kind = RunNews::Kind;
  const bool isAttempt = news.kind == Kind::AttemptBegins || news.kind == Kind::AttemptEnds;
  // What has ended is told when the camera is free.
  if (news.kind == Kind::Ends) return;
  if (news.kind == Kind::Begins || news.kind == Kind::AttemptEnds) {
    const std::lock_guard lock(mLock);
    active.run = news.run->id;
    if (news.kind == Kind::AttemptEnds) {
      const bool hasResult = news.end->problem.empty();
      ++mCounts.attempts[!hasResult ? "no result" : news.end->passed ? "passed" : "failed"];
    }
  }
  CameraFacts facts;
  active.camera.Change([&](CameraFacts& now) {
    if (!now.run) now.run.emplace();
    if (news.kind == Kind::Begins) now.problem.clear();
    UnderWay& run = *now.run;
    run.run = *news.run;
    if (isAttempt || news.kind == Kind::Begins) {
      run.done = news.done;
      run.left = news.left;
      run.timeLeft = news.timeLeft;
      const bool begins = news.kind == Kind::AttemptBegins;
      run.item = begins ? news.attempt->item : "";
      run.needsOperator = begins && NeedsOperator(news.attempt->className, run.item);
    }
    if (news.kind != Kind::Warns) run.waits = news.kind == Kind::Waits ? news.text : "";
    facts = now;
  });
  const UnderWay& run = *facts.run;
  if (isAttempt) {
    const bool ends = news.kind == Kind::AttemptEnds;
    Json json = {{"act", ends ? "ends" : "begins"},
                 {"run", run.run.id},
                 {"camera", facts.id},
                 {"number", news.attempt->number},
                 {"item", news.attempt->item},
                 {"class", news.attempt->className},
                 {"round", news.attempt->round},
                 {"retry", news.attempt->retry}};
    if (ends) {
      json["result"] = ResultOf(*news.end);
      json["passed"] = news.end->passed;
      json["seconds"] = news.end->seconds;
      json["message"] = news.end->message;
      json["problem"] = news.end->problem;
      Json progress;
      AddProgress(progress, run);
      progress.erase("item");
      json.update(progress);
    }
    mEvents.Add("attempt", json);
  }
  switch (news.kind) {
    case Kind::Begins:
      return Tell("begins", facts, run, "");
    case Kind::AttemptBegins:
      return Tell("progress", facts, run, "");
    case Kind::Waits:
      return Tell("waits", facts, run, news.text);
    case Kind::Warns:
      return Tell("warns", facts, run, news.text);
    case Kind::AttemptEnds:
    case Kind::Ends:
      return;
  }
}

void Runs::Tell(const char* act, const CameraFacts& camera, const UnderWay& run,
                const std::string& text) {
  Json json = {{"act", act},
               {"run", run.run.id},
               {"camera", camera.id},
               {"serial", run.run.serial},
               {"plan", run.run.planTitle},
               {"operator", run.run.operatorName},
               {"outcome", OutcomeText(run.run.outcome)},
               {"reason", run.run.reason}};
  AddProgress(json, run);
  json["text"] = text;
  mEvents.Add("run", json);
}

}  // namespace station
