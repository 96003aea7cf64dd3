// Which camera this is.
#pragma once

#include <windows.h>

enum PlatformNumber : DWORD {
  kPlatformN = 0,
  kPlatformK = 1,
  kPlatformR = 2,  // with a system image
  kPlatformM = 3,
  kPlatformV = 4,
  kPlatformRRem = 5,  // R without a system image
  kPlatformN7 = 6,
  kPlatformH = 7,
  kPlatformM7 = 8,
  kPlatformKY = 9,
  kPlatformR7 = 10,
  kPlatformR8 = 11,
  kPlatformM8 = 12,
  kPlatformLQ = 13,
  kPlatformV8 = 14,
};

// The camera runs from its second flash file system; the keypad and the LCD test images depend on
// it. Set while the platform is identified, before any test can run.
inline bool gBfsInUse = false;
