// "FVD1:": the video front-end, with its memory and its status registers 58 and 59.
#pragma once

#include "drivers/driver_port.h"
#include "drivers/video_memory.h"

namespace desk {

class VideoFrontEnd : public DriverPort {
 public:
  VideoFrontEnd();
  KnobSet& RegisterKnobs() { return mRegisterKnobs; }
  VideoMemory& Memory() { return mMemory; }

  // A memory request shows without the address of its data area, which differs from run to run.
  void Trace(const IoRequest& request, bool ok) const override;

  static std::span<const KnobRow> RegisterKnobRows();

 protected:
  DWORD Serve(const IoRequest& request) override;

 private:
  DWORD ServeMemory(const IoRequest& request);
  DWORD ReadRegister(const IoRequest& request);

  KnobSet mRegisterKnobs;
  VideoMemory mMemory;
};

}  // namespace desk
