// The interactive tests step by step: keys, touches and answers at given moments, what is on the
// screen meanwhile, and what is left afterwards.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <future>
#include <optional>
#include <sstream>
#include <thread>

#include "coredll/text.h"
#include "support/steps.h"
#include "tarq/node_access.h"
#include "tests/interactive/test_window.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;

// Acts from a moment on, a second apart: ".desk.key" or another knob with each of the values.
std::string Acts(double from, const std::string& knob, const std::string& values) {
  std::string schedule;
  std::istringstream words(values);
  for (std::string value; words >> value;) {
    schedule.append(std::to_string(from)).append(" ").append(knob);
    schedule.append("=").append(value).append(";");
    from += 1;
  }
  return schedule;
}

// Nobody is at the camera but the schedule; whatever a test made is gone when it ends.
class InteractiveCamera : public TestCamera {
 public:
  explicit InteractiveCamera(const std::string& variant) : TestCamera(variant) {
    Set(".desk.operator.mode", "none");
  }
  ~InteractiveCamera() {
    EXPECT_EQ(Camera().Windows().Windows(), 0U);
    EXPECT_EQ(Camera().Windows().Objects(), 0U);
  }
};

struct KeyCase {
  const char* variant;
  const char* item;
  double from;  // s, when the first key is pressed; one a second follows
  const char* keys;
  const char* ends;  // its record does
  double seconds;    // that the test takes
};

// The last key ends the dialog half a second later; without it the time-out does, whatever is
// pressed before.
TEST(KeyTest, KeysCountWhenTheyAreReleased) {
  constexpr char kItem[] = "test.items.buttons.buttons";
  constexpr char kOk[] = "OK      ;Buttons OK";
  constexpr char kNoneOfK[] =
      "E 0051  ;Keys missing: Up, Down, Left, Right, Prior, Next, Home, End, Push, F1, F2, Power, "
      "Focus Far, Focus Near, Autofocus, Man/Auto, Gallery, Live/Freeze, ";
  const KeyCase cases[] = {
      // Both codes of a key, in any order; an unknown one and a repeated one change nothing.
      {"V", kItem, 1, "S P L F2 Return Right Left 0x41 Down S Up", kOk, 11.5},
      {"V", kItem, 1, "Up Down Left Right F1 F2 R P S", kOk, 9.5},
      {"K", kItem, 1, "F3 F4 F8 F11 F9 F10 F5 M F6 Up Down Left Right Prior Next Home End Return",
       kOk, 18.5},
      {"K", kItem, 1,
       "F1 F2 P Add Subtract Multiply A Escape F Up Down Left Right Prior Next Home End Return",
       kOk, 18.5},
      // F12 is a key of H, and none of K.
      {"K", kItem, 119, "F12", kNoneOfK, 120},
      {"H", kItem, 119, "F12", kNoneOfK, 120},
      {"LQ", kItem, 10, "F1 F7 F8 F6", kOk, 13.5},
      // A key released in the instant of the time-out still counts: 3 s before the dialog, 60 s.
      {"LQ", kItem, 60, "F1 F7 F8 F6", kOk, 63.5},
      {"LQ", kItem, 60.01, "F1 F7 F8 F6", "E 0051  ;Keys missing: Store, ", 63},
      // Pressed before the dialog is up, a key is lost.
      {"LQ", kItem, 2.5, "F1 F7 F8 F6", "E 0051  ;Keys missing: Zoom, ", 63},
      {"KY", "test.items.buttons.buttons090", 2,
       "F2 F3 Up Down Left Right Return F1 F5 Numpad2 F7 F8 F6 Numpad4 Numpad6 F9", kOk, 17.5},
  };
  for (const KeyCase& each : cases) {
    InteractiveCamera camera(each.variant);
    camera.Set(".desk.clock.at", Acts(each.from, ".desk.key", each.keys));
    const Json reply = camera.Write(each.item, "run");
    EXPECT_EQ(reply["elapsed_ms"], each.seconds * 1000) << each.variant << each.from;
    EXPECT_EQ(camera.Run(each.item).value, "E 0051  ");  // the next run asks for all keys again
    EXPECT_TRUE(camera.LogLines().at(10).ends_with(each.ends)) << camera.LogLines().at(10);
  }
}

