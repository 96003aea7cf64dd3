// Handles of open kernel objects.
#pragma once

#include <windows.h>

#include <memory>

namespace desk {

class KernelObject {
 public:
  virtual ~KernelObject() = default;
  // What can be waited for says whether it is signalled, and takes the signal; runs under the
  // clock's lock. False for all others.
  virtual bool TakeSignal() { return false; }
};

// A new handle on the object, to be closed with CloseHandle.
HANDLE NewHandle(std::shared_ptr<KernelObject> object);
// The object of an open handle, or null.
std::shared_ptr<KernelObject> ObjectOf(HANDLE handle);
// Every handle that is still open; a camera that is taken apart has none left.
std::size_t OpenHandles();

// A manual event stays signalled.
class Event : public KernelObject {
 public:
  Event(bool manual, bool signalled) : mManual(manual), mSignalled(signalled) {}
  bool TakeSignal() override;
  void Signal();

 private:
  const bool mManual;
  bool mSignalled;  // under the clock's lock
};

}  // namespace desk
