// Tests that share a part of the camera take turns at it: one at a time, whoever comes second
// waits.
#pragma once

#include <windows.h>

// The system's own lock, since it is held while a test waits for a person or a motor. Made by
// whichever thread comes first, and there for the process' life: a test may still wait in it when
// the process ends.
class TurnLock {
 public:
  TurnLock() { InitializeCriticalSection(&mSection); }
  TurnLock(const TurnLock&) = delete;
  TurnLock& operator=(const TurnLock&) = delete;

 private:
  friend class Turn;
  CRITICAL_SECTION mSection = {};
};

class Turn {
 public:
  explicit Turn(TurnLock& lock) : mLock(lock) { EnterCriticalSection(&mLock.mSection); }
  ~Turn() { LeaveCriticalSection(&mLock.mSection); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  TurnLock& mLock;
};
