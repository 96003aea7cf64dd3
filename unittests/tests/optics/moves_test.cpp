// What the optics tests ask of the camera, in which order and with which waits; what they leave
// behind; what clients can set.
#include <gtest/gtest.h>

#include "support/test_camera.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;

constexpr char kShutter[] = "test.items.shutter.shutter";
constexpr char kFilter[] = "test.items.filter.filter";

struct MoveCase {
  const char* name;
  const char* variant;
  const char* item;
  Lines steps;  // but for the log's
};
void PrintTo(const MoveCase& each, std::ostream* out) {
  *out << each.name;
}

Lines Three(const Lines& before, const std::function<Lines(int)>& round, const Lines& after) {
  Lines lines = before;
  for (int i = 0; i < 3; ++i) {
    for (const std::string& line : round(i)) lines.push_back(line);
  }
  lines.insert(lines.end(), after.begin(), after.end());
  return lines;
}

std::string At(int ms, const std::string& step) {
  return std::to_string(ms) + " " + step;
}

std::string Set(const std::string& path, const std::string& value) {
  return "set " + path + " " + value + " 0 0 true";
}

// The compensation rests meanwhile: the framework gives it ten seconds to follow.
Lines TcompOff(int ms) {
  return {At(ms, "get tcomp.active true true"), At(ms, "set tcomp.active false 1 10000 true")};
}
Lines TcompOn(int ms) {
  return {At(ms, "get tcomp.active false true"), At(ms, "set tcomp.active true 1 10000 true")};
}

Lines InAndOut(const std::string& path, const std::string& in, const std::string& out, int start) {
  return {At(start, Set(path, in)), At(start, "sleep 1000"), At(start + 1000, Set(path, out)),
          At(start + 1000, "sleep 1000")};
}

Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

Lines SensedRound(const std::string& flag, int start) {
  const std::string path = "image.flow." + flag + ".position";
  const std::string sensor = "get image.flow." + flag + ".truePosition ";
  return {At(start, Set(path, "in")),           At(start, "sleep 1000"),
          At(start + 1000, sensor + "in true"), At(start + 1000, Set(path, "out")),
          At(start + 1000, "sleep 1000"),       At(start + 2000, sensor + "out true")};
}

