// What the optics tests ask of the camera, in which order and with which waits; what they leave
// behind; what clients can set.
#include <gtest/gtest.h>

#include <array>

#include "support/test_camera.h"

namespace test {
namespace {

constexpr char kShutter[] = "test.items.shutter.shutter";
constexpr char kFilter[] = "test.items.filter.filter";
const std::string kShutterNode = "image.flow.shutter.position";
const std::string kFilterNode = "image.flow.filter.position";

// The compensation rests meanwhile: the framework gives it ten seconds to follow.
const std::string kTcompOff = "get tcomp.active true true\nset tcomp.active false 1 10000 true\n";
const std::string kTcompOn = "get tcomp.active false true\nset tcomp.active true 1 10000 true\n";
const std::string kSecond = "sleep 1000\n";

std::string Set(const std::string& path, const std::string& value) {
  return "set " + path + " " + value + " 0 0 true\n";
}
std::string InAndOut(const std::string& path, const std::string& in, const std::string& out) {
  return Set(path, in) + kSecond + Set(path, out) + kSecond;
}
std::string Thrice(const std::string& round) {
  return round + round + round;
}

// What a test asked of the camera, but for its record: each step as soon as the waits before it are
// over.
std::string Steps(const Json& reply) {
  std::string steps;
  int ms = 0;
  for (const std::string& line : TraceLines(reply)) {
    const std::string step = line.substr(line.find(' ') + 1);
    EXPECT_EQ(line, std::to_string(ms) + " " + step);
    if (step.starts_with("sleep ")) ms += std::stoi(step.substr(6));
    if (!step.starts_with("file /FlashFS/tmp/bitlog.txt")) steps.append(step).append("\n");
  }
  return steps;
}

struct MoveCase {
  const char* variant;
  const char* item;
  std::string steps;
  const char* knob = "";  // "path=value"
};

TEST(MoveTest, MovesAndWaitsInOrder) {
  const std::string range =
      Set("image.services.TMax.TMax", "375.0") + Set("image.services.TMax.commit", "true");
  const std::string average = "get image.flow.framebuffer.frameAverage ";
  const std::string sensor = "get image.flow.shutter.truePosition ";
  const std::string flash = "system.vcam.flash";
  const std::string torch = "system.vcam.torch";
  const MoveCase cases[] = {
      {"K", "test.items.focus.far", R"(get system.focus.maxPos 8000 true
get system.focus.minPos 0 true
set system.focus.position 0 0 0 true
sleep 3000
set system.focus.position 7500 0 0 true
sleep 3000
get system.focus.position 7500 true
)"},
      {"KY", "test.items.focus.focus", R"(get system.focus.position 0 true
set system.focus.position 65535 0 0 true
sleep 3000
set system.focus.position 500 0 0 true
sleep 3000
get system.focus.position 500 true
set system.focus.position 0 0 0 true
sleep 3000
set system.focus.position 65035 0 0 true
sleep 3000
get system.focus.position 65035 true
)"},
      {"N7", "test.items.focus.detect", "get system.focus.position 0 true\n"},
      {"N", "test.items.shutter", Thrice(InAndOut(kShutterNode, "in", "out"))},
      {"K", kShutter,
       kTcompOff +
           Thrice(Set(kShutterNode, "in") + kSecond + sensor + "in true\n" +
                  Set(kShutterNode, "out") + kSecond + sensor + "out true\n") +
           kTcompOn},
      {"K", "test.items.aperture.out",
       kTcompOff + Set("image.flow.aperture.position", "out") + kSecond +
           "get image.flow.aperture.truePosition out true\n" + kTcompOn},
      {"M", "test.items.shutter.in",
       kTcompOff + Set(kShutterNode, "in") + "get " + kShutterNode + " in true\n" + kTcompOn},
      {"M", "test.items.aperture.aperture",
       kTcompOff + Thrice(InAndOut("image.flow.aperture.position", "in", "out")) + kTcompOn},
      {"R8", "test.items.aperture.detect",
       kTcompOff + "get image.flow.aperture.position out true\n" + kTcompOn},
      {"K", kFilter, Thrice(InAndOut(kFilterNode, "1", "0"))},
      {"H", kFilter,
       range + Set(kFilterNode, "0") + "sleep 5000\n" + average + "12000 true\n" +
           Thrice(Set(kFilterNode, "1") + kSecond + average + "8000 true\n" +
                  Set(kFilterNode, "0") + kSecond + average + "12000 true\n") +
           Set(kFilterNode, "0")},
      {"R7", "test.items.flash.flash",
       Thrice(Set(flash, "false") + Set(torch, "true") + kSecond + Set(flash, "true") + kSecond +
              Set(flash, "false") + Set(torch, "false") + kSecond)},
      {"N7", "test.items.torch.torch", Thrice(InAndOut(torch, "true", "false"))},
      // What is undone although the test never got to its moves.
      {"R8", "test.items.aperture.in", kTcompOff + kTcompOn,
       ".desk.hidden=image.flow.aperture.position"},
      {"H", kFilter, range + Set(kFilterNode, "0") + Set(kFilterNode, "0"),
       ".desk.hidden=image.flow.framebuffer.frameAverage"},
      {"H", kFilter, "", ".desk.hidden=image.services.TMax.TMax"},
  };
  for (const MoveCase& each : cases) {
    TestCamera camera(each.variant, each.knob);
    EXPECT_EQ(Steps(camera.Write(each.item, "run")), each.steps) << each.variant << each.item;
  }
}

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
  // 4000 counts with the shutter in, 12000 with it out, give or take 200 of shading.
  const std::string request = "ioctl FVD1: 0x80000058 " + Measured("3001", "e000") + " ";
  EXPECT_EQ(
      Steps(camera.Write(kShutter, "run")),
      "get image.flow.detector.geom.width 320 true\n"
      "get image.flow.detector.geom.height 240 true\n" +
          kTcompOff +
          Thrice(Set(kShutterNode, "in") + request + "d80e0000a00f0000a00f000068100000 true\n" +
                 Set(kShutterNode, "out") + request + "182e0000e02e0000e02e0000a82f0000 true\n") +
          kTcompOn);

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

// After passes and after failures.
TEST(LeftBehindTest, IsWhatATechnicianExpects) {
  constexpr char kFull[] = "test.items.focus.focus";
  constexpr char kFocus[] = ".system.focus.position";
  constexpr char kFlag[] = ".image.flow.shutter.position";
  constexpr char kAperture[] = ".image.flow.aperture.position";
  constexpr char kTcomp[] = ".tcomp.active";
  const std::array<const char*, 6> cases[] = {
      {"K", kFull, "", "OK      ", kFocus, "500"},
      {"K", kFull, ".desk.focus.overshoot=260", "E 00A2  ", kFocus, "7760"},  // no near step
      {"KY", kShutter, "", "Tested  ", kFlag, "out"},
      {"KY", "test.items.shutter.in", "", "Tested  ", kFlag, "in"},
      {"KY", kShutter, ".desk.driver.fvd1.fail=0,9", "E 0077  ", kFlag, "out"},
      {"KY", kShutter, ".desk.frontend.response=0", "E 0075  ", kTcomp, "true"},
      {"KY", kShutter, ".tcomp.active=false", "Tested  ", kTcomp, "false"},
      {"K", kShutter, ".desk.shutter.stuck=in", "E 0073  ", kTcomp, "true"},
      {"K", "test.items.aperture.in", ".desk.aperture.stuck=out", "E 0081  ", kAperture, "in"},
      {"R8", "test.items.aperture.aperture", ".desk.hidden=image.flow.aperture.position",
       "E 0080  ", kTcomp, "true"},
      {"R8", "test.items.aperture.aperture", ".desk.driver.fvd1.present=false", "E 0080  ", kTcomp,
       "true"},
      {"R8", "test.items.aperture.aperture", "", "Tested  ", kAperture, "out"},
      {"H", kFilter, ".desk.filter.drop=0", "E 0061  ", ".image.flow.filter.position", "0"},
      {"M", "test.items.shutter.in", ".desk.unreadable=tcomp.active", "Tested  ", kTcomp, "true"},
      {"R7", "test.items.flash.flash", "", "Tested  ", ".desk.flash.lit", "false"},
  };
  // knob: "path=value"; empty: a healthy camera.
  for (const auto& [variant, item, knob, result, node, left] : cases) {
    TestCamera camera(variant, knob);
    const std::string where = std::string(variant) + item + knob;
    EXPECT_EQ(camera.Run(item).value, result) << where;
    EXPECT_EQ(camera.Get(node), left) << where;
  }
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
TEST(MomentTest, FaultsShowWhenTheyAreThere) {
  const std::array<const char*, 5> cases[] = {
      // Out is missed in the first round, in in the last: the last failure counts.
      {"K", kShutter, "0.5 .desk.shutter.stuck=in; 2.5 .desk.shutter.stuck=out", "E 0072  ", ""},
      {"K", "test.items.focus.far", "3.5 .desk.focus.speed=8000", "OK      ",
       "Focus far:Detected, "},
      {"K", "test.items.focus.focus", "6.5 .desk.focus.stuck=true", "E 00A3  ",
       "Focus test:NOT Detected (Near), "},
      // As words without a sign, -1 is the highest average there is.
      {"H", kFilter, "4.5 .image.flow.framebuffer.frameAverage=-1", "Tested  ", "FILTER tested"},
      // A black body that is taken away in the second round: the drop of the first is told.
      {"H", kFilter, "7.5 .desk.frontend.scene=25", "E 0061  ", "FILTER test failed, maxdiff 4000"},
  };
  for (const auto& [variant, item, schedule, value, message] : cases) {
    TestCamera camera(variant);
    camera.Set(".desk.clock.at", schedule);
    const Result result = camera.Run(item);
    EXPECT_EQ(result.value, value) << schedule;
    EXPECT_EQ(result.message, message) << schedule;
  }
}

TEST(FlagTest, TakesItsTwoPositionsAloneAndTravels) {
  TestCamera camera("K");
  EXPECT_NE(camera.Camera().Write(".image.flow.shutter.position", TARQ::CResourceValue("open")),
            0U);
  camera.Set(".image.flow.shutter.position", "in");
  EXPECT_EQ(camera.Get(".image.flow.shutter.truePosition"), "between");
}

}  // namespace
}  // namespace test
