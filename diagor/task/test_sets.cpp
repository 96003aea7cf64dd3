#include "task/test_sets.h"

#include <span>

#include "items/group_builder.h"
#include "items/resource_access.h"
#include "items/status.h"
#include "task/bit_task.h"
#include "task/test_root.h"
#include "tests/device/battery.h"
#include "tests/device/clock.h"
#include "tests/device/compass_accel.h"
#include "tests/device/eeprom.h"
#include "tests/device/gps.h"
#include "tests/device/irdm.h"
#include "tests/device/lcd_magnet.h"
#include "tests/device/tempsens.h"
#include "tests/device/video_ddr.h"
#include "tests/device/visual.h"
#include "tests/interactive/buttons.h"
#include "tests/interactive/laser.h"
#include "tests/interactive/lcd.h"
#include "tests/interactive/touch_screen.h"
#include "tests/optics/aperture.h"
#include "tests/optics/cooler.h"
#include "tests/optics/filter.h"
#include "tests/optics/flash_torch.h"
#include "tests/optics/focus.h"
#include "tests/optics/shutter.h"

namespace {

enum class Group {
  Accel,
  Aperture,
  Battery,
  Buttons,
  Clock,
  Compass,
  Cooler,
  Eeprom,
  Filter,
  Flash,
  Focus,
  Gps,
  Irdm,
  Laser,
  Lcd,
  LcdInteractive,
  LcdMagnet,
  Shutter,
  Tempsens,
  Torch,
  TouchScreen,
  Vddr,
  ViewFinder,
  ViewFinderInteractive,
  Visual,
};

using GroupCreator = DWORD (*)(CBitTask* task, DWORD platform);

template <bool viewFinder>
DWORD CreateLcd(CBitTask* task, DWORD platform) {
  return CreateLcdGroup(task, platform, viewFinder);
}
template <bool viewFinder>
DWORD CreateLcdInteractive(CBitTask* task, DWORD platform) {
  return CreateLcdInteractiveGroup(task, platform, viewFinder);
}

struct CreatorRow {
  Group group;
  GroupCreator creator;
};
constexpr CreatorRow kCreators[] = {
    {Group::Accel, CreateAccelGroup},
    {Group::Aperture, CreateApertureGroup},
    {Group::Battery, CreateBatteryGroup},
    {Group::Buttons, CreateButtonsGroup},
    {Group::Clock, CreateClockGroup},
    {Group::Compass, CreateCompassGroup},
    {Group::Cooler, CreateCoolerGroup},
    {Group::Eeprom, CreateEepromGroup},
    {Group::Filter, CreateFilterGroup},
    {Group::Flash, CreateFlashGroup},
    {Group::Focus, CreateFocusGroup},
    {Group::Gps, CreateGpsGroup},
    {Group::Irdm, CreateIrdmGroup},
    {Group::Laser, CreateLaserGroup},
    {Group::Lcd, CreateLcd<false>},
    {Group::LcdInteractive, CreateLcdInteractive<false>},
    {Group::LcdMagnet, CreateLcdMagnetGroup},
    {Group::Shutter, CreateShutterGroup},
    {Group::Tempsens, CreateTempsensGroup},
    {Group::Torch, CreateTorchGroup},
    {Group::TouchScreen, CreateTouchScreenGroup},
    {Group::Vddr, CreateVddrGroup},
    {Group::ViewFinder, CreateLcd<true>},
    {Group::ViewFinderInteractive, CreateLcdInteractive<true>},
    {Group::Visual, CreateVisualGroup},
};

// The groups of each platform, in the order in which they are built.
using enum Group;
constexpr Group kK[] = {Eeprom,  Shutter, Focus, Tempsens, Lcd, LcdInteractive, Aperture, Filter,
                        Buttons, Battery, Clock, Laser,    Gps, Visual};
constexpr Group kR[] = {Eeprom,  Shutter, Focus, Tempsens, Lcd,         Aperture, Buttons,
                        Battery, Clock,   Laser, Irdm,     TouchScreen, Flash};
constexpr Group kM[] = {Eeprom, Shutter, Focus, Tempsens, Aperture, Clock};
constexpr Group kV[] = {Eeprom, Shutter, Tempsens, Lcd, Buttons};
constexpr Group kRRem[] = {Eeprom, Lcd, Buttons, Battery, Clock, Laser, TouchScreen};
constexpr Group kN7[] = {Tempsens, TouchScreen, Lcd,   Eeprom, Shutter, Buttons, Visual,
                         Irdm,     Focus,       Torch, Laser,  Clock,   Battery};
constexpr Group kH[] = {Eeprom,
                        Focus,
                        Tempsens,
                        Lcd,
                        ViewFinder,
                        LcdInteractive,
                        ViewFinderInteractive,
                        Filter,
                        Buttons,
                        Battery,
                        Clock,
                        Laser,
                        Gps,
                        Visual,
                        LcdMagnet,
                        Vddr,
                        Cooler};
constexpr Group kM7[] = {Eeprom, Shutter, Focus, Tempsens, Aperture, Clock, Irdm, Vddr};
constexpr Group kKY[] = {Eeprom,     Shutter,        Focus,
                         Tempsens,   Aperture,       Lcd,
                         ViewFinder, LcdInteractive, ViewFinderInteractive,
                         Clock,      Battery,        Vddr,
                         Buttons,    TouchScreen,    Laser,
                         Gps};
constexpr Group kR7[] = {Eeprom, Shutter, Tempsens,    Lcd,   Buttons, Battery,
                         Clock,  Laser,   TouchScreen, Flash, Vddr};
constexpr Group kR8[] = {Eeprom, Shutter,     Focus, Tempsens, Lcd,      Buttons, Battery, Clock,
                         Laser,  TouchScreen, Flash, Vddr,     Aperture, Accel,   Compass};
constexpr Group kM8[] = {Eeprom, Shutter, Focus, Tempsens, Aperture, Clock};
constexpr Group kLQ[] = {Eeprom, Shutter, Tempsens, Lcd, Buttons, Battery, Clock, Vddr};
constexpr Group kV8[] = {Eeprom, Shutter, Tempsens, Buttons, Clock, Lcd};

struct TestSet {
  PlatformNumber platform;
  std::span<const Group> groups;
  bool reportsLastCreator;  // in the builder's status
};
constexpr TestSet kTestSets[] = {
    {kPlatformK, kK, false},  {kPlatformR, kR, true},       {kPlatformM, kM, true},
    {kPlatformV, kV, true},   {kPlatformRRem, kRRem, true}, {kPlatformN7, kN7, true},
    {kPlatformH, kH, false},  {kPlatformM7, kM7, true},     {kPlatformKY, kKY, true},
    {kPlatformR7, kR7, true}, {kPlatformR8, kR8, true},     {kPlatformM8, kM8, true},
    {kPlatformLQ, kLQ, true}, {kPlatformV8, kV8, true},
};

// Every platform builds each of its groups whatever became of the ones before.
DWORD CreateGroups(CBitTask* task, const TestSet& set) {
  DWORD status = 0;
  for (const Group group : set.groups) {
    for (const CreatorRow& row : kCreators) {
      if (row.group == group) status = row.creator(task, set.platform);
    }
  }
  return set.reportsLastCreator ? status : 0;
}

}  // namespace

