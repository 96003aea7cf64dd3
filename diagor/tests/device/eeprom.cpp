#include "tests/device/eeprom.h"

#include <span>
#include <string>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
#include "items/text.h"

namespace {

struct EepromRow {
  const char* text;  // what the item is called in messages and records
  const char* node;
  WORD address;  // 8 bits
  Bus bus;
};

constexpr EepromRow kK[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First}, {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"TOKM EEPROM", "tokm", 0xA2, Bus::First}, {"TOSU EEPROM", "tosu", 0xA4, Bus::First},
    {"NOK EEPROM", "nok", 0xA6, Bus::First},   {"TOGN EEPROM", "togn", 0xA8, Bus::First},
    {"TOWR EEPROM", "towr", 0xAA, Bus::First}, {"TOLK EEPROM", "tolk", 0xAC, Bus::First},
    {"TOZE EEPROM", "toze", 0xE0, Bus::First},
};
constexpr EepromRow kR[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
    {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"TOMI EEPROM", "tomi", 0xA4, Bus::First},
    {"TONU EEPROM", "tonu", 0xE0, Bus::First},
};
constexpr EepromRow kM[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
    {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"ODRU EEPROM", "odru", 0xA8, Bus::First},
    {"ODKI EEPROM", "odki", 0xA4, Bus::First},
};
constexpr EepromRow kMainAlone[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
};
constexpr EepromRow kRRem[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
    {"TOMI EEPROM", "tomi", 0xA4, Bus::First},
};
constexpr EepromRow kN7[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
    {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"UMOS EEPROM", "umos", 0xA4, Bus::First},
};
constexpr EepromRow kH[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},   {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"TOKM2 EEPROM", "tokm2", 0xA2, Bus::First}, {"DAVO EEPROM", "davo", 0xA4, Bus::First},
    {"TOGN2 EEPROM", "togn2", 0xA8, Bus::First}, {"DAVU EEPROM", "davu", 0xAC, Bus::First},
    {"DAMO EEPROM", "damo", 0xAA, Bus::First},   {"DAKE EEPROM", "dake", 0xA0, Bus::First},
    {"TOSE EEPROM", "tose", 0x98, Bus::First},   {"TORI EEPROM", "tori", 0xE2, Bus::Second},
    {"DAKU", "daku", 0xE4, Bus::Second},
};
constexpr EepromRow kM7[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},  {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"WEGO EEPROM", "wego", 0xAC, Bus::First},  {"WENU EEPROM", "wenu", 0xA4, Bus::First},
    {"WEDO EEPROM", "wedo", 0xA0, Bus::Second},
};
constexpr EepromRow kKY[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},  {"GOKA EEPROM", "goka", 0xAC, Bus::First},
    {"GOSE EEPROM", "gose2", 0xA2, Bus::First}, {"FPA EEPROM", "fpa", 0xA0, Bus::First},
    {"GOLU EEPROM", "golu2", 0xA6, Bus::First}, {"GOTA EEPROM", "gota", 0xAE, Bus::Second},
    {"WEDO EEPROM", "wedo", 0xA0, Bus::Second},
};
constexpr EepromRow kR7[] = {
    {"FPA EEPROM( DOX32 )", "fpa", 0xA0, Bus::First},  {"KUMO EEPROM", "vcam", 0xA4, Bus::First},
    {"KURA/KURE_EEPROM", "rf", 0xA6, Bus::First},      {"KUNE EEPROM", "io", 0xAA, Bus::First},
    {"Main EEPROM( KUDA )", "main", 0xAE, Bus::First},
};
constexpr EepromRow kR8[] = {
    {"FPA EEPROM( DOX32 )", "fpa", 0xA0, Bus::First},
    {"ZEMA_EEPROM", "rf", 0xE0, Bus::Second},
    {"ZEKO EEPROM", "io", 0xAA, Bus::First},
    {"Main EEPROM( F2MU/ZEDU )", "main", 0xAE, Bus::First},
};
constexpr EepromRow kM8[] = {
    {"Main EEPROM", "main", 0xAE, Bus::First},
    {"ODRU EEPROM", "odru", 0xA8, Bus::First},
    {"ODKI EEPROM", "odki", 0xA4, Bus::First},
};
constexpr EepromRow kLQ[] = {
    {"FPA EEPROM( DOX32 )", "fpa", 0xA0, Bus::First},
    {"LQUE EEPROM", "io", 0xAA, Bus::First},
    {"Main EEPROM( F2MU/ZEDU )", "main", 0xAE, Bus::First},
    {"LQDA EEPROM", "batt", 0xA8, Bus::First},
};

