// The n-th call of a test fails, for n = 1, 2, ... until none does: every item of every variant, at
// every kind of call. What the test then says, what it puts back, and that it leaves nothing open.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <sstream>

#include "camera/variant.h"
#include "coredll/handles.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

namespace test {
namespace {

using TARQ::NodeAccess;

// Where a failed call changes the result: for any other call the item ends as on a healthy camera.
struct Outcome {
  const char* item;     // its class, with * and ?
  const char* call;     // "open|read|write node", or "driver.knob"
  const char* results;  // code and message, with *; "healthy" among them, where it depends on the
                        // moment; "unchanged" where nothing is stored
};
constexpr Outcome kOutcomes[] = {
    // A request that fails is a chip that is silent.
    {"CResBitBattery*", "i2c?.fail", "E 0002 Battery not detected"},
    {"CResBitClock", "i2c1.fail", "E 0011 Clock not detected"},
    {"CResBitClockH", "pmi1.open_fail", "E 0011 Clock not detected"},
    {"CResBitClockH", "pmi1.fail", "E 0012 Clock not running"},
    {"CResBitEEProm*", "i2c?.fail", "E 0021 *:NOT Detected, *"},
    {"CResBitTempsensN", "i2c1.fail", "E 0031 Tempsens not detected"},
    // The converters are asked again.
    {"CResBitTempsensItems", "i2c?.fail", "E 0031 Tempsens *:Tempsens not detected |healthy"},
    {"CResBitVDDR", "fvd1.fail",
     "E 0112 Couldn't write to SDRAM at 0x* (error: 0x0)|"
     "E 0113 Couldn't write to SDRAM at 0x* (error: 0x1)"},
    {"CResBitIRDM", "fvd1.fail", "E 00B0 Failed to init IRDM test|E 00B1 IRDM not detected"},
    {"CResBitVisualMode", "cam1.fail", "E 00F0 Failed to init visual test"},
    // The last request puts the function back, whatever becomes of it.
    {"CResBitVisualMode", "fvd1.fail",
     "E 00F0 Failed to init visual test|E 00B1 Visual test mode failed|healthy"},
    {"CResBitVisual", "cam1.fail", "E 00F1 Visual camera not responding, error: 0x45D"},
    {"CResBitVisual", "cam1.open_fail", "unchanged"},
    {"CResBitGps", "open *", "E 00E0 No GPS available"},
    {"CResBitGps", "read *", "E 00E2 GPS not connected"},
    {"CResBitGps", "write power.settings.gpsPower", "E 00E2 GPS not connected|healthy"},
    {"CResBitLCDMagnet", "open *", "E 0100 Failed to init test"},
    {"CResBitLCDMagnet", "read *", "E 0101 LCD Magnet not detected|healthy"},
    {"CResBitCompass", "open *", "E 0130 No Compass available"},
    {"CResBitCompass", "read *", "E 0132 Compass not responding"},
    {"CResBitAccel", "open *", "E 0140 No Accelerometer available"},
    {"CResBitAccel", "read *", "E 0142 Accelerometer not responding"},
    {"CResBitLaser", "open power.settings.laserEnable", "E 0041 Laser not detected"},
    {"CResBitLaser", "write power.settings.laserEnable", "E 0041 Laser not detected"},
    {"CResBitLCD", "open image.state.recall.setW", "E 0060 Failed to init test"},
    {"CResBitFocus*", "open system.focus", "E 00A0 Focus *:NOT Detected, "},
    {"CResBitFocus*", "open system.focus.*",
     "E 00A1 Focus *:NOT Detected, |E 00A1 Focus test:NOT Detected (Pos), "},
    {"CResBitFocus*", "read system.focus.position",
     "E 00A1 Focus detect:NOT Detected, |E 00A1 Focus test:NOT Detected (Pos), |"
     "E 00A2 Focus far:NOT Detected, |E 00A2 Focus test:NOT Detected (Far), |"
     "E 00A3 Focus near:NOT Detected, |E 00A3 Focus test:NOT Detected (Near), "},
    {"CResBitFocus", "read system.focus.m??Pos",
     "E 00A2 Focus far:NOT Detected, |E 00A2 Focus test:NOT Detected (Far), |healthy"},
    {"CResBitFocus*", "write system.focus.position",
     "E 00A2 Focus far:NOT Detected, |E 00A2 Focus test:NOT Detected (Far), |"
     "E 00A3 Focus near:NOT Detected, |E 00A3 Focus test:NOT Detected (Near), |healthy"},
    {"CResBitShutterN", "open *", "E 0070 Failed to init test"},
    {"CResBitShutterK", "open image.flow.shutter.*osition", "E 0070 Failed to init Shutter test"},
    {"CResBitShutterK", "read image.flow.shutter.position", "E 0071 Shutter detect:NOT Detected, "},
    {"CResBitShutterK", "read image.flow.shutter.truePosition",
     "E 0072 Shutter in:NOT Moved, |E 0073 Shutter out:NOT Moved, |E 0072 |E 0073 "},
    {"CResBitShutterK", "write image.flow.shutter.position",
     "E 0072 Shutter in:NOT Moved, |E 0073 Shutter out:NOT Moved, |E 0072 |E 0073 |healthy"},
    {"CResBitShutterRMV", "open image.flow.shutter.position", "E 0070 Failed to init Shutter test"},
    {"CResBitShutterRMV", "read image.flow.shutter.position",
     "E 0071 Shutter detect:NOT Detected, |E 0071 Shutter in:NOT Moved, |"
     "E 0071 Shutter out:NOT Moved, "},
    {"CResBitShutterRMV", "write image.flow.shutter.position",
     "E 0071 Shutter in:NOT Moved, |E 0071 Shutter out:NOT Moved, |"
     "E 0075 Shutter locked, diff: 0|healthy"},
    {"CResBitShutterRMV", "fvd1.fail", "E 0077 Shutter test failed in fvd"},
    {"CResBitAperture*", "open image.flow.aperture.*osition",
     "E 0080 Failed to init Aperture test"},
    {"CResBitApertureK", "read image.flow.aperture.position",
     "E 0081 Aperture detect:NOT Detected, "},
    {"CResBitAperture*", "read image.flow.aperture.position",
     "E 0081 Aperture detect:NOT Detected, |E 0081 Aperture in:NOT Moved, |"
     "E 0081 Aperture out:NOT Moved, "},
    {"CResBitAperture", "write image.flow.aperture.position",
     "E 0081 Aperture in:NOT Moved, |E 0081 Aperture out:NOT Moved, |healthy"},
    {"CResBitApertureK", "read image.flow.aperture.truePosition",
     "E 0081 Aperture in:NOT Moved, |E 0081 Aperture out:NOT Moved, |E 0082 |E 0083 "},
    {"CResBitApertureK", "write image.flow.aperture.position",
     "E 0081 Aperture in:NOT Moved, |E 0081 Aperture out:NOT Moved, |E 0082 |E 0083 |healthy"},
    {"CResBitApertureR8", "write image.flow.aperture.position",
     "E 0081 Aperture in:NOT Moved, |E 0081 Aperture out:NOT Moved, |"
     "E 0085 Aperture locked, diff: 0|healthy"},
    {"CResBitApertureR8", "fvd1.fail", "E 0087 Aperture test failed in fvd"},
    {"CResBitFilter", "open *", "E 0090 Failed to init test"},
    {"CResBitFilterH", "open *", "E 0090 FILTER test init failed"},
    {"CResBitFilterH", "write image.services.TMax.*", "E 0090 FILTER test init failed"},
    {"CResBitFilterH", "write image.flow.filter.position",
     "E 0090 FILTER test init failed|E 0061 FILTER test failed, maxdiff *|healthy"},
    {"CResBitFilterH", "read image.flow.framebuffer.frameAverage",
     "E 0061 FILTER test failed, maxdiff *"},
    {"CResBitFlash", "open *", "E 00D0 Failed to init test"},
    {"CResBitTorch", "open *", "E 00D1 Failed to init torch test"},
    {"CResBitCooler", "*", "unchanged"},
    // What fails for these is skipped, made up for by a second sensor, or waited for in vain.
    {"CResBitDualTempsensItems", "*", "healthy"},
    {"CResBitButtons*", "*", "healthy"},
    {"CResBitTouchScreen", "*", "healthy"},
    {"CResBitLCD_I*", "*", "healthy"},
};

// What is on the camera after a test as it was before, unless the call that failed was on it.
constexpr const char* kPutBack[] = {"tcomp.active",
                                    "tcomp.services.autoNuc.active",
                                    "power.settings.gpsPower",
                                    "power.settings.lcdEnable",
                                    "ui.userSettings.viewFinder",
                                    "ui.userSettings.hideGraphics",
                                    "image.flow.filter.position",
                                    "system.vcam.torch",
                                    "system.vcam.flash",
                                    ".desk.image.shows",
                                    ".desk.screen.title"};

std::string ExpectedOf(const std::string& className, const std::string& call) {
  for (const Outcome& row : kOutcomes) {
    if (fnmatch(row.item, className.c_str(), 0) == 0 && fnmatch(row.call, call.c_str(), 0) == 0) {
      return row.results;
    }
  }
  return "healthy";
}

// The result in the table's words.
std::string WordsOf(const Json& reply) {
  const auto value = reply["value"].get<std::string>();
  if (value == "Untested" || reply["records"].empty()) return "unchanged";
  if (value == "OK      " || value == "Tested  ") return "healthy";
  return value.substr(0, 6) + " " +
         client::MessageOf(reply["records"].back().get<std::string>(), value);
}

bool IsAmong(const std::string& words, const std::string& results) {
  std::istringstream alternatives(results);
  for (std::string each; std::getline(alternatives, each, '|');) {
    if (fnmatch(each.c_str(), words.c_str(), FNM_NOESCAPE) == 0) return true;
  }
  return false;
}

int OpenNodes(TARQ::CServerResource& node) {
  int count = NodeAccess::OpenCount(node);
  for (TARQ::CServerResource* const child : NodeAccess::Children(node)) count += OpenNodes(*child);
  return count;
}

class SweepTest : public ::testing::TestWithParam<std::string> {
 protected:
  std::map<std::string, std::string> PutBack() {
    std::map<std::string, std::string> values;
    for (const std::string path : kPutBack) {
      values[path] = mCamera.Get(path.starts_with(".") ? path : "." + path);
    }
    return values;
  }
  int OpenThings() {
    return OpenNodes(NodeAccess::Root(mCamera.Camera().CameraTree())) +
           OpenNodes(NodeAccess::Root(mCamera.Camera().TaskTree())) +
           static_cast<int>(desk::OpenHandles());
  }