TEST(KeyTest, UnlistedKeyIsToldOnStandardOutput) {
  InteractiveCamera camera("K");
  camera.Set(".desk.clock.at", "5 .desk.key=0x99");
  fflush(stdout);
  const int own = dup(STDOUT_FILENO);
  const int captured = open(camera.File("/FlashFS/output").c_str(), O_CREAT | O_WRONLY, 0600);
  dup2(captured, STDOUT_FILENO);
  camera.Run("test.items.buttons.buttons");
  fflush(stdout);
  dup2(own, STDOUT_FILENO);
  close(captured);
  close(own);
  EXPECT_EQ(camera.Contents("/FlashFS/output"), "Unkown:0x99\n");
}

struct TraceCase {
  const char* variant;
  const char* item;
  const char* schedule;
  const char* steps;
};

TEST(InteractiveTraceTest, StepsAndWaitsComeInOrder) {
  // Of dialog 109, in the middle of 640 x 480.
  const std::string allTargets = Acts(
      4, ".desk.touch", "220,122 325,122 414,122 220,228 325,228 414,228 220,337 325,337 414,337");
  const TraceCase cases[] = {
      {"V", "test.items.buttons.buttons", "",
       "0 window false true; 0 dialog 107 0 60000.0; 60000 destroy"},
      {"R8", "test.items.buttons.buttons", "",
       "0 set image.state.freeze.set true 0 0 true; 0 sleep 1000; 1000 window false true; "
       "1000 sleep 2000; 3000 dialog 124 0 63000.0; 63000 destroy; "
       "63000 set image.state.live.set true 0 0 true"},
      {"KY", "test.items.buttons.buttons", "",
       "0 set image.state.freeze.set true 0 0 true; 0 sleep 1000; 1000 window false true; "
       "1000 dialog 119 0 61000.0; 61000 destroy; 61000 set image.state.live.set true 0 0 true"},
      {"R", "test.items.laser.laser", "0 .desk.laser.pressed=true",
       "0 set power.settings.laserEnable true 0 0 true; "
       "0 set image.state.freeze.set true 0 0 true; 0 sleep 1000; 1000 window false true; "
       "1000 dialog 102 0 1550.0; 1050 get power.states.laser true true; 1050 sleep 500; "
       "1550 destroy; 1550 set image.state.live.set true 0 0 true"},
      {"N7", "test.items.touchscreen.touchscreen", allTargets.c_str(),
       "0 set image.state.freeze.set true 0 0 true; 0 sleep 1000; 1000 window false true; "
       "1000 sleep 2000; 3000 dialog 109 0 12500.0; 12000 sleep 500; 12500 destroy; "
       "12500 set image.state.live.set true 0 0 true"},
      {"R7", "test.items.lcd.testpattern", "",
       "0 set power.settings.lcdEnable true 0 0 true; "
       "0 set ui.userSettings.viewFinder $OFF 0 0 true; "
       "0 set image.state.recall.setW ###TESTPATTERN1### 0 0 true; 0 sleep 3000; "
       "3000 set image.state.recall.setW ###TESTPATTERN2### 0 0 true; 3000 sleep 3000; "
       "6000 set image.state.recall.setW ###TESTPATTERN3### 0 0 true; 6000 sleep 3000; "
       "9000 set image.state.recall.setW ###TESTPATTERN4### 0 0 true; 9000 sleep 3000; "
       "12000 set image.state.recall.setW ###TESTPATTERN5### 0 0 true; 12000 sleep 3000; "
       "15000 set power.settings.lcdEnable true 0 0 true; "
       "15000 set ui.userSettings.viewFinder $OFF 0 0 true; "
       "15000 set image.state.live.set true 0 0 true"},
      {"H", "test.items.viewFinder.images", "",
       "0 set power.settings.lcdEnable false 0 0 true; "
       "0 set ui.userSettings.viewFinder $ON 0 0 true; "
       "0 set image.state.recall.setW /FlashFS/system/bit/images/ramp_across.jpg 0 0 true; "
       "0 sleep 10000; "
       "10000 set image.state.recall.setW /FlashFS/system/bit/images/ramp_down.jpg 0 0 true; "
       "10000 sleep 10000; 20000 set power.settings.lcdEnable true 0 0 true; "
       "20000 set ui.userSettings.viewFinder $OFF 0 0 true; "
       "20000 set image.state.live.set true 0 0 true"},
      {"H", "test.items.viewFinder_i.bitmaps",
       "0 .desk.lost=g*.bmp; 1 .desk.key=F2; 2 .desk.key=F4; 3 .desk.key=Up",
       "0 set gui.system.hideGraphics true 0 0 true; "
       "0 set power.settings.lcdEnable false 0 0 true; 0 window true true; 0 window true true; "
       "0 bitmap /FlashFS/system/bit/images/blue.bmp true; "
       "0 set power.settings.lcdEnable false 0 0 true; 0 dialog 114 0 1000.0; "
       "1000 window true true; 1000 bitmap /FlashFS/system/bit/images/red.bmp true; "
       "1000 set power.settings.lcdEnable false 0 0 true; 1000 dialog 114 0 2000.0; "
       "2000 dialog 115 0 3500.0; 3000 sleep 500; 3500 destroy; 3500 destroy; 3500 destroy; "
       "3500 set image.state.live.set true 0 0 true; "
       "3500 set power.settings.lcdEnable true 0 0 true"},
      {"KY", "test.items.viewFinder_i.bitmaps", "1 .desk.key=F1; 2 .desk.key=F2",
       "0 set tcomp.services.autoNuc.active false 0 0 true; "
       "0 set ui.userSettings.hideGraphics true 0 0 true; "
       "0 set power.settings.lcdEnable false 0 0 true; "
       "0 set ui.userSettings.viewFinder $ON 0 0 true; 0 window true true; 0 window true true; "
       "0 bitmap /FlashFS/system/bit/images/blue.bmp true; 0 dialog 114 0 1000.0; "
       "1000 dialog 116 0 2500.0; 2000 sleep 500; 2500 destroy; 2500 destroy; "
       "2500 set image.state.live.set true 0 0 true; "
       "2500 set ui.userSettings.hideGraphics false 0 0 true; "
       "2500 set tcomp.services.autoNuc.active true 0 0 true; "
       "2500 set power.settings.lcdEnable true 0 0 true; "
       "2500 set ui.userSettings.viewFinder $OFF 0 0 true"},
      // Last: what a camera learns of its flash file systems stays for the process' life.
      {"V8", "test.items.lcd.bitmaps", "0 .desk.lost=g*.bmp",
       "0 set power.settings.lcdEnable true 0 0 true; "
       "0 set ui.userSettings.viewFinder $OFF 0 0 true; 0 window false true; "
       "0 bitmap /FlashBFS/system/bit/images/blue.bmp true; 0 sleep 10000; 10000 destroy; "
       "10000 window false true; 10000 bitmap /FlashBFS/system/bit/images/red.bmp true; "
       "10000 sleep 10000; 20000 destroy; 20000 set power.settings.lcdEnable true 0 0 true; "
       "20000 set ui.userSettings.viewFinder $OFF 0 0 true"},
  };
  for (const TraceCase& each : cases) {
    InteractiveCamera camera(each.variant);
    camera.Set(".desk.clock.at", each.schedule);
    EXPECT_EQ(Steps(camera.Write(each.item, "run")), each.steps) << each.variant << each.item;
  }
}

