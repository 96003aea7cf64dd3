#include "station/service/camera_watch.h"

#include <algorithm>
#include <utility>

#include "station/runner/run.h"
#include "station/store/error.h"

namespace station {

namespace {

using std::chrono::milliseconds;

constexpr unsigned kNotThere = 404;

bool HasNode(client::CameraClient& camera, const char* path) {
  try {
    camera.Get(path);
    return true;
  } catch (const client::RefusedError& error) {
    if (error.status != kNotThere) throw;
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
  std::optional<RunRecord> last;
  try {
    last = LastRunOf(mStore, identity.serial);
  } catch (const StoreError&) {  // NOLINT(bugprone-empty-catch)
    // The camera is there all the same; its next run's end is known again.
  }
  mCamera.Change([&](CameraFacts& facts) {
    facts.isReachable = true;
    facts.problem.clear();
    facts.serial = identity.serial;
    facts.product = identity.product;
    facts.isDesk = isDesk;
    facts.lastRun = last;
  });
  AskForScreen(camera, true);
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
  // Whether a test ended among what was missed is not known, nor what is on the screen by now.
  if (event.kind == "gap") {
    mHasMissed = true;
    mCamera.Change([](CameraFacts& facts) { facts.testsUnderWay = 0; });
  }
  const bool begins = event.kind == "test-started";
  if (!begins && event.kind != "test-ended") return;
  mCamera.Change([begins](CameraFacts& facts) {
    // What began before this one was heard of has ended too.
    facts.testsUnderWay = std::max(0, facts.testsUnderWay + (begins ? 1 : -1));
  });
}

// Until the camera is lost.
void CameraWatch::Follow(client::CameraClient& camera, bool isTold) {
  constexpr std::chrono::hours kLong{1};
  constexpr std::chrono::seconds kUntold{2};  // where no event says what is new
  for (;;) {
    if (isTold) {
      camera.AwaitEvents([this] { return mHasMissed; }, kLong);
      if (std::exchange(mHasMissed, false)) AskForScreen(camera, true);
    } else {
      camera.Pause(kUntold);
      camera.Get("");
      AskForScreen(camera, false);
    }
  }
}

void CameraWatch::AskForScreen(client::CameraClient& camera, bool hasMissed) {
  const std::uint64_t heard = mScreensHeard;
  client::Json screen;
  try {
    screen = camera.Screen();
  } catch (const client::RefusedError&) {
    // It does not tell.
  }
  const bool isOther = screen.is_null() != mCamera.Facts().screen.is_null();
  const bool isNews = isOther || (hasMissed && !screen.is_null());
  if (isNews && heard == mScreensHeard) mCamera.ChangeScreen(screen);
}

}  // namespace station