  // False: the item makes fewer such calls; nothing failed.
  bool FailsOnce(const std::string& item, const std::string& className, const std::string& knob,
                 int skip) {
    mCamera.Set(".desk.restore", "true");
    mCamera.Write(item, "Untested");
    if (className == "CResBitCooler") {
      mCamera.Write("test.items.cooler.state", "idle");
      mCamera.Write("test.items.cooler.command", "full");
    }
    const std::map<std::string, std::string> before = PutBack();
    const int open = OpenThings();
    mCamera.Set(knob, std::to_string(skip) + ",1");
    const Json reply = mCamera.Write(item, "run");
    if (mCamera.Get(knob) != "0,0") return false;

    std::string call = knob.substr(std::string(".desk.driver.").size());
    if (knob.starts_with(".desk.nodes.")) call = mCamera.Get(".desk.nodes.failed");
    const std::string where = item + ", " + call + ", " + std::to_string(skip + 1);
    const std::string words = WordsOf(reply);
    const std::string expected = ExpectedOf(className, call);
    EXPECT_TRUE(words == "healthy" || IsExplained(className, words)) << where << ": " << words;
    EXPECT_TRUE(IsAmong(words, expected)) << where << ": " << words << " in place of " << expected;
    // A record, with the result that is stored; one that failed says so by its status too. The dual
    // sensor may write two.
    const Json& records = reply["records"];
    const std::size_t most = className == "CResBitDualTempsensItems" ? 2 : 1;
    EXPECT_EQ(records.empty(), words == "unchanged") << where;
    EXPECT_LE(records.size(), most) << where;
    if (!records.empty()) {
      const std::string field = ";" + reply["value"].get<std::string>() + ";";
      EXPECT_NE(records.back().get<std::string>().find(field), std::string::npos) << where;
    }
    if (words != "unchanged") {
      EXPECT_EQ(reply["status"], words == "healthy" ? 0 : 1) << where;
    }
    for (const auto& [path, value] : PutBack()) {
      if (call.ends_with(" " + path)) continue;
      // The picture is live again by a node of its own.
      if (path == ".desk.image.shows" && call.ends_with("image.state.live.set")) continue;
      EXPECT_EQ(value, before.at(path)) << path << " after " << where;
    }
    EXPECT_EQ(OpenThings(), open) << where;
    return true;
  }

