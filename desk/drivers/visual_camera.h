// "CAM1:": the visual (daylight) camera, with its mode and its state.
#pragma once

#include "drivers/driver_port.h"

namespace desk {

class VisualCamera : public DriverPort {
 public:
  VisualCamera();
  KnobSet& CameraKnobs() { return mCameraKnobs; }

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  KnobSet mCameraKnobs;
};

}  // namespace desk
