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

using GroupCreator = DWORD (*)(CBitTask* task, DWORD platform);

DWORD CreateLcd(CBitTask* task, DWORD platform) {
  return CreateLcdGroup(task, platform, false);
}
DWORD CreateViewFinder(CBitTask* task, DWORD platform) {
  return CreateLcdGroup(task, platform, true);
}
DWORD CreateLcdInteractive(CBitTask* task, DWORD platform) {
  return CreateLcdInteractiveGroup(task, platform, false);
}
DWORD CreateViewFinderInteractive(CBitTask* task, DWORD platform) {
  return CreateLcdInteractiveGroup(task, platform, true);
}

// The groups of each platform, in the order in which they are built.
constexpr GroupCreator kK[] = {CreateEepromGroup,   CreateShutterGroup, CreateFocusGroup,
                               CreateTempsensGroup, CreateLcd,          CreateLcdInteractive,
                               CreateApertureGroup, CreateFilterGroup,  CreateButtonsGroup,
                               CreateBatteryGroup,  CreateClockGroup,   CreateLaserGroup,
                               CreateGpsGroup,      CreateVisualGroup};
constexpr GroupCreator kR[] = {CreateEepromGroup,   CreateShutterGroup, CreateFocusGroup,
                               CreateTempsensGroup, CreateLcd,          CreateApertureGroup,
                               CreateButtonsGroup,  CreateBatteryGroup, CreateClockGroup,
                               CreateLaserGroup,    CreateIrdmGroup,    CreateTouchScreenGroup,
                               CreateFlashGroup};
constexpr GroupCreator kM[] = {CreateEepromGroup,   CreateShutterGroup,  CreateFocusGroup,
                               CreateTempsensGroup, CreateApertureGroup, CreateClockGroup};
constexpr GroupCreator kV[] = {CreateEepromGroup, CreateShutterGroup, CreateTempsensGroup,
                               CreateLcd, CreateButtonsGroup};
constexpr GroupCreator kRRem[] = {CreateEepromGroup,     CreateLcd,        CreateButtonsGroup,
                                  CreateBatteryGroup,    CreateClockGroup, CreateLaserGroup,
                                  CreateTouchScreenGroup};
constexpr GroupCreator kN7[] = {CreateTempsensGroup, CreateTouchScreenGroup, CreateLcd,
                                CreateEepromGroup,   CreateShutterGroup,     CreateButtonsGroup,
                                CreateVisualGroup,   CreateIrdmGroup,        CreateFocusGroup,
                                CreateTorchGroup,    CreateLaserGroup,       CreateClockGroup,
                                CreateBatteryGroup};
constexpr GroupCreator kH[] = {CreateEepromGroup,
                               CreateFocusGroup,
                               CreateTempsensGroup,
                               CreateLcd,
                               CreateViewFinder,
                               CreateLcdInteractive,
                               CreateViewFinderInteractive,
                               CreateFilterGroup,
                               CreateButtonsGroup,
                               CreateBatteryGroup,
                               CreateClockGroup,
                               CreateLaserGroup,
                               CreateGpsGroup,
                               CreateVisualGroup,
                               CreateLcdMagnetGroup,
                               CreateVddrGroup,
                               CreateCoolerGroup};
constexpr GroupCreator kM7[] = {CreateEepromGroup,   CreateShutterGroup,  CreateFocusGroup,
                                CreateTempsensGroup, CreateApertureGroup, CreateClockGroup,
                                CreateIrdmGroup,     CreateVddrGroup};
constexpr GroupCreator kKY[] = {
    CreateEepromGroup,   CreateShutterGroup,     CreateFocusGroup,
    CreateTempsensGroup, CreateApertureGroup,    CreateLcd,
    CreateViewFinder,    CreateLcdInteractive,   CreateViewFinderInteractive,
    CreateClockGroup,    CreateBatteryGroup,     CreateVddrGroup,
    CreateButtonsGroup,  CreateTouchScreenGroup, CreateLaserGroup,
    CreateGpsGroup};
constexpr GroupCreator kR7[] = {CreateEepromGroup, CreateShutterGroup, CreateTempsensGroup,
                                CreateLcd,         CreateButtonsGroup, CreateBatteryGroup,
                                CreateClockGroup,  CreateLaserGroup,   CreateTouchScreenGroup,
                                CreateFlashGroup,  CreateVddrGroup};
constexpr GroupCreator kR8[] = {CreateEepromGroup,      CreateShutterGroup, CreateFocusGroup,
                                CreateTempsensGroup,    CreateLcd,          CreateButtonsGroup,
                                CreateBatteryGroup,     CreateClockGroup,   CreateLaserGroup,
                                CreateTouchScreenGroup, CreateFlashGroup,   CreateVddrGroup,
                                CreateApertureGroup,    CreateAccelGroup,   CreateCompassGroup};
constexpr GroupCreator kM8[] = {CreateEepromGroup,   CreateShutterGroup,  CreateFocusGroup,
                                CreateTempsensGroup, CreateApertureGroup, CreateClockGroup};
constexpr GroupCreator kLQ[] = {CreateEepromGroup, CreateShutterGroup, CreateTempsensGroup,
                                CreateLcd,         CreateButtonsGroup, CreateBatteryGroup,
                                CreateClockGroup,  CreateVddrGroup};
constexpr GroupCreator kV8[] = {CreateEepromGroup,  CreateShutterGroup, CreateTempsensGroup,
                                CreateButtonsGroup, CreateClockGroup,   CreateLcd};

struct TestSet {
  PlatformNumber platform;
  std::span<const GroupCreator> groups;
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
  for (const GroupCreator create : set.groups) status = create(task, set.platform);
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

  const Trees trees;
  if (trees.task == nullptr) return kNoResourceTree;
  const OpenedResource opened(trees.task, "test.items");
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
