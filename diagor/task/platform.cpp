#include "task/platform.h"

#include <cstdio>
#include <cwchar>

#include "items/files.h"
#include "items/platform.h"
#include "items/resource_access.h"
#include "items/status.h"
#include "task/test_sets.h"

namespace {

constexpr DWORD kCodeSize = 4;  // characters, with the terminator

struct CodeRow {
  const wchar_t* code;
  PlatformNumber platform;
};

constexpr CodeRow kCodes[] = {
    {L"K", kPlatformK},   {L"KY", kPlatformKY}, {L"H", kPlatformH},   {L"N", kPlatformN},
    {L"N7", kPlatformN7}, {L"R", kPlatformR},   {L"M", kPlatformM},   {L"M8", kPlatformM8},
    {L"M7", kPlatformM7}, {L"V", kPlatformV},   {L"V8", kPlatformV8}, {L"R7", kPlatformR7},
    {L"R8", kPlatformR8}, {L"LQ", kPlatformLQ},
};

// Two cameras share the code R: only the one that makes its own system image has all the optics.
bool HasSystemImage() {
  const OpenedResource systemImage(Tree::Camera, "image.sysimg");
  return static_cast<bool>(systemImage);
}

DWORD RunBuilder(CBitTask* task, PlatformNumber platform) {
  if (platform == kPlatformN) return BuildPlatformN(task);
  if (platform == kPlatformR && !HasSystemImage()) platform = kPlatformRRem;
  if (platform == kPlatformR7) gBfsInUse = CanBeRead("/FlashBFS/system/diagor.exe");
  if (platform == kPlatformV8) gBfsInUse = true;
  return BuildPlatform(task, platform);
}

DWORD UnknownPlatform(const char* reason) {
  fprintf(stderr, "bit: unknown camera platform: %s\n", reason);
  return kUnknownPlatform;
}

DWORD BuildNamedPlatform(CBitTask* task, HKEY ident) {
  wchar_t code[kCodeSize + 1] = {};
  DWORD size = kCodeSize * sizeof(wchar_t);
  if (RegQueryValueExW(ident, L"BSP", nullptr, nullptr, reinterpret_cast<BYTE*>(code), &size) !=
      ERROR_SUCCESS) {
    return UnknownPlatform(
        "the registry value Ident\\BSP is missing or longer than three characters");
  }
  for (const CodeRow& row : kCodes) {
    if (wcscmp(row.code, code) == 0) return RunBuilder(task, row.platform);
  }
  return UnknownPlatform(
      "the registry value Ident\\BSP is none of the codes that this program knows");
}

}  // namespace

DWORD BuildTestTree(CBitTask* task) {
  HKEY ident = nullptr;
  if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"Ident", 0, 0, &ident) != ERROR_SUCCESS) {
    return UnknownPlatform("the registry key Ident is missing");
  }
  const DWORD status = BuildNamedPlatform(task, ident);
  RegCloseKey(ident);
  return status;
}
