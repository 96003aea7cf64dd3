// The n-th call of a test fails, for n = 1, 2, ... until none does: every item of every variant, at
// every kind of call. What the test then says, what it puts back, and that it leaves nothing open.
#include <fnmatch.h>
#include <gtest/gtest.h>

#include "coredll/handles.h"
#include "host/variant.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"

namespace test {
namespace {

using TARQ::NodeAccess;

// Where a failed call changes the result: for any other call the item ends as on a healthy camera.
struct Outcome {
  const char* item;     // its class, with * and ?
  const char* call;     // "open|read|write node", or "driver.knob"
  const char* results;  // what it may say; "healthy" among them, where it depends on the moment
};
constexpr Outcome kOutcomes[] = {
    // A request that fails is a chip that is silent.
    {"CResBitBattery*", "i2c?.fail", "E 0002"},
    {"CResBitClock", "i2c1.fail", "E 0011"},
    {"CResBitClockH", "pmi1.open_fail", "E 0011"},
    {"CResBitClockH", "pmi1.fail", "E 0012"},
    {"CResBitEEProm*", "i2c?.fail", "E 0021"},
    {"CResBitTempsensN", "i2c1.fail", "E 0031"},
    // The converters are asked again.
    {"CResBitTempsensItems", "i2c?.fail", "E 0031|healthy"},
    {"CResBitVDDR", "fvd1.fail", "E 0112|E 0113"},
    {"CResBitIRDM", "fvd1.fail", "E 00B0|E 00B1"},
    {"CResBitVisualMode", "cam1.fail", "E 00F0"},
    // The last request puts the function back, whatever becomes of it.
    {"CResBitVisualMode", "fvd1.fail", "E 00F0|E 00B1|healthy"},
    {"CResBitVisual", "cam1.fail", "E 00F1"},
    {"CResBitVisual", "cam1.open_fail", "unchanged"},
    {"CResBitGps", "open *", "E 00E0"},
    {"CResBitGps", "read *", "E 00E2"},
    {"CResBitGps", "write power.settings.gpsPower", "E 00E2|healthy"},
    {"CResBitLCDMagnet", "open *", "E 0100"},
    {"CResBitLCDMagnet", "read *", "E 0101|healthy"},
    {"CResBitCompass", "open *", "E 0130"},
    {"CResBitCompass", "read *", "E 0132"},
    {"CResBitAccel", "open *", "E 0140"},
    {"CResBitAccel", "read *", "E 0142"},
    {"CResBitLaser", "open power.settings.laserEnable", "E 0041"},
    {"CResBitLaser", "write power.settings.laserEnable", "E 0041"},
    {"CResBitLCD", "open image.state.recall.setW", "E 0060"},
    {"CResBitFocus*", "open system.focus", "E 00A0"},
    {"CResBitFocus*", "open system.focus.*", "E 00A1"},
    {"CResBitFocus*", "read system.focus.position", "E 00A1|E 00A2|E 00A3"},
    {"CResBitFocus", "read system.focus.m??Pos", "E 00A2|healthy"},
    {"CResBitFocus*", "write system.focus.position", "E 00A2|E 00A3|healthy"},
    {"CResBitShutterN", "open *", "E 0070"},
    {"CResBitShutterK", "open image.flow.shutter.*osition", "E 0070"},
    {"CResBitShutterK", "read image.flow.shutter.position", "E 0071"},
    {"CResBitShutterK", "read image.flow.shutter.truePosition", "E 0072|E 0073"},
    {"CResBitShutterK", "write image.flow.shutter.position", "E 0072|E 0073|healthy"},
    {"CResBitShutterRMV", "open image.flow.shutter.position", "E 0070"},
    {"CResBitShutterRMV", "read image.flow.shutter.position", "E 0071"},
    {"CResBitShutterRMV", "write image.flow.shutter.position", "E 0071|E 0075|healthy"},
    {"CResBitShutterRMV", "fvd1.fail", "E 0077"},
    {"CResBitAperture*", "open image.flow.aperture.*osition", "E 0080"},
    {"CResBitAperture*", "read image.flow.aperture.position", "E 0081"},
    {"CResBitAperture", "write image.flow.aperture.position", "E 0081|healthy"},
    {"CResBitApertureK", "read image.flow.aperture.truePosition", "E 0081|E 0082|E 0083"},
    {"CResBitApertureK", "write image.flow.aperture.position", "E 0081|E 0082|E 0083|healthy"},
    {"CResBitApertureR8", "write image.flow.aperture.position", "E 0081|E 0085|healthy"},
    {"CResBitApertureR8", "fvd1.fail", "E 0087"},
    {"CResBitFilter", "open *", "E 0090"},
    {"CResBitFilterH", "open *", "E 0090"},
    {"CResBitFilterH", "write image.services.TMax.*", "E 0090"},
    {"CResBitFilterH", "write image.flow.filter.position", "E 0090|E 0061|healthy"},
    {"CResBitFilterH", "read image.flow.framebuffer.frameAverage", "E 0061"},
    {"CResBitFlash", "open *", "E 00D0"},
    {"CResBitTorch", "open *", "E 00D1"},
    {"CResBitCooler", "*", "unchanged"},
};

// What is on the camera after a test as it was before, unless the call that failed was on it.
constexpr const char* kPutBack[] = {
    "tcomp.active",
    "tcomp.services.autoNuc.active",
    "power.settings.gpsPower",
    "power.settings.lcdEnable",
    "ui.userSettings.viewFinder",
    "ui.userSettings.hideGraphics",
    "image.flow.filter.position",
    "system.vcam.torch",
    "system.vcam.flash",
    ".desk.image.shows",
    ".desk.screen.title",
};

std::string ExpectedOf(const std::string& className, const std::string& call) {
  for (const Outcome& row : kOutcomes) {
    if (fnmatch(row.item, className.c_str(), 0) == 0 && fnmatch(row.call, call.c_str(), 0) == 0) {
      return row.results;
    }
  }
  return "healthy";
}

// The result in the table's words.
std::string WordOf(const Json& reply) {
  const auto value = reply["value"].get<std::string>();
  if (value == "OK      " || value == "Tested  ") {
    return reply["records"].empty() ? "unchanged" : "healthy";
  }
  return value == "Untested" ? "unchanged" : value.substr(0, 6);
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
    const std::string word = WordOf(reply);
    const std::string expected = ExpectedOf(className, call);
    EXPECT_NE(("|" + expected + "|").find("|" + word + "|"), std::string::npos)
        << where << ": " << word << " in place of " << expected;
    // A record, with the result that is stored; one that failed says so by its status too. The dual
    // sensor may write two.
    const Json& records = reply["records"];
    const std::size_t most = className == "CResBitDualTempsensItems" ? 2 : 1;
    EXPECT_EQ(records.empty(), word == "unchanged") << where;
    EXPECT_LE(records.size(), most) << where;
    if (!records.empty()) {
      const std::string field = ";" + reply["value"].get<std::string>() + ";";
      EXPECT_NE(records.back().get<std::string>().find(field), std::string::npos) << where;
    }
    if (word != "unchanged") {
      EXPECT_EQ(reply["status"], word == "healthy" ? 0 : 1) << where;
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
  int failures = 0;
  for (const auto& [item, className, value] : mCamera.Items()) {
    if (client::NeverEnds(className)) continue;  // its passes are those of CResBitVDDR
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
