#include <windows.h>

namespace {

thread_local DWORD tLastError = 0;

}  // namespace

DWORD WINAPI GetLastError() {
  return tLastError;
}

void WINAPI SetLastError(DWORD error) {
  tLastError = error;
}
