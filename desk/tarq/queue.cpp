#include <algorithm>
#include <cstring>
#include <mutex>

#include "common_dll.h"
#include "coredll/machine.h"
#include "tarq/task_access.h"

namespace TARQ {

namespace {

std::mutex gQueuesLock;
std::vector<std::weak_ptr<desk::KernelObject>> gQueues;

}  // namespace

CQueue::CQueue() : mRecords(std::make_shared<Records>()) {}

CQueue::~CQueue() {
  Delete();
}

DWORD CQueue::Init(const wchar_t* name, DWORD records, DWORD recordSize, DWORD /*flags*/) {
  mRecords->name = name;
  mRecords->most = records;
  mRecords->size = recordSize;
  mHandle = desk::NewHandle(mRecords);
  const std::lock_guard lock(gQueuesLock);
  gQueues.emplace_back(mRecords);
  return 0;
}

HANDLE CQueue::GetHandle() const {
  return mHandle;
}

DWORD CQueue::Receive(void* buffer, DWORD /*flags*/, DWORD /*reserved*/, DWORD size) {
  std::vector<BYTE> record;
  bool received = false;
  desk::TheMachine().clock->Change([&] {
    if (mRecords->records.empty()) return;
    record = std::move(mRecords->records.front());
    mRecords->records.pop_front();
    received = true;
  });
  if (!received) return kStatusEmpty;
  memcpy(buffer, record.data(), std::min<std::size_t>(size, record.size()));
  return 0;
}

DWORD CQueue::Delete() {
  if (mHandle == nullptr) return 0;
  CloseHandle(mHandle);
  mHandle = nullptr;
  const std::lock_guard lock(gQueuesLock);
  std::erase_if(gQueues, [this](const auto& queue) { return queue.lock() == mRecords; });
  return 0;
}

bool TaskAccess::Send(const std::wstring& queue, const void* record, std::size_t size) {
  std::shared_ptr<CQueue::Records> target;
  {
    const std::lock_guard lock(gQueuesLock);
    for (const auto& known : gQueues) {
      auto records = std::dynamic_pointer_cast<CQueue::Records>(known.lock());
      if (records != nullptr && records->name == queue) target = std::move(records);
    }
  }
  if (target == nullptr) return false;
  const auto* const bytes = static_cast<const BYTE*>(record);
  bool sent = false;
  desk::TheMachine().clock->Change([&] {
    if (target->records.size() >= target->most || size > target->size) return;
    target->records.emplace_back(bytes, bytes + size);
    sent = true;
  });
  return sent;
}

}  // namespace TARQ
