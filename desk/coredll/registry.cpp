#include <windows.h>

#include <cstring>
#include <cwchar>

#include "coredll/machine.h"

namespace {

#define KEY_IDENT (reinterpret_cast<HKEY>(static_cast<std::uintptr_t>(0x1DE)))

}  // namespace

LONG WINAPI RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD /*options*/, DWORD /*access*/,
                          HKEY* result) {
  if (key != HKEY_LOCAL_MACHINE || wcscmp(subKey, L"Ident") != 0) return ERROR_FILE_NOT_FOUND;
  *result = KEY_IDENT;
  return ERROR_SUCCESS;
}

LONG WINAPI RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* /*reserved*/, DWORD* type, BYTE* data,
                             DWORD* size) {
  if (key != KEY_IDENT) return ERROR_INVALID_HANDLE;
  const std::optional<std::wstring> value = desk::TheMachine().registry.Bsp();
  if (!value || wcscmp(name, L"BSP") != 0) return ERROR_FILE_NOT_FOUND;

  const auto needed = static_cast<DWORD>((value->size() + 1) * sizeof(wchar_t));
  const DWORD room = *size;
  *size = needed;
  if (type != nullptr) *type = REG_SZ;
  if (data == nullptr) return ERROR_SUCCESS;
  if (needed > room) return ERROR_MORE_DATA;
  memcpy(data, value->c_str(), needed);
  return ERROR_SUCCESS;
}

LONG WINAPI RegCloseKey(HKEY key) {
  return key == KEY_IDENT ? ERROR_SUCCESS : static_cast<LONG>(ERROR_INVALID_HANDLE);
}
