// Requests to the video front-end "FVD1:" and the visual camera "CAM1:".
#pragma once

#include <windows.h>

// Register 58 of the front-end selects what it shows; 58 and 59 then tell whether it works.
bool SetFunctionRegister(HANDLE fvd, DWORD value);
// Both status registers read 0.
bool RegistersAreClear(HANDLE fvd);

bool SetCameraMode(HANDLE cam, DWORD mode);
bool ReadCameraState(HANDLE cam, DWORD& state);

// Words of video memory, at most 0x80000 of them; each request has a data area of its own. Address:
// the driver's. 0, or 1 when the area cannot be made or the driver fails.
DWORD WriteVideoMemory(HANDLE fvd, DWORD address, DWORD words, const DWORD* source);
DWORD ReadVideoMemory(HANDLE fvd, DWORD address, DWORD words, DWORD* destination);
