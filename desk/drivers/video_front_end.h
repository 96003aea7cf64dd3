// "FVD1:": the video front-end, with its memory and its status registers 58 and 59.
#pragma once

#include <functional>
#include <span>

#include "drivers/driver_port.h"
#include "drivers/video_memory.h"

namespace desk {

struct FrameWindow;

class VideoFrontEnd : public DriverPort {
 public:
  VideoFrontEnd();
  // Where its frames come from; without, it measures nothing.
  using MeasureWindows = std::function<bool(std::span<FrameWindow>)>;
  void OnMeasure(MeasureWindows measure) { mMeasure = std::move(measure); }
  KnobSet& RegisterKnobs() { return mRegisterKnobs; }
  VideoMemory& Memory() { return mMemory; }

  // Addresses differ from run to run: a memory request shows without its data area, a measurement
  // with its windows in place of their address.
  void Trace(const IoRequest& request, bool ok) const override;

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  DWORD ServeMemory(const IoRequest& request);
  DWORD ServeMeasurement(const IoRequest& request) const;
  DWORD ReadRegister(const IoRequest& request);

  MeasureWindows mMeasure;
  KnobSet mRegisterKnobs;
  VideoMemory mMemory;
};

}  // namespace desk