const MoveCase kMoves[] = {
    {"FocusFar",
     "K",
     "test.items.focus.far",
     {"0 get system.focus.maxPos 8000 true", "0 get system.focus.minPos 0 true",
      "0 set system.focus.position 0 0 0 true", "0 sleep 3000",
      "3000 set system.focus.position 7500 0 0 true", "3000 sleep 3000",
      "6000 get system.focus.position 7500 true"}},
    {"FocusM7Full",
     "KY",
     "test.items.focus.focus",
     {"0 get system.focus.position 0 true", "0 set system.focus.position 65535 0 0 true",
      "0 sleep 3000", "3000 set system.focus.position 500 0 0 true", "3000 sleep 3000",
      "6000 get system.focus.position 500 true", "6000 set system.focus.position 0 0 0 true",
      "6000 sleep 3000", "9000 set system.focus.position 65035 0 0 true", "9000 sleep 3000",
      "12000 get system.focus.position 65035 true"}},
    {"FocusManual", "N7", "test.items.focus.detect", {"0 get system.focus.position 0 true"}},
    {"ShutterN", "N", "test.items.shutter",
     Three({}, [](int i) { return InAndOut("image.flow.shutter.position", "in", "out", 2000 * i); },
           {})},
    {"ShutterKFull", "K", kShutter,
     Three(
         TcompOff(0), [](int i) { return SensedRound("shutter", 2000 * i); }, TcompOn(6000))},
    {"ApertureKOut", "K", "test.items.aperture.out",
     TcompOff(0) +
         Lines{"0 set image.flow.aperture.position out 0 0 true", "0 sleep 1000",
               "1000 get image.flow.aperture.truePosition out true"} +
         TcompOn(1000)},
    {"ShutterIn", "M", "test.items.shutter.in",
     TcompOff(0) +
         Lines{"0 set image.flow.shutter.position in 0 0 true",
               "0 get image.flow.shutter.position in true"} +
         TcompOn(0)},
    {"ApertureFull", "M", "test.items.aperture.aperture",
     Three(
         TcompOff(0),
         [](int i) { return InAndOut("image.flow.aperture.position", "in", "out", 2000 * i); },
         TcompOn(6000))},
    {"ApertureR8Detect", "R8", "test.items.aperture.detect",
     TcompOff(0) + Lines{"0 get image.flow.aperture.position out true"} + TcompOn(0)},
    {"FilterK", "K", kFilter,
     Three({}, [](int i) { return InAndOut("image.flow.filter.position", "1", "0", 2000 * i); },
           {})},
    {"FilterH", "H", kFilter,
     Three({"0 set image.services.TMax.TMax 375.0 0 0 true",
            "0 set image.services.TMax.commit true 0 0 true",
            "0 set image.flow.filter.position 0 0 0 true", "0 sleep 5000",
            "5000 get image.flow.framebuffer.frameAverage 12000 true"},
           [](int i) {
             const std::string average = "get image.flow.framebuffer.frameAverage ";
             const int start = 5000 + 2000 * i;
             return Lines{At(start, Set("image.flow.filter.position", "1")),
                          At(start, "sleep 1000"),
                          At(start + 1000, average + "8000 true"),
                          At(start + 1000, Set("image.flow.filter.position", "0")),
                          At(start + 1000, "sleep 1000"),
                          At(start + 2000, average + "12000 true")};
           },
           {"11000 set image.flow.filter.position 0 0 0 true"})},
    {"Flash", "R7", "test.items.flash.flash",
     Three({},
           [](int i) {
             const int start = 3000 * i;
             return Lines{At(start, Set("system.vcam.flash", "false")),
                          At(start, Set("system.vcam.torch", "true")),
                          At(start, "sleep 1000"),
                          At(start + 1000, Set("system.vcam.flash", "true")),
                          At(start + 1000, "sleep 1000"),
                          At(start + 2000, Set("system.vcam.flash", "false")),
                          At(start + 2000, Set("system.vcam.torch", "false")),
                          At(start + 2000, "sleep 1000")};
           },
           {})},
    {"Torch", "N7", "test.items.torch.torch",
     Three({}, [](int i) { return InAndOut("system.vcam.torch", "true", "false", 2000 * i); }, {})},
};

class MoveTest : public ::testing::TestWithParam<MoveCase> {};

TEST_P(MoveTest, MovesAndWaitsInOrder) {
  TestCamera camera(GetParam().variant);
  Lines steps = TraceLines(camera.Write(GetParam().item, "run"));
  std::erase_if(steps, [](const std::string& step) {
    return step.find(" file /FlashFS/tmp/bitlog.txt") != std::string::npos;
  });
  EXPECT_EQ(steps, GetParam().steps);
}

INSTANTIATE_TEST_SUITE_P(Optics, MoveTest, ::testing::ValuesIn(kMoves),
                         [](const auto& each) { return std::string(each.param.name); });

// Four windows of 16 x 16 pixels: x, y, width, height of each, low bytes first.
std::string Measured(const std::string& right, const std::string& bottom) {
  const std::string size = "10001000";
  return "0200000004000000"
         "00000000" +
         size + right + "0000" + size + "0000" + bottom + size + right + bottom + size;
}

