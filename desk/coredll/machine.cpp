#include "coredll/machine.h"

#include <atomic>
#include <cstdlib>

#include "trace/event_log.h"
#include "trace/observation.h"

namespace desk {

namespace {

std::atomic<Machine*> gMachine{nullptr};

}  // namespace

Machine& TheMachine() {
  Machine* const machine = gMachine;
  if (machine == nullptr) std::abort();  // a call before the camera was assembled
  return *machine;
}

void InstallMachine(Machine* machine) {
  gMachine = machine;
}

bool HasMachine() {
  return gMachine != nullptr;
}

void RecordWritten(const std::string& record) {
  if (Observation::Current() != nullptr) Observation::Current()->AddRecord(record);
  TheMachine().events->Add("record", {{"text", record}});
}

void Device::Trace(const IoRequest& request, bool ok) const {
  if (!Observation::IsTraced()) return;
  Observation::Step("ioctl", {{"device", Name()},
                              {"code", HexNumber(request.code)},
                              {"input", HexText(request.input, request.inputSize)},
                              {"output", HexText(request.output, ok ? request.outputSize : 0)},
                              {"ok", ok}});
}

}  // namespace desk
