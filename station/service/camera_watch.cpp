#include "station/service/camera_watch.h"

#include <algorithm>
#include <utility>

#include "station/runner/run.h"

namespace station {

namespace {

using std::chrono::milliseconds;

bool HasNode(client::CameraClient& camera, const char* path) {
  try {
    camera.Get(path);
    return true;
  } catch (const client::RefusedError& error) {
    if (!error.IsUnknown()) throw;
    return false;
  }
}

}  // namespace

std::optional<RunRecord> LastRunOf(Store& store, const std::string& serial) {
  constexpr std::size_t kLatest = 10;  // those under way among them
  RunFilter filter;
  filter.serial = serial;
  for (const RunRecord& run : store.Runs(filter, std::nullopt, kLatest)) {
    if (run.endedAt) return run;
  }
  return std::nullopt;
}

CameraWatch::CameraWatch(CameraState& camera, Store& store)
    : mCamera(camera), mStore(store), mThread([this] { Loop(); }) {}

CameraWatch::~CameraWatch() {
  End();
  mThread.join();
}

void CameraWatch::End() {
  {
    const std::lock_guard lock(mLock);
    mEnds = true;
  }
  mEnding.notify_all();
}

void CameraWatch::Loop() {
  constexpr milliseconds kFirst{250};
  constexpr milliseconds kLongest{10'000};
  constexpr client::TimeOuts kPatience{std::chrono::seconds(5), std::chrono::seconds(10)};
  const CameraAddress& address = mCamera.Address();
  milliseconds pause = kFirst;
  while (!mEnds) {
    try {
      client::CameraClient camera(
          address.host, address.port, [this] { return mEnds.load(); }, kPatience);
      // Heard from before it is asked: nothing that changes meanwhile is missed.
      const bool isTold = Subscribes(camera);
      Meet(camera);
      pause = kFirst;
      Follow(camera, isTold);
    } catch (const std::exception& error) {
      if (mEnds) return;
      mCamera.Change([&error](CameraFacts& facts) {
        facts.isReachable = false;
        facts.problem = error.what();
        facts.testsUnderWay = 0;
        facts.screen = nullptr;
      });
    }
    std::unique_lock lock(mLock);
    mEnding.wait_for(lock, pause, [this] { return mEnds.load(); });
    pause = std::min(2 * pause, kLongest);
  }
}

void CameraWatch::Meet(client::CameraClient& camera) {
  const CameraIdentity identity = IdentityOf(camera);
  const bool isDesk = HasNode(camera, ".desk");
  KnowLastRun(identity.serial, [&](CameraFacts& facts) {
    facts.isReachable = true;
    facts.serial = identity.serial;
    facts.product = identity.product;
    facts.isDesk = isDesk;
  });
  AskForScreen(camera, false);
}

// With what else becomes of its facts. A camera is there although the store does not answer.
void CameraWatch::KnowLastRun(const std::string& serial,
                              const std::function<void(CameraFacts&)>& change) {
  std::optional<RunRecord> last;
  std::string problem;
  try {
    last = LastRunOf(mStore, serial);
  } catch (const StoreError& error) {
    problem =
        std::string("its last run is not known, the database does not answer: ") + error.what();
  }
  mOwesLastRun = !problem.empty();
  mCamera.Change([&](CameraFacts& facts) {
    change(facts);
    facts.problem = problem;
    // One may have ended since it was read.
    const bool isOfCamera = facts.lastRun && facts.lastRun->serial == serial;
    if (!isOfCamera || (last && last->endedAt > facts.lastRun->endedAt)) facts.lastRun = last;
  });
}

// False: it tells no events, or has no room for another who hears them.
bool CameraWatch::Subscribes(client::CameraClient& camera) {
  try {
    camera.Subscribe([this](const client::Event& event) { Hear(event); });
    return true;
  } catch (const client::RefusedError&) {
    return false;
  }
}

void CameraWatch::Hear(const client::Event& event) {
  if (event.kind == "screen") {
    ++mScreensHeard;
    mCamera.ChangeScreen(event.fields.value("dialog", client::Json()));
  }
  if (event.kind == "gap") {
    mHasGap = true;
    // Whether a test ended among what was missed is not known.
    mCamera.Change([](CameraFacts& facts) { facts.testsUnderWay = 0; });
  }
  const bool begins = event.kind == "test-started";
  if (!begins && event.kind != "test-ended") return;
  // A run of another process may end with it, and is kept so a moment later.
  if (!begins && !mCamera.Facts().run) mIsLastRunOld = true;
  mCamera.Change([begins](CameraFacts& facts) {
    // What began before this one was heard of has ended too.
    facts.testsUnderWay = std::max(0, facts.testsUnderWay + (begins ? 1 : -1));
  });
}

// Until the camera is lost.
void CameraWatch::Follow(client::CameraClient& camera, bool isTold) {
  constexpr milliseconds kLong{3'600'000};
  constexpr milliseconds kSoon{2000};  // where no event says what is new
  for (;;) {
    if (isTold) {
      camera.AwaitEvents([this] { return mHasGap || mIsLastRunOld; }, mOwesLastRun ? kSoon : kLong);
      if (std::exchange(mHasGap, false)) AskForScreen(camera, true);
      if (std::exchange(mIsLastRunOld, false)) {
        mOwesLastRun = true;
        continue;
      }
    } else {
      camera.Pause(kSoon);
      camera.Get("");
      AskForScreen(camera, false);
    }
    if (mOwesLastRun) KnowLastRun(mCamera.Facts().serial, [](CameraFacts& /*facts*/) {});
  }
}

void CameraWatch::AskForScreen(client::CameraClient& camera, bool isEventMissed) {
  const std::uint64_t heard = mScreensHeard;
  client::Json screen;
  bool tells = true;
  try {
    screen = camera.Screen();
  } catch (const client::RefusedError&) {
    tells = false;
  }
  mCamera.Change([tells](CameraFacts& facts) { facts.tellsScreen = tells; });
  const bool isNews = isEventMissed || screen.is_null() != mCamera.Facts().screen.is_null();
  if (isNews && heard == mScreensHeard) mCamera.ChangeScreen(screen);
}

}  // namespace station