  TestCamera mCamera{GetParam()};
};

TEST_P(SweepTest, EveryCallFailsOnce) {
  std::vector<std::string> knobs = {".desk.nodes.open_fail", ".desk.nodes.read_fail",
                                    ".desk.nodes.write_fail"};
  for (const desk::ListedName& driver : mCamera.Camera().Variant().drivers) {
    knobs.push_back(".desk.driver." + driver.name + ".open_fail");
    knobs.push_back(".desk.driver." + driver.name + ".fail");
  }
  EXPECT_EQ(OpenNodes(NodeAccess::Root(mCamera.Camera().TaskTree())), 0);
  int failures = 0;
  for (const auto& [item, className, value] : mCamera.Items()) {
    if (client::NeverEnds(className)) continue;  // its passes are those of CResBitVDDR
    const auto isOfIt = [&](const Outcome& row) {
      return fnmatch(row.item, className.c_str(), 0) == 0;
    };
    EXPECT_TRUE(std::any_of(std::begin(kOutcomes), std::end(kOutcomes), isOfIt))
        << "no row for " << className;
    // The memory test makes the same two requests for each of 170,000 blocks, and no other call:
    // the first ones, then ever larger steps.
    const bool isLong = className == "CResBitVDDR";
    for (const std::string& knob : knobs) {
      if (isLong && knob != ".desk.driver.fvd1.fail") continue;
      int skip = 0;
      while (FailsOnce(item, className, knob, skip)) {
        ++failures;
        if (isLong && skip > 2000) break;
        skip += isLong && skip > 16 ? skip : 1;
      }
    }
  }
  EXPECT_GT(failures, 20);
}

INSTANTIATE_TEST_SUITE_P(Variants, SweepTest, ::testing::ValuesIn(desk::VariantNames()),
                         NameOfVariant);

}  // namespace
}  // namespace test
