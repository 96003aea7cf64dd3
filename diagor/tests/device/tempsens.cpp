#include "tests/device/tempsens.h"

#include <cstring>
#include <span>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
#include "items/resource_access.h"
#include "items/text.h"

namespace {

constexpr DWORD kBlockAddress = 0xE0;
constexpr LONG kLastBlockKind = 2;
constexpr LONG kLastSensorKind = 8;
constexpr int kConverterAttempts = 10;
constexpr DWORD kConverterPause = 300;  // ms, after each attempt

constexpr DWORD kNotDetectedCode = 0x31;
constexpr DWORD kOutOfRangeCode = 0x32;
constexpr Failure kNotDetectedN = {kNotDetectedCode, "Tempsens not detected"};
constexpr char kBothFailed[] = "E 0031  ";

// A run's text in its fixed buffer: what is beyond its 99 characters is cut.
using RunText = char[100];

enum class Built { Always, WithVisualCamera };

struct SensorRow {
  const char* node;
  const char* description;
  LONG kind;
  DWORD address;  // 8 bits
  Bus bus;
  Built built = Built::Always;
  CResBitDualTempsensItems::Sensor second = {};  // beside it, where one of two suffices
};

constexpr SensorRow kK[] = {
    {"TSShutter", "Tempsens Shutter", 0, 0xE0, Bus::First},
    {"TSAperture", "Tempsens Aperture", 1, 0xE0, Bus::First},
    {"TSCapsule", "Tempsens Capsule", 2, 0xE0, Bus::First},
    {"TSVcam", "Tempsens Visual", 3, 0x94, Bus::First, Built::WithVisualCamera},
    {"TSLens", "Tempsens Lens", 4, 0x92, Bus::First},
};
constexpr SensorRow kBlockOnFirstBus[] = {
    {"TSAperture", "Tempsens Aperture", 0, 0xE0, Bus::First},
    {"TSShutter", "Tempsens Shutter", 1, 0xE0, Bus::First},
    {"TSFront", "Tempsens Front", 2, 0xE0, Bus::First},
};
constexpr SensorRow kBlockOnSecondBus[] = {
    {"TSAperture", "Tempsens Aperture", 0, 0xE0, Bus::Second},
    {"TSShutter", "Tempsens Shutter", 1, 0xE0, Bus::Second},
    {"TSFront", "Tempsens Front", 2, 0xE0, Bus::Second},
};
constexpr SensorRow kV[] = {{"TSBoard", "Tempsens Board", 4, 0x90, Bus::First}};
constexpr SensorRow kV8[] = {{"TSBoard", "Tempsens Board", 4, 0x92, Bus::First}};
constexpr SensorRow kH[] = {
    {"TSBoard", "Tempsens Board", 3, 0x90, Bus::First},
    {"TSLens", "Tempsens Lens", 4, 0x92, Bus::Second},
};
constexpr SensorRow kM7AndKY[] = {
    // A converter, and a 16-bit sensor.
    {"TSShutter", "Tempsens Shutter", 11, 0x4C, Bus::Second, Built::Always, {6, 0x90}},
    {"TSLens", "Tempsens Lens", 9, 0x2A, Bus::Second},
    {"TSFront", "Tempsens Front", 10, 0x48, Bus::Second},
};
constexpr SensorRow kR7[] = {{"TSShutter", "Tempsens Shutter", 3, 0x90, Bus::First}};
constexpr SensorRow kLQ[] = {
    {"TSShutter", "Tempsens Shutter", 3, 0x90, Bus::First},
    {"TSBoard", "Tempsens Board", 4, 0x92, Bus::First},
};

struct SensorSet {
  PlatformNumber platform;
  std::span<const SensorRow> sensors;
};
constexpr SensorSet kSensorSets[] = {
    {kPlatformK, kK},
    {kPlatformR, kBlockOnFirstBus},
    {kPlatformM, kBlockOnFirstBus},
    {kPlatformV, kV},
    {kPlatformN7, kBlockOnFirstBus},
    {kPlatformH, kH},
    {kPlatformM7, kM7AndKY},
    {kPlatformKY, kM7AndKY},
    {kPlatformR7, kR7},
    {kPlatformR8, kBlockOnSecondBus},
    {kPlatformM8, kBlockOnSecondBus},
    {kPlatformLQ, kLQ},
    {kPlatformV8, kV8},
};

std::span<const SensorRow> SensorsOf(DWORD platform) {
  for (const SensorSet& set : kSensorSets) {
    if (set.platform == platform) return set.sensors;
  }
  return {};
}

// Only this model of the visual camera has a sensor of its own.
bool HasSensingVisualCamera() {
  TARQ::CResourceValue model("", 0);
  OpenedResource(Tree::Camera, "system.vcam.model").ReadInto(model);
  return strcmp(model.GetAscii().AsChar(), "MT9M111") == 0;
}

CResBitItem* NewItem(const SensorRow& row) {
  const bool secondBus = row.bus == Bus::Second;
  if (row.second.address != 0) {
    return new CResBitDualTempsensItems(row.node, row.description, {row.kind, row.address},
                                        row.second, secondBus);
  }
  return new CResBitTempsensItems(row.node, row.description, secondBus, row.kind, row.address);
}

}  // namespace

