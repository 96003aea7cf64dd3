// Tests that share a part of the camera take turns at it: one at a time, in the order in which they
// came.
#pragma once

#include <windows.h>

// The system's critical sections promise no order, and an operator answers the dialogs in the order
// in which their tests were asked for: who waits here stands in a queue. Made by whichever thread
// comes first, and there for the process' life: a test may still wait in it when the process ends.
class TurnLock {
 public:
  TurnLock() { InitializeCriticalSection(&mSection); }
  TurnLock(const TurnLock&) = delete;
  TurnLock& operator=(const TurnLock&) = delete;

 private:
  friend class Turn;
  struct Waiting {
    HANDLE event = nullptr;  // signalled when the turn has come
    bool hasTurn = false;
    Waiting* next = nullptr;
  };
  class Section;

  void Take();
  void Give();
  bool HasTurn(const Waiting& waiting);

  CRITICAL_SECTION mSection = {};  // of what follows; held for a moment, never across a wait
  bool mIsTaken = false;
  Waiting* mFirst = nullptr;
  Waiting* mLast = nullptr;
};

class Turn {
 public:
  explicit Turn(TurnLock& lock) : mLock(lock) { mLock.Take(); }
  ~Turn() { mLock.Give(); }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  TurnLock& mLock;
};
