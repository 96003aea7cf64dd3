// The operator at a running camera: by the protocol alone, and at a real desktop window.
#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <future>

#include "client/camera_client.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {
namespace {

using Environment = std::map<std::string, std::string>;

// A camera on the real clock, where nobody acts but this test.
class ServedCamera {
 public:
  explicit ServedCamera(const std::string& variant, Environment environment = {}) {
    environment.emplace("DIAGOR_ROOT", mFolder.Path().string() + "/root");
    environment.emplace("DIAGOR_VARIANT", variant);
    environment.emplace("DIAGOR_CLOCK", "real");
    mProcess =
        std::make_unique<Process>("diagor", std::vector<std::string>{"-p", "0"}, environment);
    mPort = PortOf(mProcess->ErrorsUntil("serving on http://127.0.0.1:"));
    mClient = std::make_unique<client::CameraClient>(mPort);
  }

  void Set(const std::string& path, const std::string& value) { mClient->Set(path, value); }
  std::string Get(const std::string& path) {
    return mClient->Get(path)["value"].get<std::string>();
  }
  // Starts an item and waits until its dialog is on the screen.
  void Start(const std::string& item, const std::string& title) {
    mReply = std::async(std::launch::async, [this, item]() -> Json {
      try {
        return client::CameraClient(mPort).Set(item, "run");
      } catch (const client::ConnectionError&) {
        return "ended";
      }
    });
    while (Get(".desk.screen.title") != title) {
    }
  }
  Json Result() { return mReply.get(); }
  std::string Picture(const std::string& query) {
    Process curl("/usr/bin/curl", {"-s", "http://127.0.0.1:" + std::to_string(mPort) +
                                             "/api/v1/screen.png" + query});
    EXPECT_EQ(curl.Wait(), 0);
    return curl.Output();
  }
  Process& Program() { return *mProcess; }

 private:
  TemporaryFolder mFolder;
  std::unique_ptr<Process> mProcess;
  std::uint16_t mPort = 0;
  std::unique_ptr<client::CameraClient> mClient;
  std::future<Json> mReply;
};

TEST(ProtocolTest, KeysAreHitAndSeen) {
  ServedCamera camera("N");
  const std::string before = camera.Picture("");
  EXPECT_TRUE(before.starts_with("\x89PNG"));
  camera.Start("test.items.buttons", "Button Test N-Camera");
  const std::string keypad = camera.Picture("");
  EXPECT_NE(keypad, before);
  for (const char* const key : {"Power", "F1", "Up", "Down", "0x25", "Right", "F2", "l"}) {
    camera.Set(".desk.key", key);
  }
  while (camera.Get(".desk.screen.text") !=
         "Hit buttons!\nUp: OK\nDown: OK\nLeft: OK\nRight: OK\nF1: OK\nF2: OK\nRecall: OK\n"
         "Power: OK\nStore") {
  }
  EXPECT_NE(camera.Picture(""), keypad);
  EXPECT_NE(camera.Picture("?display=viewfinder"), camera.Picture(""));
  camera.Set(".desk.key", "Store");
  EXPECT_EQ(camera.Result()["value"], "OK      ");
  EXPECT_THROW(camera.Set(".desk.key", "Sideways"), client::RefusedError);
  EXPECT_THROW(camera.Set(".desk.touch", "99999999999999999999,1"), client::RefusedError);
}

TEST(ProtocolTest, ProcessEndsWhileADialogIsUp) {
  ServedCamera camera("K");
  camera.Start("test.items.buttons.buttons", "Button Test K-Camera");
  camera.Program().Signal(SIGTERM);
  EXPECT_EQ(camera.Program().Wait(), 0);
  EXPECT_EQ(camera.Result(), "ended");
}

// An X server of the test's own, with the camera's window on it.
class DesktopTest : public ::testing::Test {
 protected:
  DesktopTest() {
    const std::string number = mServer.ErrorsUntil("\n");
    mDisplay = ":" + number.substr(0, number.find('\n'));
  }
  Environment OnDesktop() const {
    return {{"DISPLAY", mDisplay}, {"DIAGOR_SCREEN", "window"}, {"SDL_VIDEODRIVER", "x11"}};
  }
  // One that fails or gets stuck is tried again by its caller.
  std::string Desktop(std::vector<std::string> words) {
    words.insert(words.begin(), {"3", "xdotool"});
    Process tool("/usr/bin/timeout", words, {{"DISPLAY", mDisplay}});
    tool.Wait();
    return tool.Output();
  }
  std::string Find(const std::string& title) {
    std::string windows;
    while (windows.empty()) windows = Desktop({"search", "--onlyvisible", "--name", title});
    return windows.substr(0, windows.find('\n'));
  }
  // Does something until the camera shows one more that is hit: a window that has just come up may
  // miss the first tries, and what was hit already stays so. False: it takes nothing.
  static bool Repeat(ServedCamera& camera, const std::function<void()>& act) {
    constexpr int kLooks = 100;
    const auto count = [&camera] {
      const std::string text = camera.Get(".desk.screen.text");
      int found = 0;
      for (std::size_t at = 0; (at = text.find(": OK", at)) != std::string::npos; ++at) ++found;
      return found;
    };
    const int before = count();
    constexpr int kTries = 15;
    for (int attempt = 0; attempt < kTries; ++attempt) {
      act();
      for (int look = 0; look < kLooks; ++look) {
        // With the last one hit the dialog is gone soon.
        if (count() != before) return true;
      }
    }
    return false;
  }

