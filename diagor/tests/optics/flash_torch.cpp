#include "tests/optics/flash_torch.h"

#include "items/group_builder.h"
#include "items/resource_access.h"

namespace {

constexpr char kTorch[] = "system.vcam.torch";
constexpr char kFlash[] = "system.vcam.flash";
constexpr Failure kNoFlash = {0xD0, "Failed to init test"};
constexpr Failure kNoTorch = {0xD1, "Failed to init torch test"};
constexpr int kRounds = 3;
constexpr DWORD kHold = 1000;  // ms

void Switch(const OpenedResource& lamp, bool on) {
  lamp.Write(TARQ::CResourceValue(on, 0));
}

// Each false without the lamps that it switches; both leave the lamps off.
bool FlashThreeTimes() {
  OpenedResource torch(Tree::Camera, kTorch);
  OpenedResource flash(Tree::Camera, kFlash);
  if (!torch || !flash) return false;
  for (int round = 0; round < kRounds; ++round) {
    Switch(flash, false);
    Switch(torch, true);
    Sleep(kHold);
    Switch(flash, true);
    Sleep(kHold);
    Switch(flash, false);
    Switch(torch, false);
    Sleep(kHold);
  }
  torch.Close();
  flash.Close();
  return true;
}

bool LightThreeTimes() {
  const OpenedResource torch(Tree::Camera, kTorch);
  if (!torch) return false;
  for (int round = 0; round < kRounds; ++round) {
    Switch(torch, true);
    Sleep(kHold);
    Switch(torch, false);
    Sleep(kHold);
  }
  return true;
}

}  // namespace

DWORD CResBitFlash::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  if (!FlashThreeTimes()) return SetResultError(kNoFlash);
  return SetResultTested("FLASH tested");
}

DWORD CResBitTorch::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  if (!LightThreeTimes()) return SetResultError(kNoTorch);
  return SetResultTested("TORCH tested");
}

DWORD CreateFlashGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitFlash>("flash", "flash", "Flash");
}

DWORD CreateTorchGroup(CBitTask* /*task*/, DWORD /*platform*/) {
  return CreateGroupOfOne<CResBitTorch>("torch", "torch", "Torch");
}