// Nothing waits between a move and its measurement: the first frame shows the flag's end.
TEST(CornersTest, AreMeasuredRightAfterEachMove) {
  TestCamera camera("M8", ".desk.frontend.noise=0");
  Lines expected = {"0 get image.flow.detector.geom.width 320 true",
                    "0 get image.flow.detector.geom.height 240 true"};
  expected = expected + TcompOff(0);
  const std::string request = "ioctl FVD1: 0x80000058 " + Measured("3001", "e000") + " ";
  for (int round = 0; round < 3; ++round) {
    // 4000 counts with the shutter in, 12000 with it out, give or take 200 of shading.
    expected = expected + Lines{At(0, Set("image.flow.shutter.position", "in")),
                                At(0, request + "d80e0000a00f0000a00f000068100000 true"),
                                At(0, Set("image.flow.shutter.position", "out")),
                                At(0, request + "182e0000e02e0000e02e0000a82f0000 true")};
  }
  expected = expected + TcompOn(0) + Lines{"0 file /FlashFS/tmp/bitlog.txt a+ true"};
  EXPECT_EQ(TraceLines(camera.Write(kShutter, "run")), expected);

  // Of a detector whose size the camera does not tell, the usual one is measured.
  camera.Set(".desk.frontend.width", "640");
  camera.Set(".desk.frontend.height", "480");
  camera.Set(".desk.hidden", "image.flow.detector.geom.width image.flow.detector.geom.height");
  const std::string hidden = camera.Write(kShutter, "run")["trace"].dump();
  EXPECT_NE(hidden.find(Measured("3001", "e000")), std::string::npos);
  camera.Set(".desk.hidden", "");
  const std::string told = camera.Write(kShutter, "run")["trace"].dump();
  EXPECT_NE(told.find(Measured("7002", "d001")), std::string::npos);
  // A size that the detector does not have: the driver refuses its corners.
  camera.Set(".image.flow.detector.geom.width", "641");
  EXPECT_EQ(camera.Run(kShutter).value, "E 0077  ");
  camera.Set(".desk.restore", "true");
  EXPECT_EQ(camera.Run(kShutter).value, "Tested  ");
}

TEST(LevelsTest, AreTheClientsAndStayOnAReset) {
  TestCamera camera("KY");
  EXPECT_EQ(camera.Get("test.items.shutter.flatLevel"), "5000");
  EXPECT_EQ(camera.Get("test.items.shutter.responseLevel"), "5000");
  camera.Write("test.items.shutter.flatLevel", 100);
  EXPECT_EQ(camera.Run(kShutter), (Result{1, "E 0074  ", "Shutter stucked, diff:400"}));
  camera.Write("test.items.shutter.flatLevel", 400);
  EXPECT_EQ(camera.Run(kShutter).value, "Tested  ");
  camera.Write("test.items.shutter.responseLevel", 8001);
  EXPECT_EQ(camera.Run(kShutter), (Result{1, "E 0075  ", "Shutter locked, diff: 8000"}));
  camera.Set(".desk.frontend.level", "40000");  // counts need all sixteen bits
  EXPECT_EQ(camera.Run(kShutter), (Result{1, "E 0075  ", "Shutter locked, diff: 8000"}));
  camera.Write("test.clearResult", true);
  EXPECT_EQ(camera.Get("test.items.shutter.flatLevel"), "400");
  EXPECT_EQ(camera.Get("test.items.shutter.responseLevel"), "8001");
  EXPECT_EQ(camera.Get(kShutter), "Untested");
  EXPECT_EQ(camera.Get("test.errcnt"), "0");
}

// The aperture's group has no levels, and those of the shutter are not its.
TEST(LevelsTest, ApertureGoesByTheDefaults) {
  TestCamera camera("R8");
  camera.Write("test.items.shutter.flatLevel", 100);
  EXPECT_EQ(camera.Run("test.items.aperture.aperture").value, "Tested  ");
}

struct LeftCase {
  const char* variant;
  const char* item;
  const char* knob;  // "path=value"; empty: a healthy camera
  const char* result;
  const char* node;
  const char* left;
};

