#include "tests/device/clock.h"

#include "items/driver_handle.h"
#include "items/group_builder.h"
#include "items/i2c_transfer.h"
#include "items/platform.h"

namespace {

constexpr DWORD kClockAddress = 0xD0;
constexpr DWORD kClockBytes = 8;
constexpr DWORD kObservation = 5000;  // ms
constexpr int kObservedSeconds = 5;
constexpr int kSecondsPerMinute = 60;

constexpr DWORD kIoctlPmiRead = 0x224000;
constexpr DWORD kPmiSecondsCounter = 20;
constexpr DWORD kPmiReadFailed = 0x6401000A;

constexpr Failure kNotDetected = {0x11, "Clock not detected"};
constexpr Failure kNotRunning = {0x12, "Clock not running"};
constexpr char kRunning[] = "Clock OK";

// Exactly the slept seconds, or what a turned minute makes of them.
bool AdvancedAsSlept(int first, int second) {
  if (second > first) return second - first == kObservedSeconds;
  if (second < first) return first - second == kSecondsPerMinute - kObservedSeconds;
  return false;
}

// 0, or kPmiReadFailed; the output is then left alone.
DWORD PmiRead(HANDLE driver, DWORD input, DWORD* output) {
  return DeviceIoControl(driver, kIoctlPmiRead, &input, sizeof input, output, sizeof *output,
                         nullptr, nullptr) != FALSE
             ? 0
             : kPmiReadFailed;
}

// Whether the counter advances as slept. Both readings are always taken; a failed one must not pass
// by chance.
bool CounterRuns(HANDLE driver) {
  DWORD first = 0;
  DWORD second = 0;
  const DWORD firstStatus = PmiRead(driver, kPmiSecondsCounter, &first);
  Sleep(kObservation);
  const DWORD secondStatus = PmiRead(driver, kPmiSecondsCounter, &second);
  const bool bothRead = firstStatus == 0 && secondStatus == 0;
  return bothRead && second - first - (kObservedSeconds - 1) <= 2;  // by 4 to 6
}

CResBitItem* NewClock(DWORD platform) {
  bool hasChip = true;
  switch (platform) {
    case kPlatformH:
    case kPlatformM7:
    case kPlatformM8:
      hasChip = false;
      break;
    case kPlatformR7:
    case kPlatformR8:
    case kPlatformLQ: {
      // These were made with and without the chip.
      BYTE answer[kClockBytes] = {};
      hasChip = I2CTransfer(kClockAddress, answer, sizeof answer, 0x00, 1) != 0;
      break;
    }
    default:
      break;
  }
  if (hasChip) return new CResBitClock("clock", "Clock", false);
  return new CResBitClockH("clock", "Clock");
}

}  // namespace

// The first byte read is packed decimal; its top bit is the chip's halt flag.
bool CResBitClock::ReadSeconds(int& seconds) {
  BYTE answer[kClockBytes] = {};
  if (Transfer(kClockAddress, answer, sizeof answer, 0x00, 1) != 0) return false;
  seconds = (answer[0] >> 4 & 0x7) * 10 + (answer[0] & 0xF);
  return true;
}

DWORD CResBitClock::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  int first = 0;
  int second = 0;
  if (!ReadSeconds(first)) return SetResultError(kNotDetected);
  Sleep(kObservation);
  if (!ReadSeconds(second)) return SetResultError(kNotDetected);
  if (!AdvancedAsSlept(first, second)) return SetResultError(kNotRunning);
  return SetResultOK(kRunning);
}

DWORD CResBitClockH::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  bool runs = false;
  {
    const DriverHandle driver(L"PMI1:");
    if (!driver.IsOpen()) return SetResultError(kNotDetected);
    runs = CounterRuns(driver.Get());
  }
  return runs ? SetResultOK(kRunning) : SetResultError(kNotRunning);
}

DWORD CreateClockGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("clock", [platform](GroupBuilder& group) { group.Add(NewClock(platform)); });
}
