#include <cstdio>
#include <cstring>

#include "common_dll.h"
#include "coredll/machine.h"
#include "tarq/framework.h"
#include "tarq/task_access.h"

namespace TARQ {

namespace {

// A task that is in the middle of a test does not look at its stop event. The process ends without
// it then, as a process does.
constexpr desk::Duration kStopPatience = std::chrono::milliseconds(600);
// A task that never waits is served all the same.
constexpr desk::Duration kStartPatience = std::chrono::seconds(5);

desk::FrameworkHooks gHooks;
std::atomic<bool> gStopRequested{false};
// Instances that the calling thread holds.
thread_local int tSupervisors = 0;

}  // namespace

CResourceTree* CSupervisor::mpGlobalResourceTree = nullptr;
CResourceTree* CSupervisor::mpLocalResourceTree = nullptr;

struct CSupervisor::Containers {
  struct Entry {
    std::string className;
    std::string instance;
    std::unique_ptr<CLibContainer> container;
  };

  CLibContainer* Take(CSupvFactory& factory, const SupvItem& item) {
    const std::string instance = item.instance == nullptr ? "" : item.instance;
    for (const Entry& entry : entries) {
      if (entry.className == item.className && entry.instance == instance) {
        return entry.container.get();
      }
    }
    std::unique_ptr<CLibContainer> container(factory.Create(item.className));
    if (container == nullptr) return nullptr;
    entries.push_back({item.className, instance, std::move(container)});
    return entries.back().container.get();
  }

  void Unload() {
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
      entry->container->Unload();
    }
    while (!entries.empty()) entries.pop_back();
  }

  std::vector<Entry> entries;
};

namespace {

DWORD Perform(CLibContainer& container, const SupvItem& item) {
  auto* const task = dynamic_cast<CTaskContainer*>(&container);
  if (strcmp(item.action, "INIT") == 0) {
    if (task == nullptr) return container.Init();
    std::string name = item.instance == nullptr ? "" : item.instance;
    return task->Init(name.data(), item.reserved[0], item.reserved[1], item.reserved[2]);
  }
  if (strcmp(item.action, "START") != 0) return kStatusInvalid;
  if (task == nullptr) return container.Start();
  DWORD id = 0;
  return task->Start(&id);
}

// What a task does before its first wait comes before whatever a client asks for: equal requests
// find the same camera.
void AwaitFirstWaits() {
  for (CTaskContainer* const task : TaskAccess::Tasks()) {
    const auto hasBegun = [&body = TaskAccess::BodyOf(*task)] { return body.hasBegun; };
    desk::TheMachine().clock->WaitOutside(hasBegun, kStartPatience);
  }
}

}  // namespace

CSupervisor::CSupervisor() {
  ++tSupervisors;
}

CSupervisor::~CSupervisor() {
  Unload();
  --tSupervisors;
}

bool TaskAccess::ReachesTrees() {
  return tSupervisors > 0;
}

DWORD CSupervisor::Init(CSupvFactory* factory, const SupvItem* items, const char* localName,
                        WORD localPort, const char* serverAddress, WORD serverPort,
                        void* /*reserved1*/, void* /*reserved2*/, const wchar_t* /*reserved3*/,
                        DWORD /*reserved4*/) {
  if (serverAddress != nullptr || serverPort != 0) {
    fprintf(stderr,
            "diagor: -a and -s name another camera's server; this camera serves its own "
            "tree (give -p to choose its port)\n");
    return kStatusNoServer;
  }
  if (factory == nullptr || items == nullptr || localName == nullptr) return kStatusInvalid;
  if (gHooks.wake) {
    const DWORD status = gHooks.wake(localPort);
    if (status != 0) return status;
  }

  mContainers = std::make_unique<Containers>();
  for (; items->kind != nullptr; ++items) {
    CLibContainer* const container = mContainers->Take(*factory, *items);
    const DWORD status = container == nullptr ? kStatusNotFound : Perform(*container, *items);
    if (status != 0) {
      Unload();
      return status;
    }
  }
  AwaitFirstWaits();
  if (gHooks.serve) gHooks.serve();
  return 0;
}

DWORD CSupervisor::Start(DWORD /*runningMode*/) {
  desk::Clock& clock = *desk::TheMachine().clock;
  clock.Wait([] { return gStopRequested.load(); }, desk::kNever);

  const std::vector<CTaskContainer*> tasks = TaskAccess::Tasks();
  for (CTaskContainer* const task : tasks) task->Stop();
  for (CTaskContainer* const task : tasks) {
    const auto ended = [&body = TaskAccess::BodyOf(*task)] { return body.ended; };
    if (!clock.WaitOutside(ended, kStopPatience)) {
      clock.Halt();
      mTaskStillRuns = true;
      break;
    }
  }
  return 0;
}

DWORD CSupervisor::Unload() {
  // What a running task still uses is left to the end of the process.
  if (mTaskStillRuns) static_cast<void>(mContainers.release());
  if (mContainers != nullptr) mContainers->Unload();
  mContainers.reset();
  return 0;
}

CLibContainer* CSupvFactory::Create(const char* /*className*/) {
  return nullptr;
}

}  // namespace TARQ

namespace desk {

void SetFrameworkHooks(FrameworkHooks hooks) {
  TARQ::gHooks = std::move(hooks);
}

void RequestStop() {
  TARQ::gStopRequested = true;
  if (HasMachine()) TheMachine().clock->Change([] {});
}

void ResetFramework() {
  TARQ::gStopRequested = false;
  TARQ::gHooks = {};
}

}  // namespace desk