// Three images; every key but the two that answer skips to the next one, since no key test left
// anything to hit. Without a key the question lasts two minutes.
TEST(LcdQuestionTest, AnswersDecide) {
  const std::tuple<const char*, const char*, double> cases[] = {
      {"1 .desk.key=F2; 2 .desk.key=F2; 3 .desk.key=F4; 4 .desk.key=Z", "Tested  ", 4.5},
      {"1 .desk.key=F2; 2 .desk.key=F3; 3 .desk.key=Z", "E 00F2  ", 3.5},
      {"1 .desk.key=Up; 2 .desk.key=Z; 3 .desk.key=F2; 4 .desk.key=Z", "Tested  ", 4.5},
      {"", "Tested  ", 480},
      // The last image got no answer: the verdict says FAILED, and an answer there still counts.
      {"1 .desk.key=F2; 2 .desk.key=F2; 123 .desk.key=F1", "E 00F2  ", 123},
      {"1 .desk.key=F2; 2 .desk.key=F2; 123 .desk.key=F2", "Tested  ", 123},
      {"1 .desk.key=F2; 2 .desk.key=F2; 123 .desk.key=Z", "Tested  ", 123.5},
  };
  for (const auto& [keys, value, seconds] : cases) {
    InteractiveCamera camera("K");
    camera.Set(".desk.clock.at", keys);
    const Json reply = camera.Write("test.items.lcd_i.bitmaps", "run");
    EXPECT_EQ(reply["value"], value) << keys;
    EXPECT_EQ(reply["elapsed_ms"], seconds * 1000) << keys;
  }
}

