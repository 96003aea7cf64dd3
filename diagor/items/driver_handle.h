// Stream drivers as the tests open them: to send requests, not to read or write.
#pragma once

#include <windows.h>

// An open driver, closed at the end of its life. One that is missing is INVALID_HANDLE_VALUE, which
// every request refuses.
class DriverHandle {
 public:
  explicit DriverHandle(const wchar_t* name)
      : mHandle(CreateFileW(name, 0, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)) {}
  ~DriverHandle() {
    if (IsOpen()) CloseHandle(mHandle);
  }
  DriverHandle(const DriverHandle&) = delete;
  DriverHandle& operator=(const DriverHandle&) = delete;

  bool IsOpen() const { return mHandle != INVALID_HANDLE_VALUE; }
  HANDLE Get() const { return mHandle; }

 private:
  HANDLE mHandle;
};
