// The machine below the core services: what the functions of windows.h act on.
#pragma once

#include <windows.h>

#include <memory>
#include <string>
#include <vector>

#include "clock/clock.h"
#include "coredll/registry.h"
#include "coredll/storage.h"

namespace desk {

// One DeviceIoControl call, as it reaches a driver.
struct IoRequest {
  DWORD code;
  void* input;
  DWORD inputSize;
  void* output;
  DWORD outputSize;
};

// A stream driver.
class Device {
 public:
  virtual ~Device() = default;
  // As programs open it: "I2C1:".
  virtual const std::string& Name() const = 0;
  virtual bool MayOpen() const = 0;
  // 0, or the error code of a failed request. Called on any thread.
  virtual DWORD Control(const IoRequest& request) = 0;
  // Adds the request to the trace.
  virtual void Trace(const IoRequest& request, bool ok) const;
};

class EventLog;
class FaultCounter;
class WindowSystem;

struct Machine {
  Clock* clock;
  WindowSystem* windows;
  EventLog* events;
  Storage storage;
  Registry registry;
  std::vector<std::unique_ptr<Device>> devices;
  FaultCounter* waits = nullptr;  // for handles, which fail by it; null: none does
};

// There is one camera in a process. Installed before the program starts.
Machine& TheMachine();
void InstallMachine(Machine* machine);
bool HasMachine();

// A record of a test stands in the log file or in the system's log, whole.
void RecordWritten(const std::string& record);

}  // namespace desk
