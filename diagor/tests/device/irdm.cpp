#include "tests/device/irdm.h"

#include "items/group_builder.h"
#include "tests/device/video_driver.h"

namespace {

constexpr DWORD kIrdmFunction = 1;
constexpr DWORD kSettling = 100;  // ms

constexpr Failure kFailedInit = {0xB0, "Failed to init IRDM test"};
constexpr Failure kNotDetected = {0xB1, "IRDM not detected"};

}  // namespace

CResBitIRDM::CResBitIRDM(const TARQ::CResourcePath& path, const char* description)
    : CResBitItem(path, description), mFvdHandle(L"FVD1:") {}

Finding CResBitIRDM::AskFrontEnd() {
  if (!mFvdHandle.IsOpen() || !SetFunctionRegister(mFvdHandle.Get(), kIrdmFunction)) {
    return kFailedInit;
  }
  Sleep(kSettling);
  if (!RegistersAreClear(mFvdHandle.Get())) return kNotDetected;
  return {0, "IRDM OK"};
}

DWORD CResBitIRDM::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(VideoFunctionTurns(), [this] { return AskFrontEnd(); });
}

DWORD CreateIrdmGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitIRDM>("IRDM", "IRDM", "IRDM");
}
