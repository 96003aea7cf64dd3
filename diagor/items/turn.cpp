#include "items/turn.h"

namespace {

constexpr DWORD kLook = 100;  // ms, between two looks where no event tells of the turn

}  // namespace

class TurnLock::Section {
 public:
  explicit Section(TurnLock& lock) : mLock(lock) { EnterCriticalSection(&mLock.mSection); }
  ~Section() { LeaveCriticalSection(&mLock.mSection); }
  Section(const Section&) = delete;
  Section& operator=(const Section&) = delete;

 private:
  TurnLock& mLock;
};

bool TurnLock::HasTurn(const Waiting& waiting) {
  const Section section(*this);
  return waiting.hasTurn;
}

void TurnLock::Take() {
  Waiting mine;
  {
    const Section section(*this);
    if (!mIsTaken) {
      mIsTaken = true;
      return;
    }
    mine.event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    (mFirst == nullptr ? mFirst : mLast->next) = &mine;
    mLast = &mine;
  }
  while (!HasTurn(mine)) {
    // Where the system had no event left, or the wait fails, the turn is looked for.
    if (WaitForMultipleObjects(1, &mine.event, FALSE, INFINITE) == WAIT_FAILED) Sleep(kLook);
  }
  if (mine.event != nullptr) CloseHandle(mine.event);
}

// The turn goes on to who has waited longest, and is never free in between.
void TurnLock::Give() {
  const Section section(*this);
  if (mFirst == nullptr) {
    mIsTaken = false;
    return;
  }
  Waiting& next = *mFirst;
  mFirst = next.next;
  next.hasTurn = true;
  // Within the section: afterwards the one who waited may be gone.
  if (next.event != nullptr) SetEvent(next.event);
}
