// A counting semaphore whose post does not need a lock held. What blocks a thread that waits for
// the camera's time.
#pragma once

#include <semaphore.h>

#include <cstdint>

namespace desk {

class Semaphore {
 public:
  Semaphore();
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  void Post();
  void Wait();
  // False when the machine's steady clock reaches the deadline first; nanoseconds of that clock.
  bool WaitUntil(std::int64_t deadline);

 private:
  sem_t mSemaphore;
};

}  // namespace desk
