// Every failure that the optics tests can report, each by a knob of the running camera, and the
// bounds of their verdicts.
#include "support/fault_case.h"

namespace test {
namespace {

const FaultCase kCases[] = {
    // Focus: bounds are exclusive; the M7 class ends near the opposite ends.
    {"R8", ".desk.hidden=system.focus.maxPos", "focus.focus", "OK Focus test:Detected, "},
    {"K", ".desk.focus.overshoot=249", "focus.far", "OK Focus far:Detected, "},
    {"K", ".desk.focus.overshoot=250", "focus.far", "E 00A2 Focus far:NOT Detected, "},
    {"K", ".desk.focus.backlash=249 .desk.focus.max=4000", "focus.far", "OK Focus far:Detected, "},
    {"H", ".desk.focus.overshoot=249", "focus.near", "OK Focus near:Detected, "},
    {"H", ".desk.focus.overshoot=250", "focus.near", "E 00A3 Focus near:NOT Detected, "},
    {"H", ".desk.focus.backlash=250", "focus.near", "E 00A3 Focus near:NOT Detected, "},
    {"M", ".desk.focus.overshoot=250", "focus.far", "OK Focus far:Detected, "},
    {"M", ".desk.focus.max=2501", "focus.far", "OK Focus far:Detected, "},
    {"M", ".desk.focus.max=2500", "focus.far", "E 00A2 Focus far:NOT Detected, "},
    {"M8", ".desk.focus.max=10499", "focus.far", "OK Focus far:Detected, "},
    {"M8", ".desk.focus.max=10500", "focus.far", "E 00A2 Focus far:NOT Detected, "},
    {"M8", ".desk.focus.overshoot=250", "focus.focus", "E 00A3 Focus test:NOT Detected (Near), "},
    {"KY", ".desk.focus.overshoot=499", "focus.far", "OK Focus far:Detected, "},
    {"KY", ".desk.focus.overshoot=500", "focus.far", "E 00A2 Focus far:NOT Detected, "},
    {"M7", ".desk.focus.backlash=499", "focus.far", "OK Focus far:Detected, "},
    {"M7", ".desk.focus.backlash=500", "focus.far", "E 00A2 Focus far:NOT Detected, "},
    {"R8", ".desk.focus.overshoot=499", "focus.near", "OK Focus near:Detected, "},
    {"R8", ".desk.focus.overshoot=500", "focus.near", "E 00A3 Focus near:NOT Detected, "},
    {"K", ".desk.focus.stuck=true", "focus.focus", "E 00A2 Focus test:NOT Detected (Far), "},
    {"KY", ".desk.focus.stuck=true", "focus.near", "E 00A3 Focus near:NOT Detected, "},
    {"R-sysimg", ".desk.focus.speed=2000", "focus.far", "E 00A2 Focus far:NOT Detected, "},

    // Shutter with a sensor: in the full test the last failure counts.
    {"K", ".desk.shutter.stuck=out", "shutter.in", "E 0072 Shutter in:NOT Moved, "},
    {"K", ".desk.shutter.stuck=in", "shutter.out", "E 0073 Shutter out:NOT Moved, "},
    {"K", ".desk.shutter.sensor=In", "shutter.in", "E 0072 Shutter in:NOT Moved, "},
    {"K", ".desk.shutter.travel=1", "shutter.in", "OK Shutter in:Moved, "},
    {"K", ".desk.shutter.travel=1.01", "shutter.in", "E 0072 Shutter in:NOT Moved, "},
    {"K", ".desk.shutter.stuck=out", "shutter.shutter", "E 0072 "},
    {"K", ".desk.shutter.stuck=in", "shutter.shutter", "E 0073 "},
    {"K", ".desk.shutter.stuck=half", "shutter.shutter", "E 0073 "},
    {"K", ".desk.shutter.sticks=2,1", "shutter.shutter", "E 0072 "},

    // Shutter that the image judges: levels are inclusive, the first verdict that applies counts.
    {"KY", ".desk.shutter.readback=out", "shutter.in", "E 0071 Shutter in:NOT Moved, "},
    {"KY", ".desk.shutter.readback=in", "shutter.out", "E 0071 Shutter out:NOT Moved, "},
    {"M8", ".desk.frontend.shading=5000", "shutter.shutter", "Tested Shutter tested"},
    {"M8", ".desk.frontend.shading=5001", "shutter.shutter", "E 0074 Shutter stucked, diff:5001"},
    {"KY", ".desk.shutter.stuck=half", "shutter.shutter", "E 0074 Shutter stucked, diff:8400"},
    {"M8", ".desk.frontend.response=5000", "shutter.shutter", "Tested Shutter tested"},
    {"M8", ".desk.frontend.response=4999", "shutter.shutter", "E 0075 Shutter locked, diff: 4999"},
    {"N7", ".desk.shutter.stuck=out", "shutter.shutter", "E 0075 Shutter locked, diff: 0"},
    {"V8", ".desk.shutter.sticks=2,1", "shutter.shutter", "E 0075 Shutter locked, diff: 0"},
    {"R-sysimg", ".desk.frontend.repeats=true", "shutter.shutter", "E 0076 Suspicious framegrab"},
    {"M7", ".desk.frontend.shading=6000 .desk.frontend.response=4000", "shutter.shutter",
     "E 0074 Shutter stucked, diff:6000"},
    {"M7", ".desk.frontend.shading=6000 .desk.frontend.repeats=true", "shutter.shutter",
     "E 0076 Suspicious framegrab"},
    {"M7", ".desk.driver.fvd1.fail=0,1 .desk.frontend.repeats=true", "shutter.shutter",
     "E 0077 Shutter test failed in fvd"},
    {"KY", "", "shutter.shutter", "E 0070 Failed to init Shutter test",
     ".desk.driver.fvd1.present=false"},
    {"KY", "", "shutter.in", "Tested Shutter tested", ".desk.driver.fvd1.present=false"},
    {"M", ".desk.hidden=tcomp.active", "shutter.shutter", "Tested Shutter tested"},

    // Aperture: as the shutter, with codes of its own.
    {"K", ".desk.aperture.stuck=out", "aperture.in", "E 0081 Aperture in:NOT Moved, "},
    {"K", ".desk.aperture.stuck=in", "aperture.out", "E 0081 Aperture out:NOT Moved, "},
    {"K", ".desk.aperture.stuck=out", "aperture.aperture", "E 0082 "},
    {"K", ".desk.aperture.stuck=in", "aperture.aperture", "E 0083 "},
    {"KY", ".desk.aperture.readback=out", "aperture.in", "E 0081 Aperture in:NOT Moved, "},
    {"M8", ".desk.aperture.readback=in", "aperture.out", "E 0081 Aperture out:NOT Moved, "},
    {"R-sysimg", ".desk.aperture.stuck=half", "aperture.aperture", "Tested Aperture tested"},
    {"R8", ".desk.aperture.readback=out", "aperture.in", "E 0081 Aperture in:NOT Moved, "},
    {"R8", ".desk.frontend.shading=5001", "aperture.aperture",
     "E 0084 Aperture stucked, diff:5001"},
    {"R8", ".desk.aperture.stuck=in", "aperture.aperture", "E 0085 Aperture locked, diff: 0"},
    {"R8", ".desk.frontend.repeats=true", "aperture.aperture", "E 0086 Suspicious framegrab"},
    {"R8", "", "aperture.aperture", "E 0080 Failed to init Aperture test",
     ".desk.driver.fvd1.present=false"},

    // Filter: the average has to fall by 2000 whenever it goes in.
    {"H", ".desk.filter.drop=2000", "filter.filter", "Tested FILTER tested"},
    {"H", ".desk.filter.drop=1999", "filter.filter", "E 0061 FILTER test failed, maxdiff 1999"},
    {"H", ".desk.frontend.scene=25", "filter.filter",
     "E 0061 FILTER test failed, maxdiff -100 ( missing BB ? )"},
    {"H", ".desk.frontend.scene=25 .desk.filter.glow=20", "filter.filter",
     "E 0061 FILTER test failed, maxdiff -20"},
    {"H", ".desk.frontend.scene=25 .desk.filter.glow=21", "filter.filter",
     "E 0061 FILTER test failed, maxdiff -21 ( missing BB ? )"},
    {"H", ".desk.filter.stuck=out", "filter.filter", "E 0061 FILTER test failed, maxdiff 0"},
    {"H", ".desk.filter.stuck=half", "filter.filter", "E 0061 FILTER test failed, maxdiff 0"},
    {"H", ".desk.filter.sticks=3,1", "filter.filter", "E 0061 FILTER test failed, maxdiff 4000"},
    {"H", ".desk.range.switches=false", "filter.filter", "E 0061 FILTER test failed, maxdiff 0"},

    // Lamps.
    {"R-sysimg", ".desk.flash.works=false", "flash.flash", "Tested FLASH tested"},

    // Corners in one position alone, and reads that fail.
    {"M8", ".desk.frontend.shading=6000 .desk.frontend.response=65535", "shutter.shutter",
     "E 0074 Shutter stucked, diff:6000"},
    {"M8", ".desk.frontend.shading=6000 .desk.frontend.level=65535", "shutter.shutter",
     "E 0074 Shutter stucked, diff:6000"},
    {"M8", ".desk.frontend.noise=0 .desk.shutter.sticks=2,1", "shutter.shutter",
     "E 0076 Suspicious framegrab"},
    {"R8", ".desk.aperture.readback=in", "aperture.out", "E 0081 Aperture out:NOT Moved, "},
};

INSTANTIATE_TEST_SUITE_P(Optics, FaultTest, ::testing::ValuesIn(kCases), NameOfFault);

}  // namespace
}  // namespace test
