// Which camera this is, by the code in its registry.
#pragma once

#include <windows.h>

class CBitTask;

// Identifies the platform by the registry and runs its builder. The builder's status, or
// kUnknownPlatform when the registry names none; standard error then says why.
DWORD BuildTestTree(CBitTask* task);
