#include "task/bit_task.h"

#include <cstring>
#include <iterator>

#include "items/files.h"
#include "items/platform.h"
#include "items/resource_access.h"
#include "task/platform.h"

namespace {

constexpr DWORD kQueueRecords = 100;
constexpr DWORD kRecordSize = 32;  // bytes
constexpr DWORD kSubscriptionRecord = 2;
constexpr DWORD kPingRecord = 7;
constexpr DWORD kTaskEnds = 0xA0010010;

constexpr DWORD kIdleTicksToMarkers = 20;

DWORD gIdleTicks = 0;   // wait time-outs so far, up to kIdleTicksToMarkers
DWORD gTorchBlink = 0;  // 0: the torch does not blink; odd: it is on

void CreateTemporaryDirectory() {
  wchar_t* const path = ASCIIToUnicode(getFlashTmpPath());
  if (path == nullptr) return;
  CreateDirectoryW(path, nullptr);
  delete[] path;
}

// A service technician leaves a marker file to have a test run unattended after the next start.
void CheckMarkers(const Trees& trees) {
  if (CanBeRead("/FlashFS/system/bit/BitRunLCDTest")) {
    WriteTo(trees.task, "test.items.lcd_i.bitmaps", TARQ::CResourceValue("", 0));
  } else if (CanBeRead("/FlashFS/system/bit/BitRunViewTest")) {
    WriteTo(trees.task, "test.items.viewFinder_i.bitmaps", TARQ::CResourceValue("", 0));
  }
  if (CanBeRead("/FlashFS/system/bit/BitRunVCamTest")) {
    gTorchBlink = 1;
    WriteTo(trees.camera, ".image.services.channel.active", TARQ::CResourceValue("VISUAL", 0));
    WriteTo(trees.camera, ".image.services.channel.commit", TARQ::CResourceValue(true, 0));
  }
}

void BlinkTorch(const Trees& trees) {
  ++gTorchBlink;
  WriteTo(trees.camera, ".system.vcam.torch", TARQ::CResourceValue(gTorchBlink % 2 == 1, 0));
}

// While the cooler test logs, each read of its item takes a temperature sample.
void SampleCooler(const Trees& trees) {
  TARQ::CResourceValue value(0, 0);
  OpenedResource(trees.task, "test.items.cooler.cooler").ReadInto(value);
}

}  // namespace

DWORD CBitTask::Init(char* name, DWORD argument1, DWORD argument2, DWORD argument3) {
  mpQueue = new TARQ::CQueue;
  mpQueue->Init(L"BitQ", kQueueRecords, kRecordSize, 0);
  mhEvent = CreateEventW(nullptr, FALSE, FALSE, nullptr);
  mTimeout = 1000;

  const DWORD status = BuildTestTree(this);
  if (status != 0) return status;
  return CTaskContainer::Init(name, argument1, argument2, argument3);
}

DWORD CBitTask::Run() {
  const Trees trees;
  WriteTo(trees.camera, ".appl.journal.active", TARQ::CResourceValue(false, 0));
  CreateTemporaryDirectory();

  const HANDLE handles[] = {mpQueue->GetHandle(), GetStartStopEvent()};
  for (;;) {
    const DWORD reason =
        WaitForMultipleObjects(static_cast<DWORD>(std::size(handles)), handles, FALSE, mTimeout);
    if (reason == WAIT_TIMEOUT) {
      if (!HandleTimeout(trees)) return 0;
      continue;
    }
    if (reason == WAIT_OBJECT_0 + 1 && StopReceived() == kTaskEnds) return 0;
    // Also after a failed wait: what has arrived is handled, then the wait repeats. One that keeps
    // failing must not take the processor from everybody else.
    DrainQueue();
    if (reason >= WAIT_OBJECT_0 + std::size(handles)) Sleep(mTimeout);
  }
}

// False: the task body ends.
bool CBitTask::HandleTimeout(const Trees& trees) {
  if (gIdleTicks < kIdleTicksToMarkers) {
    ++gIdleTicks;
    if (gIdleTicks == kIdleTicksToMarkers) {
      // Without a tree of its own the task has nothing left to do.
      if (trees.task == nullptr) return false;
      CheckMarkers(trees);
    }
  } else if (gTorchBlink != 0) {
    BlinkTorch(trees);
  }
  if (mPlatform == kPlatformH) SampleCooler(trees);
  return true;
}

void CBitTask::DrainQueue() {
  for (;;) {
    // Emptied each time: a short record leaves the rest of the buffer as it was.
    alignas(DWORD) BYTE record[kRecordSize] = {};
    if (mpQueue->Receive(record, 0, 0, kRecordSize) != 0) return;
    DWORD kind = 0;
    memcpy(&kind, record, sizeof kind);
    if (kind == kSubscriptionRecord) {
      TARQ::CResource::SubscrMsg message = {};
      static_assert(sizeof message <= kRecordSize);
      memcpy(&message, record, sizeof message);
      TARQ::CServerResource::SendReply(message);
    } else if (kind == kPingRecord) {
      PING_MESSAGE_T message = {};
      static_assert(sizeof message <= kRecordSize);
      memcpy(&message, record, sizeof message);
      PingReceived(message);
    }
  }
}

DWORD CBitTask::Unload() {
  if (mpQueue != nullptr) {
    mpQueue->Delete();
    delete mpQueue;
    mpQueue = nullptr;
  }
  CloseHandle(mhEvent);
  mhEvent = nullptr;
  return 0;
}
