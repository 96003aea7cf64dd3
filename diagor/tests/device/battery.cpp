#include "tests/device/battery.h"

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"

namespace {

constexpr DWORD kBatteryAddress = 0xE6;
constexpr DWORD kGaugeAddress = 0xAA;

constexpr BYTE kGaugeVoltage = 0x08;  // mV
constexpr BYTE kGaugeCurrent = 0x14;  // mA, negative while discharging
constexpr BYTE kGaugeCharge = 0x2C;   // percent

constexpr Failure kNotDetected = {2, "Battery not detected"};

CResBitItem* NewBattery(DWORD platform) {
  switch (platform) {
    case kPlatformR8:
      return new CResBitBatteryR8("battery", "Battery", true);
    case kPlatformH:
      return new CResBitBatteryH("battery", "Battery", true);
    case kPlatformKY:
    case kPlatformR7:
    case kPlatformLQ:
      return new CResBitBatteryFG("battery", "Battery", true);
    default:
      return new CResBitBattery("battery", "Battery", false);
  }
}

// By the driver's answer to a read of one byte.
Finding Detected(DWORD error) {
  if (error != 0) return kNotDetected;
  return {0, "Battery detected"};
}

}  // namespace

DWORD CResBitBattery::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  BYTE answer = 0;
  return SetResult(Detected(Transfer(kBatteryAddress, &answer, sizeof answer, 0x00, 1)));
}

DWORD CResBitBatteryR8::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  BYTE answer = 0;
  return SetResult(Detected(Transfer(kBatteryAddress, &answer, sizeof answer, 0x00, 1)));
}

DWORD CResBitBatteryH::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  BYTE answer = 0;
  return SetResult(Detected(Transfer(kBatteryAddress, &answer, sizeof answer, 0x00, 1)));
}

bool CResBitBatteryFG::ReadGauge(BYTE gaugeRegister, std::int16_t& reading) {
  BYTE answer[2] = {};
  if (Transfer(kGaugeAddress, answer, sizeof answer, gaugeRegister, 1) != 0) return false;
  reading = static_cast<std::int16_t>(answer[0] | answer[1] << 8);
  return true;
}

DWORD CResBitBatteryFG::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  std::int16_t voltage = 0;
  std::int16_t current = 0;
  std::int16_t charge = 0;
  if (!ReadGauge(kGaugeVoltage, voltage) || !ReadGauge(kGaugeCurrent, current) ||
      !ReadGauge(kGaugeCharge, charge)) {
    return SetResultError(kNotDetected);
  }
  return SetResultOK(
      FormatText("Fuel Gauge detected U=%d, I=%d, C=%d%%", voltage, current, charge).c_str());
}

DWORD CreateBatteryGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("battery",
                     [platform](GroupBuilder& group) { group.Add(NewBattery(platform)); });
}
