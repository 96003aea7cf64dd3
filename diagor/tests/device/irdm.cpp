#include "tests/device/irdm.h"

#include "items/group_builder.h"
#include "tests/device/video_driver.h"

namespace {

constexpr DWORD kIrdmFunction = 1;
constexpr DWORD kSettling = 100;  // ms

}  // namespace

CResBitIRDM::CResBitIRDM(const TARQ::CResourcePath& path, const char* description)
    : CResBitItem(path, description), mFvdHandle(L"FVD1:") {}

DWORD CResBitIRDM::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  if (!mFvdHandle.IsOpen() || !SetFunctionRegister(mFvdHandle.Get(), kIrdmFunction)) {
    return SetResultError("Failed to init IRDM test", 0xB0);
  }
  Sleep(kSettling);
  if (!RegistersAreClear(mFvdHandle.Get())) return SetResultError("IRDM not detected", 0xB1);
  return SetResultOK("IRDM OK");
}

DWORD CreateIrdmGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitIRDM>("IRDM", "IRDM", "IRDM");
}
