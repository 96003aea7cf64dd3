#include "station/service/camera_state.h"

#include "station/runner/run.h"
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
  const bool isInteractive = run && run->needsOperator && !tellsScreen;
  if (!screen.is_null() || isInteractive) return "waits for the operator";
  if (run || testsUnderWay > 0) return "testing";
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
  ChangeLocked(change);
}

// Under the lock: events come in the order of what they tell.
void CameraState::ChangeLocked(const std::function<void(CameraFacts&)>& change) {
  const client::Json before = Told(mFacts);
  change(mFacts);
  if (Told(mFacts) != before) mEvents.Add("camera", {{"camera", CameraJson(mFacts)}});
}

void CameraState::ChangeScreen(const client::Json& dialog) {
  ForgetPictures();
  const std::lock_guard lock(mLock);
  // The state that comes of it first: nobody sees a camera that waits without what it waits for.
  ChangeLocked([&](CameraFacts& facts) {
    facts.screen = dialog;
    facts.screenToldAt = Now();
  });
  mEvents.Add("screen", {{"camera", mId}, {"screen", dialog}});
}

std::string CameraState::Picture(bool viewFinder, const std::function<std::string()>& fetch) {
  constexpr std::chrono::milliseconds kMoment{200};
  SharedPicture& picture = mPictures[viewFinder ? 1 : 0];
  const std::uint64_t failures = picture.failures;
  const std::lock_guard lock(picture.lock);
  if (const CameraFacts facts = Facts(); !facts.isReachable) {
    throw Refusal(503, "Not reachable", "the camera is not reachable: " + facts.problem);
  }
  // Whoever waited for one that did not come does not wait for another.
  if (picture.failures != failures) {
    throw Refusal(503, "No picture", "the camera did not show its screen; try again");
  }
  const auto now = std::chrono::steady_clock::now();
  const std::uint64_t screen = mScreens;
  if (now >= picture.until || picture.screen != screen) {
    picture.until = {};
    try {
      picture.png = fetch();
    } catch (...) {
      ++picture.failures;
      throw;
    }
    // What changed meanwhile may not be in it.
    picture.until = now + kMoment;
    picture.screen = screen;
  }
  return picture.png;
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
