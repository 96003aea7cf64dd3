#include "tests/device/video_ddr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "items/format.h"
#include "items/group_builder.h"
#include "task/platform.h"
#include "tests/device/video_driver.h"

namespace {

constexpr DWORD kBlockWords = 1024;
constexpr DWORD kBlockStep = 0x400;  // the driver's address unit is its own
constexpr DWORD kPause = 10000;      // ms, between the passes of the loop

constexpr DWORD kNoDriverCode = 0x110;
constexpr DWORD kReadCode = 0x112;
constexpr DWORD kWriteCode = 0x113;
constexpr DWORD kVerifyCode = 0x114;

// Also for a failed read: the technicians' sheets know the text so.
constexpr char kAccessFailed[] = "Couldn't write to SDRAM at 0x%x (error: 0x%x)";

struct AddressRange {
  DWORD start;
  DWORD end;  // not included
};
constexpr AddressRange kH[] = {{0x2A9800, 0x7A11C00}};
constexpr AddressRange kM7[] = {{0x420800, 0x7A11C00}, {0x8422000, 0xFA11C00}};
constexpr AddressRange kKY[] = {
    {0x420000, 0x3D08C00}, {0x4984000, 0x7D08C00}, {0x8360000, 0xBD08C00}};
constexpr AddressRange kR7AndLater[] = {{0x16F000, 0x7A11C00}, {0x8DF4000, 0xFA11C00}};
constexpr AddressRange kOther[] = {{0, 0x2F800}};

std::span<const AddressRange> RangesOf(DWORD platform) {
  switch (platform) {
    case kPlatformH:
      return kH;
    case kPlatformM7:
      return kM7;
    case kPlatformKY:
      return kKY;
    case kPlatformR7:
    case kPlatformR8:
    case kPlatformLQ:
      return kR7AndLater;
    default:
      return kOther;
  }
}

}  // namespace

CResBitVDDR::CResBitVDDR(const TARQ::CResourcePath& path, const char* description, DWORD platform)
    : CResBitItem(path, description), mPlatform(platform), mFvdHandle(L"FVD1:") {}

// What the failure's setter returned; 0 and passed for a good block.
DWORD CResBitVDDR::TestBlock(DWORD address, DWORD* pattern, DWORD* readBack, bool& passed) {
  // Never seeded: a later pass goes on with other words.
  std::generate_n(pattern, kBlockWords, [] { return static_cast<DWORD>(rand()); });
  const DWORD written = WriteVideoMemory(mFvdHandle.Get(), address, kBlockWords, pattern);
  if (written != 0) {
    return SetResultError(FormatText(kAccessFailed, address, written).c_str(), kWriteCode);
  }
  if (ReadVideoMemory(mFvdHandle.Get(), address, kBlockWords, readBack) != 0) {
    return SetResultError(FormatText(kAccessFailed, address, 0).c_str(), kReadCode);
  }
  if (memcmp(readBack, pattern, kBlockWords * sizeof(DWORD)) != 0) {
    const auto [got, expected] = std::mismatch(readBack, readBack + kBlockWords, pattern);
    const auto index = static_cast<DWORD>(got - readBack);
    return SetResultError(FormatText("Verify error in SDRAM  at 0x%x,0x%x, got:0x%x, expected 0x%x",
                                     address, index, *got, *expected)
                              .c_str(),
                          kVerifyCode);
  }
  passed = true;
  return 0;
}

DWORD CResBitVDDR::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  if (!mFvdHandle.IsOpen()) return SetResultError(" Failed to init test(1)", kNoDriverCode);

  std::vector<DWORD> pattern(kBlockWords);
  std::vector<DWORD> readBack(kBlockWords);
  for (const AddressRange& range : RangesOf(mPlatform)) {
    for (DWORD address = range.start; address < range.end; address += kBlockStep) {
      bool passed = false;
      const DWORD status = TestBlock(address, pattern.data(), readBack.data(), passed);
      if (!passed) return status;
    }
  }
  return SetResultOK("Video DDR OK");
}

DWORD CResBitLoopVDDR::RunTest(const TARQ::CResourceValue& written) {
  for (;;) {
    CResBitVDDR::RunTest(written);
    Sleep(kPause);
  }
}

DWORD CreateVddrGroup(CBitTask* /*task*/, DWORD platform) {
  GroupBuilder group("VDDR");
  if (group.Status() != 0) return group.Status();
  group.Add(new CResBitVDDR("test", "VDDR", platform));
  group.Add(new CResBitLoopVDDR("looptest", "LoopVDDR", platform));
  return 0;
}