CResBitTempsensItems::CResBitTempsensItems(const TARQ::CResourcePath& path, const char* description,
                                           bool secondBus, LONG kind, DWORD address)
    : CResBitItemI2C(path, description, secondBus), mTestName(), mKind(kind), mAddress(address) {
  CopyText(mTestName, description);
}

// A conversion takes a while, and the converter answers only after it: it is asked again and again.
bool CResBitTempsensItems::ReadConverter(Temperature& temperature) {
  BYTE answer[kConverterBytes] = {};
  bool answered = false;
  for (int attempt = 0; attempt < kConverterAttempts && !answered; ++attempt) {
    answered = Transfer(mAddress & 0xFFFF, answer, sizeof answer, 0x00, 1) == 0;
    Sleep(kConverterPause);
  }
  if (answered) temperature = ConverterTemperature(answer);
  return answered;
}

bool CResBitTempsensItems::Read(Temperature& temperature) {
  if (mKind <= kLastBlockKind) {
    BYTE answer[kBlockBytes] = {};
    if (Transfer(kBlockAddress, answer, sizeof answer, 0x00, 1) != 0) return false;
    temperature = BlockTemperature(answer, static_cast<DWORD>(mKind));
    return true;
  }
  if (mKind <= kLastSensorKind) {
    BYTE answer[kSensorBytes] = {};
    if (Transfer(mAddress & 0xFFFF, answer, sizeof answer, 0x00, 1) != 0) return false;
    temperature = SensorTemperature(answer);
    return true;
  }
  return ReadConverter(temperature);
}

DWORD CResBitTempsensItems::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  RunText text = "";
  Temperature temperature = 0;
  if (!Read(temperature)) {
    AppendText(text, FormatText("%s:Tempsens not detected ", mTestName).c_str());
    return SetResultError(text, kNotDetectedCode);
  }
  AppendText(text, TemperatureText(mTestName, temperature).c_str());
  return IsPlausible(temperature) ? SetResultOK(text) : SetResultError(text, kOutOfRangeCode);
}

CResBitDualTempsensItems::CResBitDualTempsensItems(const TARQ::CResourcePath& path,
                                                   const char* description, Sensor first,
                                                   Sensor second, bool secondBus)
    : CResBitItem(path, description),
      mFirstKind(first.kind),
      mFirstAddress(first.address),
      mSecondKind(second.kind),
      mSecondAddress(second.address),
      mBus(secondBus ? 1 : 0) {}

DWORD CResBitDualTempsensItems::RunTest(const TARQ::CResourceValue& written) {
  const bool secondBus = mBus != 0;
  CResBitTempsensItems first("TSShutter", "Tempsens Shutter", secondBus, mFirstKind, mFirstAddress);
  CResBitTempsensItems second("TSShutter", "Tempsens Shutter", secondBus, mSecondKind,
                              mSecondAddress);
  DWORD status = first.RunTest(written);
  if (status != 0) status = second.RunTest(written);
  StoreResult(status == 0 ? kResultOK : kBothFailed);
  return status;
}

DWORD CResBitTempsensN::RunTest(const TARQ::CResourceValue& /*written*/) {
  static constexpr const char* kNames[] = {"Aperture", "Shutter", "Front"};
  EmptyMessage();
  BYTE answer[kBlockBytes] = {};
  if (Transfer(kBlockAddress, answer, sizeof answer, 0x00, 1) != 0) {
    return SetResultError(kNotDetectedN);
  }
  RunText text = "";
  bool allPlausible = true;
  DWORD word = 0;
  for (const char* const name : kNames) {
    const Temperature temperature = BlockTemperature(answer, word++);
    AppendText(text, TemperatureText(name, temperature).c_str());
    allPlausible = allPlausible && IsPlausible(temperature);
  }
  return allPlausible ? SetResultOK(text) : SetResultError(text, kOutOfRangeCode);
}

DWORD CreateTempsensGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("tempsens", [platform](GroupBuilder& group) {
    const bool hasVisual = platform == kPlatformK && HasSensingVisualCamera();
    for (const SensorRow& row : SensorsOf(platform)) {
      if (row.built != Built::WithVisualCamera || hasVisual) group.Add(NewItem(row));
    }
  });
}
