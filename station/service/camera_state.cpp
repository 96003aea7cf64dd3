#include "station/service/camera_state.h"

#include "station/service/json.h"
#include "station/service/refusal.h"

namespace station {

namespace {

// What is told when it becomes another one.
client::Json Told(const CameraFacts& facts) {
  client::Json json = CameraJson(facts);
  json["run"] = facts.run ? client::Json(facts.run->run.id) : client::Json();
  json.erase("screen");
  return json;
}

}  // namespace

std::string CameraFacts::State() const {
  if (!isReachable) return "not reachable";
  if (run || testsUnderWay > 0) return screen.is_null() ? "testing" : "waits for the operator";
  return lastRun && lastRun->outcome == Outcome::Failed ? "failed" : "idle";
}

CameraState::CameraState(const CameraAddress& address, Events& events)
    : mAddress(address),
      mId(address.name.empty() ? address.Text() : address.name),
      mEvents(events) {
  mFacts.address = address;
  mFacts.id = mId;
}

CameraFacts CameraState::Facts() const {
  const std::lock_guard lock(mLock);
  return mFacts;
}

void CameraState::Change(const std::function<void(CameraFacts&)>& change) {
  const std::lock_guard lock(mLock);
  const client::Json before = Told(mFacts);
  const client::Json screen = mFacts.screen;
  change(mFacts);
  // Under the lock: events come in the order of what they tell.
  if (mFacts.screen != screen) {
    mEvents.Add("screen", {{"camera", mId}, {"screen", mFacts.screen}});
  }
  if (Told(mFacts) != before) mEvents.Add("camera", {{"camera", CameraJson(mFacts)}});
}

void CameraState::Take() {
  const std::lock_guard lock(mLock);
  if (mFacts.run) {
    const RunRecord& run = mFacts.run->run;
    std::string who = run.planTitle;
    if (!run.operatorName.empty()) who.append(", ").append(run.operatorName);
    throw NotNow("camera " + mId + " is under test: run " + run.id + " (" + who + ")");
  }
  if (mFacts.isTaken) throw NotNow("camera " + mId + " is under test: a run on it begins or ends");
  mFacts.isTaken = true;
}

}  // namespace station
