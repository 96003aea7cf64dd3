// Every failure that the interactive tests can report, each by what the operator does or by a knob
// of the running camera.
#include <map>

#include "support/fault_case.h"

namespace test {
namespace {

constexpr int kKeypads = 13;  // cases, the first ones
const FaultCase kCases[] = {
    // Nobody presses a key: every name of each keypad, in its order and its own spelling.
    {"N", ".desk.operator.mode=none", "buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, F1, F2, Recall, Power, Store, "},
    {"V", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, F1, F2, Recall, Power, Store, "},
    {"K", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Prior, Next, Home, End, Push, F1, F2, Power, "
     "Focus Far, Focus Near, Autofocus, Man/Auto, Gallery, Live/Freeze, "},
    {"H", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Prior, Next, Home, End, Push, F1, F2, Power, "
     "Focus Far, Focus Near, Autofocus, Man/Auto, Gallery, Live/Freeze, IR/Vis "},
    {"R", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Push, Zoom, Auto/Man, Escape, Power, Focus Near, "
     "Focus Far, Autofocus, Store, "},
    {"R-sysimg", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Push, Zoom, Auto/Man, Escape, Measure, Info, "
     "Setup, Gallery, Mode, Power, Focus Near, Focus Far, Autofocus, Store, "},
    {"R7", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Setup, Auto/Man, Gallery, Power, Store, "},
    {"R7-bfs", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Setup, Back, Gallery, Power, Store, "},
    {"R8", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Push, Setup, Auto/Man, Autofocus, Gallery, "
     "Power, Store, Zoom , Prog, Camera Focus Far, Focus Near, "},
    {"LQ", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Zoom, Mode, Power, Store, "},
    {"KY", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Push, Setup, Auto/Man, Autofocus, Gallery, "
     "Power, Store, VF / D, Zoom N, Zoom F, IR/Vis, Prog, "},
    {"V8", ".desk.operator.mode=none", "buttons.buttons",
     "E 0051 Keys missing: Up, Down, Left, Right, Lib, Back, Enter, Power, Store, "},
    {"KY", ".desk.operator.mode=none", "buttons.buttons090",
     "E 0051 Keys missing: Up, Down, Left, Right, Push, Setup, Auto/Man, Autofocus, Gallery, "
     "Power, Store, Zoom N, Zoom F, Prog, "},

    // Some keys.
    {"KY", ".desk.operator.misses=D/V,Camera", "buttons.buttons090", "OK Buttons OK"},
    {"LQ", ".desk.operator.twice=Zoom,Mode", "buttons.buttons", "OK Buttons OK"},
    {"K", ".desk.operator.others=0x99,F12,Z", "buttons.buttons", "OK Buttons OK"},
    {"LQ", ".desk.lostkeys=Zoom,Store", "buttons.buttons", "E 0051 Keys missing: Zoom, Store, "},
    {"LQ", ".desk.lostkeys=Zoom,*", "buttons.buttons",
     "E 0051 Keys missing: Zoom, Mode, Power, Store, "},
    {"R7", ".desk.screen.windows=false", "buttons.buttons", "E 0050 Failed to init test"},
    {"LQ", ".desk.screen.dialogs=false", "buttons.buttons",
     "E 0051 Keys missing: Zoom, Mode, Power, Store, "},

    // Laser.
    {"K", ".desk.operator.laser=19.9", "laser.laser", "OK Laser OK"},
    {"K", ".desk.operator.laser=20.01", "laser.laser", "E 0041 Laser not detected"},
    {"R8", ".desk.laser.works=false", "laser.laser", "E 0041 Laser not detected"},
    {"N", ".desk.screen.windows=false", "laser", "E 0040 Failed to init test"},
    {"K", ".desk.hidden=image.state.freeze.set", "laser.laser", "OK Laser OK"},

    // Touch screen, in its three layouts.
    {"KY", ".desk.operator.targets=1,3,4,6,7,8,9", "touchscreen.touchscreen",
     "E 0051 Segments missing: 2, 5, "},
    {"KY", ".desk.lostpanel=left", "touchscreen.touchscreen", "E 0051 Segments missing: 1, 4, 7, "},
    {"KY", ".desk.lostpanel=top", "touchscreen.touchscreen", "E 0051 Segments missing: 1, 2, 3, "},
    {"N7", ".desk.operator.mode=none", "touchscreen.touchscreen",
     "E 0051 Segments missing: 1, 2, 3, 4, 5, 6, 7, 8, 9, "},
    {"R8", ".desk.screen.windows=false", "touchscreen.touchscreen", "E 00C0 Failed to init test"},

    // LCD and viewfinder.
    {"V", ".desk.hidden=image.state.recall.setW", "lcd.bitmaps", "Tested LCD tested"},
    {"LQ", ".desk.lost=*.jpg", "lcd.images", "Tested LCD tested"},
    {"K", ".desk.lost=*.BMP", "lcd_i.bitmaps", "E 0060 No test images found"},
    {"H", ".desk.screen.windows=false", "lcd_i.bitmaps", "E 0060 Failed to init test"},
    {"K", ".desk.operator.faulty=2", "lcd_i.bitmaps", "E 00F2 LCD Failed (interactive test)"},
    {"KY", ".desk.operator.faulty=1", "viewFinder_i.bitmaps",
     "E 00F2 ViewFinder Failed (interactive test)"},
    {"K", ".desk.image.damaged=true", "lcd_i.bitmaps", "E 00F2 LCD Failed (interactive test)"},
    {"K", ".desk.operator.unanswered=3", "lcd_i.bitmaps", "Tested LCD tested (interactive)"},
    {"H", ".desk.operator.mode=none", "viewFinder_i.bitmaps",
     "Tested ViewFinder tested (interactive)"},
    {"KY", ".desk.screen.dialogs=false", "lcd_i.bitmaps", "Tested LCD tested (interactive)"},
};

// Each key alone, by whatever code it sends: its own name is missing and no other key's, and the
// names of all are what is missing when nobody presses any.
class LostKeyTest : public ::testing::TestWithParam<FaultCase> {};

TEST_P(LostKeyTest, IsTheOneThatIsMissing) {
  constexpr std::string_view kMissing = "Keys missing: ";
  const std::string whole = GetParam().expected.message.substr(kMissing.size());
  TestCamera camera(GetParam().variant);
  std::map<std::size_t, std::string> names;  // by place
  for (int code = 0x08; code <= 0x7B; ++code) {
    std::ostringstream key;
    key << "0x" << std::hex << code;
    camera.Set(".desk.lostkeys", key.str());
    const Result result = camera.Run(GetParam().item);
    if (result.status == 0) continue;
    const std::string name = result.message.substr(kMissing.size());
    ASSERT_NE(whole.find(name), std::string::npos) << key.str() << " " << name;
    names[whole.find(name)] = name;
  }
  std::string all;
  for (const auto& [place, name] : names) all += name;
  EXPECT_EQ(all, whole);
}

INSTANTIATE_TEST_SUITE_P(Interactive, LostKeyTest,
                         ::testing::ValuesIn(std::begin(kCases), std::begin(kCases) + kKeypads),
                         NameOfFault);
INSTANTIATE_TEST_SUITE_P(Interactive, FaultTest, ::testing::ValuesIn(kCases), NameOfFault);

}  // namespace
}  // namespace test
