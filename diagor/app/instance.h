// The module instance, needed to create windows and to find dialog templates.
#pragma once

#include <windows.h>

// Written once by WinMain, before any other thread exists.
extern HINSTANCE gInstance;
