// Supervisor, containers and queues.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

#include "tarq_resource.h"

// A record of kind 7 in a task's queue: the supervisor asks whether the task still answers.
struct PING_MESSAGE_T {
  DWORD kind;
  DWORD number;
  DWORD reserved[6];
};

namespace TARQ {

class CTaskContainer;

class CLibContainer {
 public:
  CLibContainer() = default;
  CLibContainer(const CLibContainer&) = delete;
  CLibContainer& operator=(const CLibContainer&) = delete;
  virtual ~CLibContainer() = default;
  virtual DWORD Init() { return 0; }
  virtual DWORD Start() { return 0; }
  virtual DWORD Stop() { return 0; }
  virtual DWORD Unload() { return 0; }
};

// A container with a thread of its own. Run is its body.
class CTaskContainer : public CLibContainer {
 public:
  CTaskContainer();
  ~CTaskContainer() override;

  using CLibContainer::Init;
  using CLibContainer::Start;
  DWORD Stop() override;
  virtual DWORD Init(char* name, DWORD argument1, DWORD argument2, DWORD argument3);
  // Starts the task's thread; *id, where given, becomes its number.
  virtual DWORD Start(DWORD* id);
  virtual DWORD Resume() { return 0; }
  virtual DWORD Shutdown() { return Stop(); }
  virtual DWORD Delete() { return 0; }
  virtual DWORD GetPort() { return 0; }
  virtual DWORD Run() = 0;

  HANDLE GetStartStopEvent() const;
  DWORD PingReceived(const PING_MESSAGE_T& message);

 protected:
  // 0xA0010010 when the task is to end; anything else: carry on.
  virtual DWORD StopReceived();

 private:
  friend class TaskAccess;
  struct Body;
  std::unique_ptr<Body> mBody;
};

class CSupvFactory {
 public:
  // A container of the framework's own classes, owned by the caller; null for any other name.
  virtual CLibContainer* Create(const char* className);
  virtual ~CSupvFactory() = default;
};

struct SupvItem {
  const char* kind;       // "LIB" or "TASK"; null ends the table
  const char* className;  // for the factory
  const char* action;     // "INIT" or "START"
  const char* instance;   // or null
  DWORD reserved[4];
};

// A local instance reaches the trees. The one whose Init ran owns the containers.
class CSupervisor {
 public:
  CSupervisor();
  ~CSupervisor();
  CSupervisor(const CSupervisor&) = delete;
  CSupervisor& operator=(const CSupervisor&) = delete;

  // Walks the table in order. A failure unloads what was initialised and is returned.
  DWORD Init(CSupvFactory* factory, const SupvItem* items, const char* localName, WORD localPort,
             const char* serverAddress, WORD serverPort, void* reserved1, void* reserved2,
             const wchar_t* reserved3, DWORD reserved4);
  // Returns when the supervisor has been stopped.
  DWORD Start(DWORD runningMode);
  DWORD Unload();

  static CResourceTree* mpGlobalResourceTree;
  static CResourceTree* mpLocalResourceTree;

 private:
  struct Containers;
  std::unique_ptr<Containers> mContainers;
  bool mTaskStillRuns = false;  // it did not end when it was stopped
};

// A named queue of records of fixed size.
class CQueue {
 public:
  CQueue();
  ~CQueue();
  CQueue(const CQueue&) = delete;
  CQueue& operator=(const CQueue&) = delete;

  DWORD Init(const wchar_t* name, DWORD records, DWORD recordSize, DWORD flags);
  // Signalled while records wait.
  HANDLE GetHandle() const;
  // 0 when a record was copied; never blocks.
  DWORD Receive(void* buffer, DWORD flags, DWORD reserved, DWORD size);
  DWORD Delete();

 private:
  friend class TaskAccess;
  struct Records;
  std::shared_ptr<Records> mRecords;
  HANDLE mHandle = nullptr;
};

}  // namespace TARQ