  // Only the number of its display comes through; what else it says is nobody's business.
  Process mServer{
      "/bin/sh",
      {"-c", "exec Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>&2 2>/dev/null"}};
  std::string mDisplay;
};

// A server that has just come up now and then gives a window no keyboard: another window then does.
TEST_F(DesktopTest, KeyboardIsTheKeypad) {
  constexpr int kWindows = 5;
  // All keys of K but the last, which is the keypad's.
  const char* const keys[] = {"Up",   "Down", "Left", "Right", "Prior",  "Next",
                              "Home", "End",  "F1",   "F2",    "Return", "p",
                              "F11",  "F9",   "a",    "f",     "Escape"};
  for (int attempt = 0; attempt < kWindows; ++attempt) {
    ServedCamera camera("K", OnDesktop());
    camera.Start("test.items.buttons.buttons", "Button Test K-Camera");
    const std::string window = Find("Camera K");
    const auto takes = [&](const char* key) {
      return Repeat(camera, [&] {
        Desktop({"mousemove", "--window", window, "5", "5", "windowfocus", window, "key", key});
      });
    };
    if (!std::all_of(std::begin(keys), std::end(keys), takes)) {
      camera.Program().Signal(SIGTERM);
      continue;
    }
    // Some that K does not have.
    Desktop({"key", "space", "Tab", "Insert", "Delete", "BackSpace", "comma", "KP_7", "KP_Divide"});
    EXPECT_TRUE(takes("KP_Multiply"));
    EXPECT_EQ(camera.Result()["value"], "OK      ");
    camera.Program().Signal(SIGTERM);
    camera.Program().Wait();
    EXPECT_EQ(camera.Program().Output(),
              "Unkown:0x20\nUnkown:0x9\nUnkown:0x2D\nUnkown:0x2E\nUnkown:0x8\nUnkown:0xBC\n"
              "Unkown:0x67\nUnkown:0x6F\n");
    return;
  }
  ADD_FAILURE() << "no window takes keys";
}

// The middles of the nine targets of the usual layout, on a screen of 640 x 480 pixels: the dialog
// of 366 x 274 lies at 137, 103, its client area 3 and 29 further.
TEST_F(DesktopTest, MouseIsTheFinger) {
  ServedCamera camera("R", OnDesktop());
  camera.Start("test.items.touchscreen.touchscreen", "Touch Screen Test");
  const std::string window = Find("Camera R");
  for (const int y : {176, 254, 332}) {
    for (const int x : {202, 320, 438}) {
      Repeat(camera, [&] {
        Desktop(
            {"mousemove", "--window", window, std::to_string(x), std::to_string(y), "click", "1"});
      });
    }
  }
  EXPECT_EQ(camera.Result()["value"], "OK      ");
}

}  // namespace
}  // namespace test
