#include "drivers/video_front_end.h"

#include <cstring>
#include <vector>

#include "drivers/frame_window.h"
#include "trace/observation.h"

namespace desk {

namespace {

constexpr DWORD kIoctlWriteMemory = 0x80000014;
constexpr DWORD kIoctlReadMemory = 0x80000018;
constexpr DWORD kIoctlReadRegister = 0x80000024;
constexpr DWORD kIoctlSetRegister = 0x80000028;
constexpr DWORD kIoctlMeasure = 0x80000058;

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

// A measurement's windows lie in the caller's memory, where the driver writes its results too.
struct WindowRecord {
  std::uint16_t x;
  std::uint16_t y;
  std::uint16_t width;
  std::uint16_t height;
  std::uint32_t measurement;
  std::uint8_t unused[20];
};
static_assert(sizeof(WindowRecord) == 32);
constexpr std::size_t kBytesBeforeMeasurement = 8;
struct MeasureRecord {
  DWORD command;
  WORD windowCount;
  WORD padding;
  WindowRecord* windows;
};
static_assert(sizeof(MeasureRecord) == 8 + sizeof(void*));
constexpr std::size_t kBytesBeforeWindows = 8;
constexpr DWORD kMeasureWindows = 2;
constexpr WORD kMostWindows = 16;

enum Row : std::size_t { kStatus58, kStatus59, kFunction };

constexpr KnobRow kRows[] = {
    {"status58", KnobKind::Number, "", "0", 0, 4294967295,
     "What register 58 reads; not 0: a fault.",
     Breaks({"1", "the video front-end reports a fault", "main board", "", false,
             "only the tests of the detector's electronics and of the visual modes look at it"})},
    {"status59", KnobKind::Number, "", "0", 0, 4294967295, "What register 59 reads, likewise.",
     Breaks({"1", "the video front-end reports a second fault", "main board", "", false,
             "only the tests of the detector's electronics and of the visual modes look at it"})},
    {"function", KnobKind::Integer, "", "0", -2147483648.0, 2147483647,
     "The function that was set last, by a write to register 58.",
     Condition("what the front-end was told last")},
};
constexpr KnobFamily kFamily = {"Video front-end", ".desk.fvd", kRows};

bool IsMemoryRequest(const IoRequest& request) {
  return (request.code == kIoctlWriteMemory || request.code == kIoctlReadMemory) &&
         request.inputSize == sizeof(MemoryRecord);
}

// The windows of a measurement; empty when the request is none that the driver takes.
std::span<WindowRecord> WindowsOf(const IoRequest& request) {
  if (request.code != kIoctlMeasure || request.inputSize != sizeof(MeasureRecord)) return {};
  const auto& record = *static_cast<const MeasureRecord*>(request.input);
  const bool taken = record.command == kMeasureWindows && record.windows != nullptr &&
                     record.windowCount <= kMostWindows;
  return taken ? std::span(record.windows, record.windowCount) : std::span<WindowRecord>();
}

}  // namespace

VideoFrontEnd::VideoFrontEnd()
    : DriverPort("FVD1:", "the video front-end"), mRegisterKnobs(kFamily) {}

void VideoFrontEnd::Trace(const IoRequest& request, bool ok) const {
  if (!Observation::IsTraced()) return;
  IoRequest shown = request;
  if (IsMemoryRequest(request)) shown.inputSize = kBytesBeforeData;
  const std::span<WindowRecord> windows = WindowsOf(request);
  if (windows.empty()) {
    Device::Trace(shown, ok);
    return;
  }
  std::vector<std::uint8_t> input(kBytesBeforeWindows);
  memcpy(input.data(), request.input, kBytesBeforeWindows);
  std::vector<std::uint8_t> output;
  for (const WindowRecord& window : windows) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&window);
    const auto* const measurement = bytes + kBytesBeforeMeasurement;
    input.insert(input.end(), bytes, measurement);
    output.insert(output.end(), measurement, measurement + sizeof window.measurement);
  }
  Device::Trace({request.code, input.data(), static_cast<DWORD>(input.size()), output.data(),
                 static_cast<DWORD>(output.size())},
                ok);
}

DWORD VideoFrontEnd::ServeMeasurement(const IoRequest& request) const {
  const std::span<WindowRecord> records = WindowsOf(request);
  std::vector<FrameWindow> windows;
  for (const WindowRecord& record : records) {
    windows.push_back({record.x, record.y, record.width, record.height, 0});
  }
  if (windows.empty() || !mMeasure || !mMeasure(windows)) return ERROR_INVALID_PARAMETER;
  for (std::size_t i = 0; i < windows.size(); ++i) records[i].measurement = windows[i].measurement;
  return 0;
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
  if (request.code == kIoctlMeasure) return ServeMeasurement(request);
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
