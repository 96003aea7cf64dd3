#include "tests/device/video_driver.h"

#include <cstring>

namespace {

constexpr DWORD kIoctlReadRegister = 0x80000024;
constexpr DWORD kIoctlSetRegister = 0x80000028;
constexpr DWORD kFunctionRegister = 58;
constexpr DWORD kFaultRegister = 59;

constexpr DWORD kIoctlCameraMode = 0x81008024;
constexpr DWORD kIoctlCameraState = 0x81004014;

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

bool RegisterIsClear(HANDLE fvd, DWORD number) {
  DWORD word = 0;
  DWORD returned = 0;
  return DeviceIoControl(fvd, kIoctlReadRegister, &number, sizeof number, &word, sizeof word,
                         &returned, nullptr) != FALSE &&
         word == 0;
}

}  // namespace

bool SetFunctionRegister(HANDLE fvd, DWORD value) {
  DWORD words[] = {kFunctionRegister, value};
  return DeviceIoControl(fvd, kIoctlSetRegister, words, sizeof words, nullptr, 0, nullptr,
                         nullptr) != FALSE;
}

bool RegistersAreClear(HANDLE fvd) {
  return RegisterIsClear(fvd, kFunctionRegister) && RegisterIsClear(fvd, kFaultRegister);
}

bool SetCameraMode(HANDLE cam, DWORD mode) {
  DWORD returned = 0;
  return DeviceIoControl(cam, kIoctlCameraMode, &mode, sizeof mode, nullptr, 0, &returned,
                         nullptr) != FALSE;
}

bool ReadCameraState(HANDLE cam, DWORD& state) {
  DWORD returned = 0;
  return DeviceIoControl(cam, kIoctlCameraState, nullptr, 0, &state, sizeof state, &returned,
                         nullptr) != FALSE;
}

DWORD WriteVideoMemory(HANDLE fvd, DWORD address, DWORD words, const DWORD* source) {
  const DWORD length = words * static_cast<DWORD>(sizeof(DWORD));
  const DataArea area(length);
  if (area.Data() == nullptr) return 1;
  memcpy(area.Data(), source, length);
  return Request(fvd, kIoctlWriteMemory, address, length, area.Data()) ? 0 : 1;
}

DWORD ReadVideoMemory(HANDLE fvd, DWORD address, DWORD words, DWORD* destination) {
  const DWORD length = words * static_cast<DWORD>(sizeof(DWORD));
  const DataArea area(length);
  if (area.Data() == nullptr) return 1;
  if (!Request(fvd, kIoctlReadMemory, address, length, area.Data())) return 1;
  memcpy(destination, area.Data(), length);
  return 0;
}
