// Stream drivers: opening, requests.
#include <windows.h>

#include "coredll/handles.h"
#include "coredll/machine.h"
#include "coredll/text.h"
#include "trace/observation.h"

namespace desk {

namespace {

class OpenDevice : public KernelObject {
 public:
  explicit OpenDevice(Device& device) : mDevice(device) {}
  ~OpenDevice() override { Observation::Step("close", {{"device", mDevice.Name()}, {"ok", true}}); }
  OpenDevice(const OpenDevice&) = delete;
  OpenDevice& operator=(const OpenDevice&) = delete;
  Device& Target() { return mDevice; }

 private:
  Device& mDevice;
};

Device* FindDevice(const std::string& name) {
  for (const auto& device : TheMachine().devices) {
    if (device->Name() == name) return device.get();
  }
  return nullptr;
}

}  // namespace

}  // namespace desk

HANDLE WINAPI CreateFileW(LPCWSTR name, DWORD /*access*/, DWORD /*share*/,
                          SECURITY_ATTRIBUTES* /*security*/, DWORD /*creation*/,
                          DWORD /*attributes*/, HANDLE /*templateFile*/) {
  const std::string narrow = desk::ToUtf8(name);
  desk::Device* const device = desk::FindDevice(narrow);
  const bool opens = device != nullptr && device->MayOpen();
  desk::Observation::Step("open", {{"device", narrow}, {"ok", opens}});
  if (!opens) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  return desk::NewHandle(std::make_shared<desk::OpenDevice>(*device));
}

BOOL WINAPI DeviceIoControl(HANDLE device, DWORD code, void* input, DWORD inputSize, void* output,
                            DWORD outputSize, DWORD* returned, OVERLAPPED* /*overlapped*/) {
  const auto object = std::dynamic_pointer_cast<desk::OpenDevice>(desk::ObjectOf(device));
  if (object == nullptr) {
    if (desk::Observation::IsTraced()) {
      desk::Observation::Step("ioctl", {{"device", ""},
                                        {"code", desk::HexNumber(code)},
                                        {"input", ""},
                                        {"output", ""},
                                        {"ok", false}});
    }
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  const desk::IoRequest request = {code, input, inputSize, output, outputSize};
  const DWORD error = object->Target().Control(request);
  object->Target().Trace(request, error == 0);
  if (error != 0) {
    SetLastError(error);
    return FALSE;
  }
  if (returned != nullptr) *returned = outputSize;
  return TRUE;
}
