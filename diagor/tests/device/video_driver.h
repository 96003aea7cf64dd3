// Requests to the video front-end "FVD1:" and the visual camera "CAM1:".
#pragma once

#include "items/turn.h"

// Register 58 of the front-end selects what it shows; 58 and 59 then tell whether it works.
bool SetFunctionRegister(HANDLE fvd, DWORD value);
// Both status registers read 0.
bool RegistersAreClear(HANDLE fvd);

bool SetCameraMode(HANDLE cam, DWORD mode);
bool ReadCameraState(HANDLE cam, DWORD& state);

// The tests that select what the front-end shows, and the camera's mode, share both.
TurnLock& VideoFunctionTurns();
