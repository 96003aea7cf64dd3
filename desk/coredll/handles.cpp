#include "coredll/handles.h"

#include <map>
#include <mutex>

#include "coredll/machine.h"

namespace desk {

namespace {

std::mutex gHandlesLock;
std::map<std::uintptr_t, std::shared_ptr<KernelObject>> gHandles;
std::uintptr_t gNextHandle = 0x100;

}  // namespace

HANDLE NewHandle(std::shared_ptr<KernelObject> object) {
  const std::lock_guard lock(gHandlesLock);
  const std::uintptr_t handle = gNextHandle;
  gNextHandle += 4;  // multiples of four, as handles are
  gHandles.emplace(handle, std::move(object));
  return reinterpret_cast<HANDLE>(handle);
}

std::shared_ptr<KernelObject> ObjectOf(HANDLE handle) {
  const std::lock_guard lock(gHandlesLock);
  const auto found = gHandles.find(reinterpret_cast<std::uintptr_t>(handle));
  return found == gHandles.end() ? nullptr : found->second;
}

std::size_t OpenHandles() {
  const std::lock_guard lock(gHandlesLock);
  return gHandles.size();
}

bool Event::TakeSignal() {
  if (!mSignalled) return false;
  if (!mManual) mSignalled = false;
  return true;
}

void Event::Signal() {
  TheMachine().clock->Change([this] { mSignalled = true; });
}

}  // namespace desk

BOOL WINAPI CloseHandle(HANDLE handle) {
  std::shared_ptr<desk::KernelObject> closed;  // released after the lock
  {
    const std::lock_guard lock(desk::gHandlesLock);
    const auto found = desk::gHandles.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found != desk::gHandles.end()) {
      closed = std::move(found->second);
      desk::gHandles.erase(found);
    }
  }
  if (closed == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  return TRUE;
}