// A key test that ended with keys missing leaves them for the question: other keys do not skip
// then. An unanswered question in turn leaves no answer for the next key test.
TEST(LcdQuestionTest, SharesTheKeysThatAreMissing) {
  InteractiveCamera camera("K");
  EXPECT_EQ(camera.Run("test.items.buttons.buttons").value, "E 0051  ");
  camera.Set(".desk.clock.at", "1 .desk.key=Up");
  EXPECT_EQ(camera.Write("test.items.lcd_i.bitmaps", "run")["elapsed_ms"], 480000.0);
  camera.Set(".desk.clock.at", "1 .desk.key=F1; 2 .desk.key=F2");
  EXPECT_EQ(camera.Write("test.items.buttons.buttons", "run")["elapsed_ms"], 120000.0);
}

TEST(LcdImagesTest, AreSortedWithoutCaseAndCutAtAHundred) {
  const std::string folder = "/FlashFS/system/bit/images/";
  InteractiveCamera camera("K");
  const std::string bitmap = camera.Contents(folder + "red.bmp");
  const auto shown = [&] {
    camera.Set(".desk.clock.at", "1000000 .desk.key=Z");
    Lines names;
    for (const std::string& step : TraceLines(camera.Write("test.items.lcd_i.bitmaps", "run"))) {
      if (step.find(" bitmap ") == std::string::npos) continue;
      names.push_back(step.substr(step.rfind('/') + 1));
    }
    return names;
  };
  std::filesystem::remove_all(camera.File(folder));
  for (const char* const name : {"red.bmp", "Blue.bmp", "green.BMP", "notes.txt", "x.jpg"}) {
    camera.MakeFile(folder + name, bitmap);
  }
  camera.MakeFile(folder + "broken.bmp", "BM");
  EXPECT_EQ(shown(),
            (Lines{"Blue.bmp true", "broken.bmp false", "green.BMP true", "red.bmp true"}));
  // Of more than a hundred the first that the search finds, in byte order: capitals come first. One
  // whose name does not fit is none that could be loaded.
  std::filesystem::remove_all(camera.File(folder));
  Lines expected;
  for (int i = 100; i < 198; ++i) {
    const std::string name = "a" + std::to_string(i) + ".bmp";
    camera.MakeFile(folder + name, bitmap);
    expected.push_back(name + " true");
  }
  camera.MakeFile(folder + "B.bmp", bitmap);
  camera.MakeFile(folder + std::string(200, '\xFF') + ".bmp", bitmap);
  expected.insert(expected.end(), {"B.bmp true", "WideToCharError false"});
  EXPECT_EQ(shown(), expected);
  camera.MakeFile(folder + "z.bmp", bitmap);
  expected.back() = "z.bmp true";
  EXPECT_EQ(shown(), expected);
}

