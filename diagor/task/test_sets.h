// Which hardware groups each platform has, and the builders that make its test tree of them.
#pragma once

#include "items/platform.h"

class CBitTask;

// The builder of the platforms 1 to 14. The test root's status when that fails; else 0, or for
// most platforms what the last group's creator returned.
DWORD BuildPlatform(CBitTask* task, PlatformNumber platform);

// The builder of platform 0, whose items stand directly under test.items.
DWORD BuildPlatformN(CBitTask* task);
