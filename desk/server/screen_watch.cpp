#include "server/screen_watch.h"

#include <nlohmann/json.hpp>

#include "camera/camera.h"
#include "server/json.h"

namespace desk {

namespace {

constexpr Duration kShortest = std::chrono::milliseconds(100);  // from one event to the next

}  // namespace

ScreenWatch::ScreenWatch(Camera& camera) : mCamera(camera) {
  auto ticket = mCamera.Clock().Prepare(Clock::Role::Follows);
  mThread = std::thread([this, ticket = std::move(ticket)] {
    const Clock::Participation participation(mCamera.Clock(), ticket);
    Run();
  });
}

ScreenWatch::~ScreenWatch() {
  mCamera.Clock().Change([this] { mStopped = true; });
  mThread.join();
}

void ScreenWatch::Run() {
  Clock& clock = mCamera.Clock();
  const WindowSystem& windows = mCamera.Windows();
  std::uint64_t seen = 0;
  std::vector<SceneWindow> told;
  for (;;) {
    bool stopped = false;
    clock.Wait(
        [&] {
          stopped = mStopped;
          return stopped || windows.Changes() != seen;
        },
        kNever);
    if (stopped) return;
    seen = windows.Changes();
    std::vector<SceneWindow> scene = windows.Scene();
    // A key that is on its way to the program, or one that was hit before, changes nothing.
    if (scene == told) continue;
    told = std::move(scene);
    mCamera.Events().Add(
        "screen", {{"dialog", TraceJson(Dump(DialogJson(windows.DialogNow(), clock.Now())))}});
    if (clock.Wait([this] { return mStopped; }, clock.Now() + kShortest)) return;
  }
}

}  // namespace desk
