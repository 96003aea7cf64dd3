// What the parts of the framework share about running tasks.
#pragma once

#include <atomic>
#include <deque>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "clock/clock.h"
#include "common_dll.h"
#include "coredll/handles.h"

namespace TARQ {

struct CTaskContainer::Body {
  std::string name;
  std::shared_ptr<desk::Event> startStop;
  HANDLE startStopHandle = nullptr;
  std::atomic<bool> stopRequested{false};
  // Under the clock's lock:
  bool hasBegun = false;  // it has waited for the first time, or ended
  bool ended = false;
  std::thread thread;
};

// All under the clock's lock.
struct CQueue::Records : public desk::KernelObject {
  bool TakeSignal() override { return !records.empty(); }
  std::wstring name;
  std::size_t most = 0;
  std::size_t size = 0;
  std::deque<std::vector<BYTE>> records;
};

class TaskAccess {
 public:
  static CTaskContainer::Body& BodyOf(CTaskContainer& task) { return *task.mBody; }
  // False: no such queue, or it is full.
  static bool Send(const std::wstring& queue, const void* record, std::size_t size);
  // The tasks that were started and are not destroyed.
  static std::vector<CTaskContainer*> Tasks();
  // Whether the calling thread holds a supervisor, through which the trees are reached.
  static bool ReachesTrees();
};

}  // namespace TARQ