// After passes and after failures.
TEST(LeftBehindTest, IsWhatATechnicianExpects) {
  constexpr char kFull[] = "test.items.focus.focus";
  constexpr char kFocus[] = ".system.focus.position";
  constexpr char kFlag[] = ".image.flow.shutter.position";
  constexpr char kAperture[] = ".image.flow.aperture.position";
  constexpr char kTcomp[] = ".tcomp.active";
  const LeftCase cases[] = {
      {"K", kFull, "", "OK      ", kFocus, "500"},
      {"K", kFull, ".desk.focus.overshoot=260", "E 00A2  ", kFocus, "7760"},  // no near step
      {"K", kShutter, "", "OK      ", kFlag, "out"},
      {"KY", kShutter, "", "Tested  ", kFlag, "out"},
      {"KY", "test.items.shutter.in", "", "Tested  ", kFlag, "in"},
      {"KY", kShutter, ".desk.driver.fvd1.fail=0,9", "E 0077  ", kFlag, "out"},
      {"KY", kShutter, ".desk.frontend.response=0", "E 0075  ", kTcomp, "true"},
      {"KY", kShutter, ".tcomp.active=false", "Tested  ", kTcomp, "false"},
      {"K", kShutter, ".desk.shutter.stuck=in", "E 0073  ", kTcomp, "true"},
      {"K", "test.items.aperture.in", ".desk.aperture.stuck=out", "E 0081  ", kAperture, "in"},
      {"R8", "test.items.aperture.aperture", ".desk.hidden=image.flow.aperture.position",
       "E 0080  ", kTcomp, "true"},
      {"R8", "test.items.aperture.aperture", "", "Tested  ", kAperture, "out"},
      {"H", kFilter, "", "Tested  ", ".image.flow.filter.position", "0"},
      {"H", kFilter, "", "Tested  ", ".image.services.TMax.TMax", "375.0"},
      {"H", kFilter, ".desk.filter.drop=0", "E 0061  ", ".image.flow.filter.position", "0"},
      {"M", "test.items.shutter.in", ".desk.unreadable=tcomp.active", "Tested  ", kTcomp, "true"},
      {"R7", "test.items.flash.flash", "", "Tested  ", ".desk.flash.lit", "false"},
      {"R7", "test.items.flash.flash", "", "Tested  ", ".desk.torch.lit", "false"},
  };
  for (const LeftCase& each : cases) {
    TestCamera camera(each.variant);
    const std::string knob = each.knob;
    if (!knob.empty()) {
      camera.Set(knob.substr(0, knob.find('=')), knob.substr(knob.find('=') + 1));
    }
    EXPECT_EQ(camera.Run(each.item).value, each.result) << each.variant << each.item << knob;
    EXPECT_EQ(camera.Get(each.node), each.left) << each.variant << each.item << knob;
  }
}

// What is undone although the test never got to its moves.
TEST(MoveTraceTest, FailedPreparationUndoesWhatItDid) {
  {
    TestCamera r8("R8");
    r8.Set(".desk.hidden", "image.flow.aperture.position");
    EXPECT_EQ(TraceLines(r8.Write("test.items.aperture.in", "run")),
              TcompOff(0) + TcompOn(0) + Lines{"0 file /FlashFS/tmp/bitlog.txt a+ true"});
  }
  TestCamera h("H");
  h.Set(".desk.hidden", "image.flow.framebuffer.frameAverage");
  EXPECT_EQ(TraceLines(h.Write(kFilter, "run")),
            (Lines{"0 set image.services.TMax.TMax 375.0 0 0 true",
                   "0 set image.services.TMax.commit true 0 0 true",
                   "0 set image.flow.filter.position 0 0 0 true",
                   "0 set image.flow.filter.position 0 0 0 true",
                   "0 file /FlashFS/tmp/bitlog.txt a+ true"}));
  h.Set(".desk.hidden", "image.services.TMax.TMax");
  EXPECT_EQ(TraceLines(h.Write(kFilter, "run")), (Lines{"0 file /FlashFS/tmp/bitlog.txt a+ true"}));
}

TEST(LeftBehindTest, TcompIsBackWhenTheApertureHasNoDriver) {
  TestCamera camera("R8", ".desk.driver.fvd1.present=false");
  EXPECT_EQ(camera.Run("test.items.aperture.aperture").value, "E 0080  ");
  EXPECT_EQ(camera.Get(".tcomp.active"), "true");
}

// Two flags at once: neither takes the other's rest of the compensation for the camera's setting.
TEST(LeftBehindTest, TcompIsBackAfterTestsThatOverlap) {
  for (const char* const variant : {"K", "R8"}) {
    TestCamera camera(variant);
    const auto replies =
        camera.RunTogether({"test.items.shutter.shutter", "test.items.aperture.aperture"});
    for (const Json& reply : replies) EXPECT_EQ(reply["status"], 0) << reply;
    EXPECT_EQ(camera.Get(".tcomp.active"), "true") << variant;
  }
}

