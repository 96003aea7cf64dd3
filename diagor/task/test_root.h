// The part of the test tree that every platform has.
#pragma once

#include <windows.h>

class CBitTask;

// Makes test with errcnt, clearResult, clearLog, description and the empty items. 0, or
// kNoResourceTree without a usable local tree.
DWORD BuildTestRoot(CBitTask* task, DWORD platform);