// However a run ends, the camera shows its own image on the display that it had.
TEST(LcdQuestionTest, CameraIsAsBeforeOnEveryPath) {
  for (const char* const variant : {"H", "KY"}) {
    for (const char* const item :
         {"viewFinder_i.bitmaps", "lcd_i.bitmaps", "viewFinder.images", "viewFinder.bitmaps"}) {
      for (const char* const knob :
           {".desk.operator.faulty=1", ".desk.operator.mode=none", ".desk.lost=*.bmp",
            ".desk.screen.windows=false", ".desk.screen.dialogs=false",
            ".desk.hidden=image.state.recall.setW"}) {
        TestCamera camera(variant, knob);
        camera.Run(std::string("test.items.") + item);
        const std::string what = variant + std::string(item) + knob;
        EXPECT_EQ(camera.Get(".power.settings.lcdEnable"), "true") << what;
        EXPECT_EQ(camera.Get(".ui.userSettings.viewFinder"), "$OFF") << what;
        EXPECT_EQ(camera.Get(".ui.userSettings.hideGraphics"), "false") << what;
        EXPECT_EQ(camera.Get(".desk.image.shows"), "live") << what;
        EXPECT_NE(camera.Get(".tcomp.services.autoNuc.active"), "false") << what;
        EXPECT_EQ(camera.Camera().Windows().Windows(), 0U) << what;
        // A class whose window could not be created stays, with the red brush of its own.
        const bool keepsClass = what.ends_with("_i.bitmaps.desk.screen.windows=false");
        EXPECT_EQ(camera.Camera().Windows().Objects(), keepsClass ? 1U : 0U) << what;
      }
    }
  }
}

// Somebody who watches the screen while a test runs, at the camera's time.
class Watcher {
 public:
  Watcher(desk::Camera& camera, const std::string& item) : mCamera(camera) {
    mMine.emplace(camera.Clock(), desk::Clock::Role::Follows);
    auto& node = *TARQ::NodeAccess::Find(TARQ::NodeAccess::Root(camera.TaskTree()), item);
    camera.Deliveries().Deliver(node, TARQ::CResourceValue("run"), false,
                                [this](const desk::Delivered& delivered) {
                                  mDone.set_value(delivered.value.GetAscii().AsChar());
                                });
    Wait(3500);  // a window and a dialog are there by then
  }
  void Wait(int ms) {
    mCamera.Clock().SleepUntil(mCamera.Clock().Now() + std::chrono::milliseconds(ms));
  }
  desk::SceneWindow Dialog() const { return mCamera.Windows().Scene().back(); }
  // The result, after everything that is still to come.
  std::string Leave() {
    mMine.reset();
    return mDone.get_future().get();
  }

 private:
  desk::Camera& mCamera;
  std::optional<desk::Clock::Participation> mMine;
  std::promise<std::string> mDone;
};

