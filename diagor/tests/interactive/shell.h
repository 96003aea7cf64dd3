// The camera's shell: what <windows.h> does not declare.
#pragma once

#include <windows.h>

// A bitmap file. Null when there is none, or it is broken.
extern "C" HBITMAP WINAPI SHLoadDIBitmap(LPCWSTR path);
