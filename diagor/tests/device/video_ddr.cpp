#include "tests/device/video_ddr.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"

namespace {

constexpr DWORD kBlockWords = 1024;
constexpr DWORD kBlockStep = 0x400;  // the driver's address unit is its own
constexpr DWORD kPause = 10000;      // ms, between the passes of the loop

constexpr Failure kNoDriver = {0x110, " Failed to init test(1)"};
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

constexpr DWORD kIoctlWriteMemory = 0x80000014;
constexpr DWORD kIoctlReadMemory = 0x80000018;

// The memory request, as the driver takes it.
struct VideoMemoryRequest {
  DWORD kind;
  DWORD wordSize;
  DWORD reserved;
  DWORD address;  // in video memory
  DWORD length;   // bytes
  void* data;
  DWORD unused[4];
};
static_assert(sizeof(VideoMemoryRequest) == (sizeof(void*) == 4 ? 40 : 48));

// The address space that a request's data area reserves, however little it commits.
constexpr DWORD kAreaSize = 0x200000;

class DataArea {
 public:
  explicit DataArea(DWORD length)
      : mBase(VirtualAlloc(nullptr, kAreaSize, MEM_RESERVE, PAGE_NOACCESS)) {
    if (mBase != nullptr) mData = VirtualAlloc(mBase, length, MEM_COMMIT, PAGE_READWRITE);
  }
  ~DataArea() {
    if (mBase != nullptr) VirtualFree(mBase, 0, MEM_RELEASE);
  }
  DataArea(const DataArea&) = delete;
  DataArea& operator=(const DataArea&) = delete;

  void* Data() const { return mData; }  // null when there is no memory

 private:
  void* mBase;
  void* mData = nullptr;
};

bool Request(HANDLE fvd, DWORD code, DWORD address, DWORD length, void* data) {
  VideoMemoryRequest request = {};
  request.kind = 0x10000;
  request.wordSize = sizeof(DWORD);
  request.address = address;
  request.length = length;
  request.data = data;
  return DeviceIoControl(fvd, code, &request, sizeof request, nullptr, 0, nullptr, nullptr) !=
         FALSE;
}

// Two passes at once would overwrite each other's words.
TurnLock& MemoryTurns() {
  static TurnLock lock;
  return lock;
}

}  // namespace

CResBitVDDR::CResBitVDDR(const TARQ::CResourcePath& path, const char* description, DWORD platform)
    : CResBitItem(path, description), mPlatform(platform), mFvdHandle(L"FVD1:") {}

DWORD CResBitVDDR::WriteMemory(HANDLE fvd, DWORD address, DWORD words, const DWORD* source) {
  const DWORD length = words * static_cast<DWORD>(sizeof(DWORD));
  const DataArea area(length);
  if (area.Data() == nullptr) return 1;
  memcpy(area.Data(), source, length);
  return Request(fvd, kIoctlWriteMemory, address, length, area.Data()) ? 0 : 1;
}

DWORD CResBitVDDR::ReadMemory(HANDLE fvd, DWORD address, DWORD words, DWORD* destination) {
  const DWORD length = words * static_cast<DWORD>(sizeof(DWORD));
  const DataArea area(length);
  if (area.Data() == nullptr) return 1;
  if (!Request(fvd, kIoctlReadMemory, address, length, area.Data())) return 1;
  memcpy(destination, area.Data(), length);
  return 0;
}

Finding CResBitVDDR::TestBlock(DWORD address, DWORD* pattern, DWORD* readBack) {
  // Never seeded: a later pass goes on with other words.
  std::generate_n(pattern, kBlockWords, [] { return static_cast<DWORD>(rand()); });
  const DWORD written = WriteMemory(mFvdHandle.Get(), address, kBlockWords, pattern);
  if (written != 0) return {kWriteCode, FormatText(kAccessFailed, address, written)};
  if (ReadMemory(mFvdHandle.Get(), address, kBlockWords, readBack) != 0) {
    return {kReadCode, FormatText(kAccessFailed, address, 0)};
  }
  if (memcmp(readBack, pattern, kBlockWords * sizeof(DWORD)) == 0) return {};
  const auto [got, expected] = std::mismatch(readBack, readBack + kBlockWords, pattern);
  const auto index = static_cast<DWORD>(got - readBack);
  return {kVerifyCode, FormatText("Verify error in SDRAM  at 0x%x,0x%x, got:0x%x, expected 0x%x",
                                  address, index, *got, *expected)};
}

Finding CResBitVDDR::TestRanges() {
  if (!mFvdHandle.IsOpen()) return kNoDriver;
  std::vector<DWORD> pattern(kBlockWords);
  std::vector<DWORD> readBack(kBlockWords);
  for (const AddressRange& range : RangesOf(mPlatform)) {
    for (DWORD address = range.start; address < range.end; address += kBlockStep) {
      Finding finding = TestBlock(address, pattern.data(), readBack.data());
      if (finding.code != 0) return finding;
    }
  }
  return {0, "Video DDR OK"};
}

DWORD CResBitVDDR::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(MemoryTurns(), [this] { return TestRanges(); });
}

// A turn for each pass: between two of them the memory is free for others.
DWORD CResBitLoopVDDR::RunTest(const TARQ::CResourceValue& written) {
  for (;;) {
    CResBitVDDR::RunTest(written);
    Sleep(kPause);
  }
}

DWORD CreateVddrGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("VDDR", [platform](GroupBuilder& group) {
    group.Add(new CResBitVDDR("test", "VDDR", platform));
    group.Add(new CResBitLoopVDDR("looptest", "LoopVDDR", platform));
  });
}