// Each key turns its own button to "OK", and no other.
TEST(CaptionTest, TurnToOkOneByOne) {
  for (const char* const variant :
       {"V", "N7", "K", "H", "R", "R-sysimg", "R7", "R8", "LQ", "KY", "V8", "R7-bfs"}) {
    InteractiveCamera camera(variant);
    desk::Camera& desk = camera.Camera();
    Watcher watcher(desk, "test.items.buttons.buttons");
    std::vector<desk::Control> expected = watcher.Dialog().controls;
    const desk::Picture before = *desk.Screen().Render(desk::CameraScreen::Display::Lcd);
    std::size_t keys = 0;
    for (desk::Control& control : expected) {
      const auto code = desk.Variant().keypad.CodeOf(desk::ToUtf8(control.text));
      if (!code || ++keys == desk.Variant().keypad.keys.size()) continue;  // the last one ends it
      desk.Windows().ReleaseKey(*code);
      watcher.Wait(10);
      control.text = L"OK";
      const std::vector<desk::Control> seen = watcher.Dialog().controls;
      ASSERT_EQ(seen.size(), expected.size()) << variant;
      for (std::size_t i = 0; i < seen.size(); ++i) {
        EXPECT_EQ(desk::ToUtf8(seen[i].text), desk::ToUtf8(expected[i].text)) << variant << keys;
      }
    }
    EXPECT_EQ(keys, desk.Variant().keypad.keys.size()) << variant;
    EXPECT_NE(desk.Screen().Render(desk::CameraScreen::Display::Lcd)->Pixels(), before.Pixels());
    EXPECT_EQ(watcher.Leave(), "E 0051  ") << variant;
  }
}

// In the middle of the screen, but for KY's keypad and the question about an image.
TEST(PlaceTest, DialogsLieWhereTheOperatorExpectsThem) {
  const std::tuple<const char*, const char*, int, int> cases[] = {
      {"V", "buttons.buttons", (640 - 278) / 2, (480 - 370) / 2},
      {"K", "buttons.buttons", (800 - 416) / 2, (680 - 626) / 2},
      {"KY", "buttons.buttons", 0, 0},
      {"KY", "touchscreen.touchscreen", (1024 - 726) / 2, (600 - 486) / 2},
      {"K", "laser.laser", (800 - 276) / 2, (680 - 366) / 2},
      {"K", "lcd_i.bitmaps", 1000, 1000},
  };
  for (const auto& [variant, item, x, y] : cases) {
    InteractiveCamera camera(variant);
    Watcher watcher(camera.Camera(), std::string("test.items.") + item);
    const desk::Area area = watcher.Dialog().area;
    EXPECT_EQ(std::pair(area.x, area.y), std::pair(x, y)) << variant << item;
    watcher.Leave();
  }
}

// Two people at two stations: the second test waits for the first.
TEST(TurnTest, TestsComeInTheOrderInWhichTheyWereAskedFor) {
  InteractiveCamera camera("KY");
  const std::vector<Json> replies =
      camera.RunTogether({"test.items.buttons.buttons", "test.items.touchscreen.touchscreen",
                          "test.items.laser.laser", "test.items.buttons.buttons090"});
  const double ends[] = {61000, 61000 + 63000, 124000 + 21000, 145000 + 61000};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(replies[i]["elapsed_ms"], ends[i]) << i;
}

// He comes when he is sent for, and goes in the middle of his work.
TEST(OperatorTest, ComesAndGoes) {
  TestCamera camera("V");
  camera.Set(".desk.operator.mode", "none");
  camera.Set(".desk.clock.at",
             "5 .desk.operator.mode=auto; 7.5 .desk.operator.mode=none; "
             "30 .desk.operator.mode=auto");
  const Json reply = camera.Write("test.items.buttons.buttons", "run");
  EXPECT_EQ(reply["value"], "OK      ");
  // Three keys from 5 s on, the other six from 30 s on, 0.7 s each.
  EXPECT_NEAR(reply["elapsed_ms"].get<double>(), 34700, 1);
  EXPECT_NE(camera.Camera().Write(".desk.operator.others", TARQ::CResourceValue("F5 ,Nonsense")),
            0U);
  EXPECT_EQ(camera.Camera().Write(".desk.operator.others", TARQ::CResourceValue("F5 , 0x41")), 0U);
  EXPECT_NE(camera.Camera().Write(".desk.operator.targets", TARQ::CResourceValue("1,x")), 0U);
  for (const char* const keys : {"*,Nonsense", "Up*", " ,"}) {
    EXPECT_NE(camera.Camera().Write(".desk.lostkeys", TARQ::CResourceValue(keys)), 0U) << keys;
  }
  EXPECT_NE(camera.Camera().Write(".desk.lostpanel", TARQ::CResourceValue("middle")), 0U);
}