DWORD BuildPlatform(CBitTask* task, PlatformNumber platform) {
  for (const TestSet& set : kTestSets) {
    if (set.platform != platform) continue;
    task->SetPlatform(platform);
    const DWORD status = BuildTestRoot(task, platform);
    return status != 0 ? status : CreateGroups(task, set);
  }
  return kUnknownPlatform;
}

DWORD BuildPlatformN(CBitTask* task) {
  task->SetPlatform(kPlatformN);
  const DWORD status = BuildTestRoot(task, kPlatformN);
  if (status != 0) return status;

  if (TaskTree() == nullptr) return kNoResourceTree;
  const OpenedResource opened(TaskTree(), "test.items");
  if (!opened) return opened.Status();
  auto* const items = dynamic_cast<TARQ::CServerResource*>(opened.Get());
  if (items == nullptr) return kNoResourceTree;
  items->AddChild(new CResBitBattery("battery", "Battery", false), nullptr);
  items->AddChild(new CResBitClock("clock", "Clock", false), nullptr);
  items->AddChild(new CResBitEEPromN("eeprom", "EE prom", false, kPlatformN), nullptr);
  items->AddChild(new CResBitTempsensN("tempsens", "Tempsens", false), nullptr);
  items->AddChild(new CResBitLaser("laser", "Laser"), nullptr);
  items->AddChild(new CResBitButtonsN("buttons", "Buttons"), nullptr);
  items->AddChild(new CResBitLCD("lcd", "LCD", kPlatformN, kLcdPatterns, false), nullptr);
  items->AddChild(new CResBitShutterN("shutter", "Shutter"), nullptr);
  return 0;
}