struct EepromSet {
  PlatformNumber platform;
  std::span<const EepromRow> eeproms;
};
constexpr EepromSet kEepromSets[] = {
    {kPlatformK, kK},       {kPlatformR, kR},          {kPlatformM, kM},   {kPlatformV, kMainAlone},
    {kPlatformRRem, kRRem}, {kPlatformN7, kN7},        {kPlatformH, kH},   {kPlatformM7, kM7},
    {kPlatformKY, kKY},     {kPlatformR7, kR7},        {kPlatformR8, kR8}, {kPlatformM8, kM8},
    {kPlatformLQ, kLQ},     {kPlatformV8, kMainAlone},
};

std::span<const EepromRow> EepromsOf(DWORD platform) {
  for (const EepromSet& set : kEepromSets) {
    if (set.platform == platform) return set.eeproms;
  }
  return {};
}

// The boards of CResBitEEPromN, all on the item's own bus: K's, of which N has two.
std::span<const EepromRow> BoardsOf(DWORD platform) {
  if (platform == kPlatformN) return std::span(kK).first(2);
  if (platform == kPlatformK) return std::span(kK).first(8);
  return {};
}

constexpr DWORD kBytesRead = 8;
constexpr DWORD kNotDetectedCode = 0x21;

std::string FindingText(const char* name, bool detected) {
  return detected ? FormatText("%s:Detected, ", name) : FormatText("%s:NOT Detected, ", name);
}

}  // namespace

CResBitEEPromItems::CResBitEEPromItems(const TARQ::CResourcePath& path, const char* name,
                                       bool secondBus, WORD address)
    : CResBitItemI2C(path, name, secondBus), mAddress(address), mTestName() {
  CopyText(mTestName, name);
}

DWORD CResBitEEPromItems::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  BYTE contents[kBytesRead] = {};
  const bool detected = Transfer(mAddress, contents, sizeof contents, 0x00, 1) == 0;
  const std::string message = FindingText(mTestName, detected);
  return detected ? SetResultOK(message.c_str())
                  : SetResultError(message.c_str(), kNotDetectedCode);
}

CResBitEEPromN::CResBitEEPromN(const TARQ::CResourcePath& path, const char* description,
                               bool secondBus, DWORD platform)
    : CResBitItemI2C(path, description, secondBus), mPlatform(platform) {}

DWORD CResBitEEPromN::RunTest(const TARQ::CResourceValue& /*written*/) {
  EmptyMessage();
  std::string message;
  bool allDetected = true;
  for (const EepromRow& board : BoardsOf(mPlatform)) {
    BYTE contents[kBytesRead] = {};
    const bool detected = Transfer(board.address, contents, sizeof contents, 0x00, 1) == 0;
    message += FindingText(board.text, detected);
    allDetected = allDetected && detected;
  }
  return allDetected ? SetResultOK(message.c_str())
                     : SetResultError(message.c_str(), kNotDetectedCode);
}

DWORD CreateEepromGroup(CBitTask* /*task*/, DWORD platform) {
  return CreateGroup("eeprom", [platform](GroupBuilder& group) {
    for (const EepromRow& row : EepromsOf(platform)) {
      group.Add(new CResBitEEPromItems(row.node, row.text, row.bus == Bus::Second, row.address));
    }
  });
}