TEST(OperatorTest, LetsTheLaserButtonGo) {
  TestCamera camera("K");
  EXPECT_EQ(camera.Run("test.items.laser.laser").value, "OK      ");
  EXPECT_EQ(camera.Get(".desk.laser.pressed"), "false");
}

// The marker's run and a client's are of one item; each tells its own message.
TEST(TurnTest, MarkersTestIsWaitedForAndKeepsItsMessageApart) {
  TestCamera camera("KY", ".desk.operator.mode=none", {"/FlashFS/system/bit/BitRunLCDTest"});
  camera.Set(".desk.clock.advance", "25");
  EXPECT_GT(camera.Camera().Windows().Windows(), 0U);
  const std::size_t before = camera.LogLines().size();
  const std::vector<Json> replies =
      camera.RunTogether({"test.items.laser.laser", "test.items.lcd_i.bitmaps"});
  EXPECT_EQ(replies[0]["elapsed_ms"], 475000.0 + 21000.0);
  const std::vector<std::string> lines = camera.LogLines();
  ASSERT_EQ(lines.size(), before + 3);
  for (const std::size_t i : {before, before + 2}) {
    EXPECT_TRUE(lines[i].ends_with(";Tested  ;LCD tested (interactive)")) << lines[i];
  }
}

TEST(TestWindowTest, NamesAreConvertedUpToTheBuffersSize) {
  BareCamera camera;
  EXPECT_STREQ(WideToChar(L""), "");
  EXPECT_EQ(WideToChar(std::wstring(511, L'a').c_str()), std::string(511, 'a'));
  EXPECT_STREQ(WideToChar(std::wstring(512, L'a').c_str()), "WideToCharError");
  EXPECT_STREQ(WideToChar(std::wstring(300, L'\x00E9').c_str()), "WideToCharError");
}

TEST(ScreenTest, ShowsWhatTheCameraShows) {
  using Display = desk::CameraScreen::Display;
  InteractiveCamera camera("KY");
  desk::Camera& desk = camera.Camera();
  const auto at = [&desk](Display display, int x = 600, int y = 40) {
    return desk.Screen().Render(display)->At(x, y);
  };
  constexpr desk::Colour kBlack = {0, 0, 0};
  const desk::Colour live = at(Display::Lcd);
  EXPECT_NE(live, kBlack);
  EXPECT_EQ(at(Display::ViewFinder), kBlack);
  camera.Set(".desk.shutter.stuck", "in");
  const desk::Colour closed = at(Display::Lcd);
  EXPECT_NE(closed, live);
  // Frozen, the shutter's coming and going is not seen.
  camera.Set(".image.state.freeze.set", "true");
  camera.Set(".desk.shutter.stuck", "out");
  EXPECT_EQ(at(Display::Lcd), closed);
  camera.Set(".image.state.live.set", "true");
  EXPECT_EQ(at(Display::Lcd), live);
  camera.Set(".image.state.recall.setW", "###TESTPATTERN5###");
  EXPECT_EQ(at(Display::Lcd), (desk::Colour{255, 255, 255}));
  camera.Set(".image.state.recall.setW", "/FlashFS/system/bit/images/ramp_across.jpg");
  EXPECT_GT(at(Display::Lcd, 1000, 300).red, 200);
  EXPECT_LT(at(Display::Lcd, 10, 300).red, 50);
  camera.Set(".power.settings.lcdEnable", "false");
  EXPECT_EQ(at(Display::Lcd), kBlack);
  camera.Set(".ui.userSettings.viewFinder", "$ON");
  EXPECT_NE(at(Display::ViewFinder), kBlack);
}

}  // namespace
}  // namespace test
