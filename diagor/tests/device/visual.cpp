#include "tests/device/visual.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "tests/device/video_driver.h"

namespace {

constexpr DWORD kDraftMode = 2;  // of the camera
constexpr DWORD kStillMode = 3;
constexpr DWORD kDraftFunction = 4;  // of the front-end
constexpr DWORD kStillFunction = 2;
constexpr DWORD kModeChange = 500;  // ms
constexpr DWORD kSettling = 100;    // ms
constexpr DWORD kActive = 1;

constexpr DWORD kNoDriver = 0xF0;
constexpr DWORD kNotResponding = 0xF1;
constexpr Failure kFailedInit = {0xF0, "Failed to init visual test"};
constexpr Failure kModeFailed = {0xB1, "Visual test mode failed"};
constexpr Failure kNotActive = {0xF2, "Visual camera not active"};

}  // namespace

CResBitVisualMode::CResBitVisualMode(const TARQ::CResourcePath& path, const char* description,
                                     DWORD mode)
    : CResBitItem(path, description), mFvdHandle(L"FVD1:"), mCamHandle(L"CAM1:"), mMode(mode) {}

// The camera takes its picture in its mode and is left in draft mode. As the last request goes, so
// goes the initialisation.
bool CResBitVisualMode::Initialise() {
  const DWORD cameraMode = mMode != 0 ? kStillMode : kDraftMode;
  if (!SetCameraMode(mCamHandle.Get(), cameraMode)) return false;
  Sleep(kModeChange);
  bool done = SetFunctionRegister(mFvdHandle.Get(), mMode != 0 ? kStillFunction : kDraftFunction);
  if (cameraMode != kDraftMode) {
    done = SetCameraMode(mCamHandle.Get(), kDraftMode);
    Sleep(kModeChange);
  }
  return done;
}

Finding CResBitVisualMode::TakePicture() {
  const bool initialised = Initialise();
  if (!mFvdHandle.IsOpen() || !initialised) return kFailedInit;
  Sleep(kSettling);
  if (!RegistersAreClear(mFvdHandle.Get())) return kModeFailed;
  return {0, "Visual OK"};
}

DWORD CResBitVisualMode::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(VideoFunctionTurns(), [this] { return TakePicture(); });
}

DWORD CResBitVisual::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  bool answered = false;
  DWORD error = 0;
  DWORD state = 0;
  {
    const DriverHandle camera(L"CAM1:");
    if (!camera.IsOpen()) return kNoDriver;
    answered = ReadCameraState(camera.Get(), state);
    if (!answered) error = GetLastError();
  }
  if (!answered) {
    return SetResultError(FormatText("Visual camera not responding, error: 0x%X", error).c_str(),
                          kNotResponding);
  }
  if (state != kActive) return SetResultError(kNotActive);
  return SetResultTested("Visual camera tested");
}

DWORD CreateVisualGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroup("visual", [](GroupBuilder& group) {
    group.Add(new CResBitVisual("detect", "Visual"));
    group.Add(new CResBitVisualMode("draft", "Draft", 0));
    group.Add(new CResBitVisualMode("still", "Still", 1));
  });
}
