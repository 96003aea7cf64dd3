// "CAM1:": the visual (daylight) camera, with its mode and its state.
#pragma once

#include "drivers/driver_port.h"

namespace desk {

class VisualCamera : public DriverPort {
 public:
  VisualCamera();
  KnobSet& CameraKnobs() { return mCameraKnobs; }

  static std::span<const KnobRow> CameraKnobRows();

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  KnobSet mCameraKnobs;
};

}  // namespace desk
