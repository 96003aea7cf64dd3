// The program's own status codes, beside those that the framework returns.
#pragma once

#include <windows.h>

constexpr DWORD kNoResourceTree = 0x64070000;   // a resource tree is missing or unusable
constexpr DWORD kUnknownPlatform = 0x64070001;  // the registry names no platform of this program
