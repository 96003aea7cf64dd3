#include "drivers/visual_camera.h"

#include <cstring>

namespace desk {

namespace {

constexpr DWORD kIoctlMode = 0x81008024;
constexpr DWORD kIoctlState = 0x81004014;
constexpr DWORD kDraft = 2;
constexpr DWORD kStill = 3;

enum Row : std::size_t { kState, kMode, kRefuses };

constexpr KnobRow kRows[] = {
    {"state", KnobKind::Integer, "", "1", 0, 2147483647, "1: the camera is active.",
     Breaks({"0", "the visual camera is not active", "visual camera"})},
    {"mode", KnobKind::Integer, "", "2", 2, 3, "The mode it is in: 2 draft, 3 still.",
     Condition("which mode the visual camera is in")},
    {"refuses", KnobKind::Integer, "", "0", 0, 3,
     "The mode that it does not take; 0: it takes both.",
     Breaks({"2", "the visual camera does not take the draft mode", "visual camera"},
            {"3", "the visual camera does not take the still mode", "visual camera"})},
};
constexpr KnobFamily kFamily = {"Visual camera", ".desk.cam", kRows};

}  // namespace

VisualCamera::VisualCamera()
    : DriverPort("CAM1:", "the link to the visual camera", "visual camera"),
      mCameraKnobs(kFamily, "visual camera") {}

DWORD VisualCamera::Serve(const IoRequest& request) {
  if (request.code == kIoctlState && request.outputSize == sizeof(DWORD)) {
    const auto state = static_cast<DWORD>(mCameraKnobs[kState].Number());
    memcpy(request.output, &state, sizeof state);
    return 0;
  }
  DWORD mode = 0;
  if (request.code != kIoctlMode || request.inputSize != sizeof mode) {
    return ERROR_INVALID_PARAMETER;
  }
  memcpy(&mode, request.input, sizeof mode);
  if (mode != kDraft && mode != kStill) return ERROR_INVALID_PARAMETER;
  if (mode == static_cast<DWORD>(mCameraKnobs[kRefuses].Number())) return ERROR_IO_DEVICE;
  mCameraKnobs[kMode].Write(static_cast<double>(mode));
  return 0;
}

}  // namespace desk
