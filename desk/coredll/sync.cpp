// Events and waits.
#include <windows.h>

#include <algorithm>
#include <thread>
#include <vector>

#include "coredll/handles.h"
#include "coredll/machine.h"
#include "knobs/knob.h"
#include "trace/observation.h"

namespace {

desk::TimePoint DeadlineIn(DWORD milliseconds) {
  if (milliseconds == INFINITE) return desk::kNever;
  return desk::TheMachine().clock->Now() + std::chrono::milliseconds(milliseconds);
}

}  // namespace

HANDLE WINAPI CreateEventW(SECURITY_ATTRIBUTES* /*security*/, BOOL manualReset, BOOL initialState,
                           LPCWSTR /*name*/) {
  return desk::NewHandle(
      std::make_shared<desk::Event>(manualReset != FALSE, initialState != FALSE));
}

BOOL WINAPI SetEvent(HANDLE event) {
  const auto object = std::dynamic_pointer_cast<desk::Event>(desk::ObjectOf(event));
  if (object == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  object->Signal();
  return TRUE;
}

DWORD WINAPI WaitForMultipleObjects(DWORD count, const HANDLE* handles, BOOL waitAll,
                                    DWORD milliseconds) {
  std::vector<std::shared_ptr<desk::KernelObject>> objects;
  for (DWORD i = 0; i < count; ++i) objects.push_back(desk::ObjectOf(handles[i]));
  for (const auto& object : objects) {
    if (object != nullptr && waitAll == FALSE) continue;
    SetLastError(object == nullptr ? ERROR_INVALID_HANDLE : ERROR_INVALID_PARAMETER);
    return WAIT_FAILED;
  }
  if (desk::TheMachine().waits != nullptr && desk::TheMachine().waits->ShouldFail()) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return WAIT_FAILED;
  }
  DWORD signalled = WAIT_TIMEOUT;
  const auto any = [&] {
    for (DWORD i = 0; i < count; ++i) {
      if (objects[i]->TakeSignal()) {
        signalled = WAIT_OBJECT_0 + i;
        return true;
      }
    }
    return false;
  };
  desk::TheMachine().clock->Wait(any, DeadlineIn(milliseconds));
  return signalled;
}

void WINAPI Sleep(DWORD milliseconds) {
  desk::Observation::Step("sleep", {{"length", static_cast<std::int64_t>(milliseconds)}});
  desk::TheMachine().clock->SleepUntil(DeadlineIn(milliseconds));
}

DWORD WINAPI GetTickCount() {
  const auto now =
      std::chrono::duration_cast<std::chrono::milliseconds>(desk::TheMachine().clock->Now());
  return static_cast<DWORD>(now.count());
}

namespace {

// Under the clock's lock.
struct Section {
  std::thread::id owner;
  int entries = 0;
  std::vector<std::thread::id> waiting;
};

Section& SectionOf(CRITICAL_SECTION* section) {
  return *static_cast<Section*>(section->section);
}

// Nobody may rely on an order of those who wait: here who came last goes first.
bool Enters(Section& section, std::thread::id self) {
  const auto place = std::find(section.waiting.begin(), section.waiting.end(), self);
  const bool isFree = section.entries == 0 || section.owner == self;
  const bool isNext = place == section.waiting.end() || place + 1 == section.waiting.end();
  if (!isFree || !isNext) {
    if (place == section.waiting.end()) section.waiting.push_back(self);
    return false;
  }
  if (place != section.waiting.end()) section.waiting.erase(place);
  section.owner = self;
  ++section.entries;
  return true;
}

}  // namespace

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) {
  section->section = new Section;
}

void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) {
  delete &SectionOf(section);
  section->section = nullptr;
}

void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) {
  const std::thread::id self = std::this_thread::get_id();
  desk::TheMachine().clock->Wait(
      [&entered = SectionOf(section), self] { return Enters(entered, self); }, desk::kNever);
}

void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) {
  Section& left = SectionOf(section);
  desk::TheMachine().clock->Change([&left] { --left.entries; });
}