// Who shares a lens, or what the front-end shows, waits for the others; ms from the common start.
struct SharedCase {
  const char* variant;
  std::vector<std::string> items;
  std::vector<double> ends;
};
TEST(SharedTest, TestsOfOnePartTakeTurns) {
  const SharedCase cases[] = {
      {"K",
       {"focus.far", "focus.near", "focus.focus", "focus.detect"},
       {6000, 12000, 24000, 24000}},
      {"KY", {"focus.near", "focus.far"}, {6000, 12000}},
      {"N7", {"visual.draft", "IRDM.IRDM", "visual.still"}, {600, 700, 1800}},
  };
  for (const auto& [variant, items, ends] : cases) {
    TestCamera camera(variant);
    std::vector<std::string> paths;
    for (const std::string& item : items) paths.push_back("test.items." + item);
    const std::vector<Json> replies = camera.RunTogether(paths);
    for (std::size_t i = 0; i < items.size(); ++i) {
      EXPECT_EQ(replies[i]["elapsed_ms"], ends[i]) << variant << " " << items[i];
      EXPECT_EQ(replies[i]["value"], "OK      ") << variant << " " << items[i];
    }
  }
}

// Faults that come and go while a test runs.
struct MomentCase {
  const char* variant;
  const char* item;
  const char* schedule;
  Result expected;
};
TEST(MomentTest, FaultsShowWhenTheyAreThere) {
  const MomentCase cases[] = {
      // Out is missed in the first round, in in the last: the last failure counts.
      {"K",
       kShutter,
       "0.5 .desk.shutter.stuck=in; 2.5 .desk.shutter.stuck=out",
       {1, "E 0072  ", ""}},
      {"K",
       "test.items.focus.far",
       "3.5 .desk.focus.speed=8000",
       {0, "OK      ", "Focus far:Detected, "}},
      {"K",
       "test.items.focus.focus",
       "6.5 .desk.focus.stuck=true",
       {1, "E 00A3  ", "Focus test:NOT Detected (Near), "}},
      // As words without a sign, -1 is the highest average there is.
      {"H",
       kFilter,
       "4.5 .image.flow.framebuffer.frameAverage=-1",
       {0, "Tested  ", "FILTER tested"}},
      // A black body that is taken away in the second round: the drop of the first is told.
      {"H",
       kFilter,
       "7.5 .desk.frontend.scene=25",
       {1, "E 0061  ", "FILTER test failed, maxdiff 4000"}},
  };
  for (const MomentCase& each : cases) {
    TestCamera camera(each.variant);
    camera.Set(".desk.clock.at", each.schedule);
    EXPECT_EQ(camera.Run(each.item), each.expected) << each.schedule;
  }
}

TEST(FocusMotorTest, TravelsAtItsSpeed) {
  TestCamera camera("K");
  camera.Set(".system.focus.position", "6000");
  camera.Set(".desk.clock.advance", "1");
  EXPECT_EQ(camera.Get(".system.focus.position"), "4000");
  camera.Set(".system.focus.position", "-100");  // back, from where it is, to the end of its travel
  camera.Set(".desk.clock.advance", "0.5");
  EXPECT_EQ(camera.Get(".system.focus.position"), "2000");
  camera.Set(".desk.focus.stuck", "true");
  camera.Set(".desk.clock.advance", "5");
  EXPECT_EQ(camera.Get(".system.focus.position"), "2000");
  camera.Set(".desk.focus.stuck", "false");
  camera.Set(".system.focus.position", "0");
  camera.Set(".desk.clock.advance", "5");
  EXPECT_EQ(camera.Get(".system.focus.position"), "0");
}

TEST(FlagTest, TakesItsTwoPositionsAndTravels) {
  TestCamera camera("K");
  EXPECT_NE(camera.Camera().Write(".image.flow.shutter.position", TARQ::CResourceValue("open")),
            0U);
  camera.Set(".image.flow.shutter.position", "in");
  EXPECT_EQ(camera.Get(".image.flow.shutter.position"), "in");
  EXPECT_EQ(camera.Get(".image.flow.shutter.truePosition"), "between");
  camera.Set(".desk.clock.advance", "0.2");
  EXPECT_EQ(camera.Get(".image.flow.shutter.truePosition"), "in");
  EXPECT_EQ(camera.Get(".image.flow.framebuffer.frameAverage"), "4000");
}

}  // namespace
}  // namespace test
