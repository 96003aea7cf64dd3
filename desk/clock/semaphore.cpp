#include "clock/semaphore.h"

#include <cerrno>
#include <ctime>

namespace desk {

Semaphore::Semaphore() : mSemaphore() {
  sem_init(&mSemaphore, 0, 0);
}

Semaphore::~Semaphore() {
  sem_destroy(&mSemaphore);
}

void Semaphore::Post() {
  sem_post(&mSemaphore);
}

void Semaphore::Wait() {
  while (sem_wait(&mSemaphore) != 0 && errno == EINTR) {
  }
}

bool Semaphore::WaitUntil(std::int64_t deadline) {
  constexpr std::int64_t kPerSecond = 1'000'000'000;
  const timespec until = {deadline / kPerSecond, deadline % kPerSecond};
  for (;;) {
    if (sem_clockwait(&mSemaphore, CLOCK_MONOTONIC, &until) == 0) return true;
    if (errno != EINTR) return false;
  }
}

}  // namespace desk
