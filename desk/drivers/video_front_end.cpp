#include "drivers/video_front_end.h"

#include <cstring>

#include "trace/observation.h"

namespace desk {

namespace {

constexpr DWORD kIoctlWriteMemory = 0x80000014;
constexpr DWORD kIoctlReadMemory = 0x80000018;
constexpr DWORD kIoctlReadRegister = 0x80000024;
constexpr DWORD kIoctlSetRegister = 0x80000028;

constexpr DWORD kFunctionRegister = 58;
constexpr DWORD kFaultRegister = 59;

struct MemoryRecord {
  DWORD kind;
  DWORD wordSize;
  DWORD reserved;
  DWORD address;
  DWORD length;  // bytes
  std::uint8_t* data;
  DWORD unused[4];
};
static_assert(sizeof(MemoryRecord) == (sizeof(void*) == 4 ? 40 : 48));
constexpr std::size_t kBytesBeforeData = 20;

enum Row : std::size_t { kStatus58, kStatus59, kFunction };

constexpr KnobRow kRows[] = {
    {"status58", KnobKind::Number, "", "0", 0, 4294967295,
     "What register 58 reads; not 0: a fault."},
    {"status59", KnobKind::Number, "", "0", 0, 4294967295, "What register 59 reads, likewise."},
    {"function", KnobKind::Integer, "", "0", -2147483648.0, 2147483647,
     "The function that was set last, by a write to register 58."},
};

bool IsMemoryRequest(const IoRequest& request) {
  return (request.code == kIoctlWriteMemory || request.code == kIoctlReadMemory) &&
         request.inputSize == sizeof(MemoryRecord);
}

}  // namespace

std::span<const KnobRow> VideoFrontEnd::RegisterKnobRows() {
  return kRows;
}

VideoFrontEnd::VideoFrontEnd() : DriverPort("FVD1:"), mRegisterKnobs(".desk.fvd", kRows) {}

void VideoFrontEnd::Trace(const IoRequest& request, bool ok) const {
  IoRequest shown = request;
  if (IsMemoryRequest(request)) shown.inputSize = kBytesBeforeData;
  Device::Trace(shown, ok);
}

DWORD VideoFrontEnd::ServeMemory(const IoRequest& request) {
  const auto& record = *static_cast<const MemoryRecord*>(request.input);
  const std::span<std::uint8_t> data(record.data, record.length);
  const bool done = request.code == kIoctlWriteMemory ? mMemory.Write(record.address, data)
                                                      : mMemory.Read(record.address, data);
  return done ? 0 : ERROR_INVALID_PARAMETER;
}

DWORD VideoFrontEnd::ReadRegister(const IoRequest& request) {
  DWORD number = 0;
  if (request.inputSize != sizeof number || request.outputSize != sizeof(DWORD)) {
    return ERROR_INVALID_PARAMETER;
  }
  memcpy(&number, request.input, sizeof number);
  if (number != kFunctionRegister && number != kFaultRegister) return ERROR_INVALID_PARAMETER;
  const Row row = number == kFunctionRegister ? kStatus58 : kStatus59;
  const auto status = static_cast<DWORD>(mRegisterKnobs[row].Number());
  memcpy(request.output, &status, sizeof status);
  return 0;
}

DWORD VideoFrontEnd::Serve(const IoRequest& request) {
  if (IsMemoryRequest(request)) return ServeMemory(request);
  if (request.code == kIoctlReadRegister) return ReadRegister(request);
  DWORD words[2] = {};
  if (request.code != kIoctlSetRegister || request.inputSize != sizeof words) {
    return ERROR_INVALID_PARAMETER;
  }
  memcpy(words, request.input, sizeof words);
  if (words[0] != kFunctionRegister) return ERROR_INVALID_PARAMETER;
  mRegisterKnobs[kFunction].Write(static_cast<double>(static_cast<std::int32_t>(words[1])));
  return 0;
}

}  // namespace desk
