#include "tests/device/video_driver.h"

namespace {

constexpr DWORD kIoctlReadRegister = 0x80000024;
constexpr DWORD kIoctlSetRegister = 0x80000028;
constexpr DWORD kFunctionRegister = 58;
constexpr DWORD kFaultRegister = 59;

constexpr DWORD kIoctlCameraMode = 0x81008024;
constexpr DWORD kIoctlCameraState = 0x81004014;

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

TurnLock& VideoFunctionTurns() {
  static TurnLock lock;
  return lock;
}
