// Windows, messages, timers, taps, dialogs and bitmaps, as the interactive tests rely on them.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>

#include "coredll/dialog_template.h"
#include "coredll/resources.h"
#include "coredll/window_system.h"
#include "operator/key_names.h"
#include "support/test_camera.h"
#include "tests/interactive/shell.h"
#include "tests/interactive/test_window.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;

// What a dialog's procedure was sent, with the camera's time in ms.
Lines gSeen;
std::function<INT_PTR(HWND, UINT, WPARAM)> gHandle;

void Note(UINT message, WPARAM wParam) {
  if (message != WM_TIMER && message != WM_COMMAND) return;
  const char* const name = message == WM_TIMER ? " timer " : " command ";
  gSeen.push_back(std::to_string(GetTickCount()) + name + std::to_string(wParam));
}

LRESULT WINAPI Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_DESTROY) PostQuitMessage(0);
  return DefWindowProcW(window, message, wParam, lParam);
}

INT_PTR WINAPI DialogProcedure(HWND dialog, UINT message, WPARAM wParam, LPARAM /*lParam*/) {
  Note(message, wParam);
  return gHandle ? gHandle(dialog, message, wParam) : FALSE;
}

class WindowTest : public ::testing::Test {
 public:
  WindowTest() {
    gSeen.clear();
    gHandle = nullptr;
    mCamera.Set(".desk.operator.mode", "none");
  }
  ~WindowTest() override { EXPECT_FALSE(Windows().HasQuit()); }
  WindowTest(const WindowTest&) = delete;
  WindowTest& operator=(const WindowTest&) = delete;

 protected:
  desk::WindowSystem& Windows() { return mCamera.Camera().Windows(); }

  static HWND Create(COLORREF colour, const wchar_t* name = L"Class") {
    WNDCLASSW windowClass = {};
    windowClass.lpfnWndProc = Procedure;
    windowClass.hbrBackground = CreateSolidBrush(colour);
    windowClass.lpszClassName = name;
    if (RegisterClassW(&windowClass) == 0) DeleteObject(windowClass.hbrBackground);
    return CreateWindowExW(0, name, L"Title", WS_VISIBLE, CW_USEDEFAULT, 0, CW_USEDEFAULT, 0,
                           nullptr, nullptr, nullptr, nullptr);
  }
  static INT_PTR RunDialog(WORD number) {
    const HRSRC found = FindResourceW(nullptr, MAKEINTRESOURCEW(number), RT_DIALOG);
    return RunDialog(LoadResource(nullptr, found));
  }
  static INT_PTR RunDialog(const void* dialogTemplate) {
    return DialogBoxIndirectParamW(nullptr, static_cast<LPCDLGTEMPLATEW>(dialogTemplate), nullptr,
                                   DialogProcedure, 0);
  }
  // What the next dialog does every so many ms, until it ends.
  static void Every(UINT ms, const std::function<void(HWND dialog)>& act) {
    gHandle = [ms, act](HWND dialog, UINT message, WPARAM wParam) {
      if (message == WM_INITDIALOG) {
        SetWindowPos(dialog, nullptr, 0, 0, 0, 0, SWP_NOSIZE);
        SetTimer(dialog, 3, ms, nullptr);
      }
      if (message == WM_COMMAND) SetDlgItemTextW(dialog, static_cast<int>(wParam), L"OK");
      if (message == WM_TIMER) act(dialog);
      return FALSE;
    };
  }
  auto Look() {
    return mCamera.Camera().Screen().Render(desk::CameraScreen::Display::Lcd)->Pixels();
  }
  static void PumpUntilQuit() {
    MSG message = {};
    while (GetMessageW(&message, nullptr, 0, 0) != FALSE) DispatchMessageW(&message);
  }

  BareCamera mCamera{"KY"};
  // Time passes while this thread waits.
  desk::Clock::Participation mMover{mCamera.Camera().Clock(), desk::Clock::Role::MovesTime};
};

TEST_F(WindowTest, FirstRegistrationDecidesTheBackground) {
  const HWND red = Create(RGB(128, 0, 0));
  const HWND second = Create(RGB(0, 0, 255));
  for (const desk::SceneWindow& window : Windows().Scene()) {
    EXPECT_EQ(window.background, (desk::Colour{128, 0, 0}));
    EXPECT_EQ(window.area.width, 1024);
    EXPECT_EQ(window.area.height, 600);
  }
  EXPECT_FALSE(UnregisterClassW(L"Class", nullptr));
  DestroyWindow(red);
  EXPECT_FALSE(UnregisterClassW(L"Class", nullptr));
  DestroyWindow(second);
  EXPECT_FALSE(DestroyWindow(second));
  EXPECT_TRUE(UnregisterClassW(L"Class", nullptr));
  // Two windows were destroyed: there is one quit message.
  EXPECT_TRUE(Windows().HasQuit());
  PumpUntilQuit();
  EXPECT_EQ(Windows().Objects(), 0U);
}

TEST_F(WindowTest, QuitComesBeforePaintAndPaintBeforeTimers) {
  const HWND kept = Create(RGB(255, 255, 255));
  const HWND destroyed = Create(RGB(255, 255, 255));
  SetTimer(kept, 7, 10, nullptr);
  InvalidateRect(kept, nullptr, FALSE);
  DestroyWindow(destroyed);
  Sleep(20);
  MSG message = {};
  EXPECT_FALSE(GetMessageW(&message, nullptr, 0, 0));
  EXPECT_TRUE(GetMessageW(&message, nullptr, 0, 0));
  EXPECT_EQ(message.message, WM_PAINT);
  DispatchMessageW(&message);
  EXPECT_TRUE(GetMessageW(&message, nullptr, 0, 0));
  EXPECT_EQ(message.message, WM_TIMER);
  DestroyWindow(kept);
  PumpUntilQuit();
}

TEST_F(WindowTest, TimersComeInTheirOrderAndDoNotAddUp) {
  int timers = 0;
  gHandle = [&](HWND dialog, UINT message, WPARAM timer) {
    if (message == WM_INITDIALOG) {
      SetTimer(dialog, 1, 100, nullptr);
      SetTimer(dialog, 2, 40, nullptr);
    }
    if (message != WM_TIMER) return FALSE;
    ++timers;
    if (timers == 2) Sleep(300);            // at 80 ms: both fall due meanwhile, more than once
    if (timers == 4) KillTimer(dialog, 2);  // what is due is dropped with it
    if (timers == 6) EndDialog(dialog, static_cast<INT_PTR>(timer));
    return TRUE;
  };
  EXPECT_EQ(RunDialog(101), 1);
  EXPECT_EQ(gSeen, (Lines{"40 timer 2", "80 timer 2", "380 timer 1", "380 timer 2", "480 timer 1",
                          "580 timer 1"}));
}

TEST_F(WindowTest, TapsReachEnabledButtonsAlone) {
  const auto run = [this](WORD number, const std::vector<std::pair<POINT, bool>>& taps) {
    Every(10, [this, tap = taps.begin(), end = taps.end()](HWND dialog) mutable {
      if (tap == end) {
        EndDialog(dialog, 0);
        return;
      }
      const auto& [at, isTap] = *tap++;
      Windows().PressPointer(at.x, at.y);
      EXPECT_EQ(Windows().ReleasePointer(at.x, at.y), isTap) << at.x << "," << at.y;
      Sleep(10);  // the next time-out is due then, and what was tapped comes before it
    });
    RunDialog(number);
    std::erase_if(gSeen, [](const std::string& line) { return line.ends_with(" timer 3"); });
  };
  // The first target is 216 x 128 pixels at 16, 19 of the client area, which begins at 3, 29.
  run(120, {{{19, 48}, true},
            {{18, 48}, false},
            {{19, 47}, false},
            {{234, 175}, true},
            {{235, 175}, false},
            {{234, 176}, false},
            {{5, 5}, false},
            {{1000, 590}, false}});
  EXPECT_EQ(gSeen, (Lines{"20 command 1029", "50 command 1029"}));
  // Keys of a keypad are shown by disabled buttons.
  run(101, {{{150, 140}, false}, {{400, 70}, false}});
  EXPECT_EQ(gSeen.size(), 2U);
}

TEST_F(WindowTest, SlidingOffATargetIsNoTap) {
  Every(10, [this](HWND dialog) {
    const auto before = Look();
    const desk::Area area = Windows().Scene().back().Client();
    Windows().PressPointer(area.x + 20, area.y + 20);
    EXPECT_NE(Look(), before);  // while the finger is down, the target looks it
    EXPECT_FALSE(Windows().ReleasePointer(area.x + 400, area.y + 20));  // within another target
    EXPECT_EQ(Look(), before);
    EndDialog(dialog, 0);
  });
  RunDialog(120);
}

// Called off and on again he goes on where he stopped: what was hit keeps its number.
TEST_F(WindowTest, OperatorKnowsTargetsThatAreHit) {
  mCamera.Set(".desk.operator.targets", "1,2,3");
  mCamera.Set(".desk.operator.mode", "auto");
  Every(500, [this](HWND dialog) {
    if (GetTickCount() == 1500) mCamera.Set(".desk.operator.mode", "none");
    if (GetTickCount() == 2000) mCamera.Set(".desk.operator.mode", "auto");
    if (GetTickCount() == 9000) EndDialog(dialog, 0);
  });
  RunDialog(120);
  std::erase_if(gSeen, [](const std::string& line) { return line.ends_with(" timer 3"); });
  EXPECT_EQ(gSeen, (Lines{"700 command 1029", "1400 command 1030", "2700 command 1031"}));
}

struct ModalCase {
  void (*act)(HWND dialog);
  INT_PTR result;
  bool quits;  // afterwards the thread is to quit
};

TEST_F(WindowTest, DialogEndsByItselfByAQuitOrWithItsParent) {
  const ModalCase cases[] = {
      {[](HWND dialog) { EndDialog(dialog, 5); }, 5, false},
      {[](HWND /*dialog*/) { PostQuitMessage(0); }, 1, true},
      {[](HWND /*dialog*/) { DestroyTestWindow(); }, -1, true},
  };
  for (const ModalCase& each : cases) {
    ASSERT_EQ(CreateTestWindow(false), 1);
    Every(10, each.act);
    EXPECT_EQ(RunTestDialog(101, DialogProcedure), each.result);
    EXPECT_EQ(Windows().HasQuit(), each.quits) << each.result;
    DestroyTestWindow();
    PumpUntilQuit();
    EXPECT_EQ(Windows().Windows(), 0U) << each.result;
    // The window is gone and the quit taken: a dialog runs like any other.
    Every(10, cases[0].act);
    EXPECT_EQ(RunTestDialog(101, DialogProcedure), 5);
  }
}

TEST_F(WindowTest, DialogsShowTheirTexts) {
  gHandle = [this](HWND dialog, UINT message, WPARAM /*wParam*/) {
    if (message == WM_INITDIALOG) {
      SetTimer(dialog, 3, 10, nullptr);
      EXPECT_TRUE(SetDlgItemTextW(dialog, 1000, L"OK"));
      EXPECT_FALSE(SetDlgItemTextW(dialog, 4711, L"OK"));
    }
    if (message != WM_TIMER) return FALSE;
    RECT client = {};
    GetClientRect(dialog, &client);
    EXPECT_EQ(client.right, 272);   // 136 units of 8 / 4
    EXPECT_EQ(client.bottom, 338);  // 169 units of 16 / 8
    wchar_t title[12] = L"";
    EXPECT_EQ(GetWindowTextW(dialog, title, 12), 11);
    EXPECT_STREQ(title, L"Button Test");
    SetWindowPos(dialog, nullptr, 1024, 0, 0, 0, SWP_NOSIZE);
    EXPECT_EQ(mCamera.Get(".desk.screen.text"), "");  // there it is, but nobody can see it
    SetWindowPos(dialog, nullptr, 1023, 0, 0, 0, SWP_NOSIZE);
    SetDlgItemTextW(dialog, 14, L"OK");
    EXPECT_EQ(mCamera.Get(".desk.screen.text"),
              "Hit buttons!\nOK\nDown: OK\nLeft\nRight\nF1\nF2\nRecall\nPower\nStore");
    // A key that is called OK, hit: it says the same, and does not look the same.
    SetWindowPos(dialog, nullptr, 0, 0, 0, 0, SWP_NOSIZE);
    const auto before = Look();
    SetDlgItemTextW(dialog, 1000, L"OK");
    EXPECT_NE(Look(), before);
    EndDialog(dialog, 5);
    return TRUE;
  };
  EXPECT_EQ(RunDialog(101), 5);
}

TEST_F(WindowTest, NoTemplateNoDialog) {
  EXPECT_EQ(RunDialog(100), -1);
  EXPECT_EQ(RunDialog(nullptr), -1);
  const int other = 0;
  EXPECT_EQ(RunDialog(&other), -1);
}

TEST_F(WindowTest, DialogErasesWhatItCovered) {
  const HWND window = Create(RGB(0, 0, 255));
  const HDC context = CreateCompatibleDC(nullptr);
  EXPECT_EQ(context, nullptr);
  PAINTSTRUCT paint = {};
  const HDC to = BeginPaint(window, &paint);
  const HDC memory = CreateCompatibleDC(to);
  const HBITMAP bitmap = SHLoadDIBitmap(L"/FlashFS/system/bit/images/green.bmp");
  ASSERT_NE(bitmap, nullptr);
  SelectObject(memory, bitmap);
  EXPECT_TRUE(StretchBlt(to, 0, 0, 1024, 600, memory, 0, 0, 96, 72, SRCCOPY));
  EXPECT_FALSE(StretchBlt(to, 0, 0, 1024, 600, to, 0, 0, 96, 72, SRCCOPY));
  const auto middle = [this] {
    return mCamera.Camera().Screen().Render(desk::CameraScreen::Display::Lcd)->At(512, 300);
  };
  EXPECT_EQ(middle(), (desk::Colour{0, 160, 0}));  // also before EndPaint
  DeleteDC(memory);
  DeleteObject(bitmap);
  EndPaint(window, &paint);
  gHandle = [](HWND dialog, UINT message, WPARAM /*wParam*/) {
    if (message == WM_INITDIALOG) EndDialog(dialog, 0);
    return FALSE;
  };
  RunDialog(101);
  EXPECT_EQ(middle(), (desk::Colour{0, 0, 255}));
  EXPECT_EQ(Windows().Objects(), 1U);  // the class' brush
  DestroyWindow(window);
  PumpUntilQuit();
}

// Templates and resources that are cut or damaged are refused, never read beyond their end.
TEST(TemplateTest, CutAnywhereItIsRefused) {
  for (WORD number = 101; number <= 127; ++number) {
    const auto whole = desk::TheModuleResources().Find(5, number);
    if (!whole) continue;
    ASSERT_TRUE(desk::ReadDialogTemplate(*whole)) << number;
    for (std::size_t size = 0; size < whole->size(); ++size) {
      // In a block of its own, so that a read beyond it shows.
      const std::vector<std::uint8_t> cut(whole->begin(),
                                          whole->begin() + static_cast<std::ptrdiff_t>(size));
      EXPECT_FALSE(desk::ReadDialogTemplate(cut)) << number << " " << size;
    }
  }
}

TEST(TemplateTest, HoldsWhatTheResourceScriptSays) {
  const auto dialog = desk::ReadDialogTemplate(*desk::TheModuleResources().Find(5, 117));
  ASSERT_TRUE(dialog);
  EXPECT_EQ(dialog->style, 0x80C008C0U);
  ASSERT_EQ(dialog->items.size(), 20U);
  EXPECT_EQ(dialog->items.back().id, 1032);
  EXPECT_EQ(dialog->items.back().text, L"IR/Vis");
  EXPECT_EQ(dialog->items.back().y, 236);
  EXPECT_EQ(dialog->items.back().style, 0x58010000U);
  const auto verdict = desk::ReadDialogTemplate(*desk::TheModuleResources().Find(5, 116));
  EXPECT_EQ(verdict->fontName, L"Courier New");
  EXPECT_EQ(verdict->pointSize, 20);
  EXPECT_EQ(verdict->items[0].style, 0x50020201U);
  for (const std::uint32_t style : {0x0U, 0x1U, 0x200U, 0x201U}) {
    desk::DialogTemplate styled = *verdict;
    styled.items[0].style = 0x50020000U | style;
    const desk::Centring text = desk::ControlsOf(styled, {}).at(0).centring;
    EXPECT_EQ(text.across, (style & 0x1U) != 0) << style;
    EXPECT_EQ(text.down, (style & 0x200U) != 0) << style;
  }
}

TEST(FontTest, LinesAreAsHighAsEightDialogUnits) {
  constexpr int kSide = 60;
  // What is written on, from the top of an accent to the bottom of a g.
  const auto written = [](desk::TextStyle style, desk::Centring centring) {
    desk::Picture picture(kSide, kSide, {255, 255, 255});
    picture.Write("\xC3\x81g", style, {0, 0, 0}, {0, 0, kSide, kSide}, centring);
    RECT ink = {kSide, kSide, 0, 0};
    for (int i = 0; i < kSide * kSide; ++i) {
      const POINT at = {i % kSide, i / kSide};
      if (picture.At(at.x, at.y).red > 200) continue;
      ink = {std::min(ink.left, at.x), std::min(ink.top, at.y), std::max(ink.right, at.x + 1),
             std::max(ink.bottom, at.y + 1)};
    }
    return ink;
  };
  struct Case {
    const wchar_t* name;
    int size;    // points
    int across;  // pixels of four dialog units
    int down;    // of eight
  };
  for (const Case& each : {Case{L"System", 8, 8, 16}, Case{L"System", 15, 8, 16},
                           Case{L"Arial", 20, 16, 30}, Case{L"Courier New", 20, 16, 30}}) {
    const desk::DialogFont font = desk::FontOfDialog(each.name, each.size);
    EXPECT_EQ(font.baseX, each.across);
    EXPECT_EQ(font.baseY, each.down);
    EXPECT_EQ(font.style.height, each.down);
    const RECT corner = written(font.style, {});
    EXPECT_NEAR(corner.bottom - corner.top, each.down - 2, 2) << each.size;
    const RECT middle = written(font.style, {.across = true, .down = true});
    EXPECT_NEAR(middle.left, kSide - middle.right, 2);
    EXPECT_LE(std::abs(middle.top - corner.top - (kSide - each.down) / 2), 1);
    EXPECT_EQ(written(font.style, {.across = true}).top, corner.top);
    EXPECT_EQ(written(font.style, {.down = true}).left, corner.left);
  }
}

TEST(KeyNameTest, KeysHaveTheirCodes) {
  const desk::CameraKeypad keypad = {{{"Store", 0x75}, {"F2", 0x20}}};
  const std::pair<const char*, desk::KeyCode> cases[] = {
      // 0: no key is called so
      {"store", 0x75},    {"F2", 0x20},
      {"F1", 0x70},       {"f12", 0x7B},
      {"F13", 0},         {"Space", 0x20},
      {"tab", 0x09},      {"Insert", 0x2D},
      {"Delete", 0x2E},   {"Backspace", 8},
      {"Comma", 0xBC},    {",", 0xBC},
      {"-", 0xBD},        {"Semicolon", 0xBA},
      {"\\", 0xDC},       {"Equals", 0xBB},
      {"Numpad0", 0x60},  {"Keypad 7", 0x67},
      {"Keypad /", 0x6F}, {"Decimal", 0x6E},
      {"Numpad10", 0},    {"z", 'Z'},
      {"7", '7'},         {"0x70", 0x70},
      {"0x100", 0},       {"", 0},
      {"Sideways", 0},
  };
  for (const auto& [name, code] : cases) {
    EXPECT_EQ(desk::ParseKey(name, keypad).value_or(0), code) << name;
  }
  // At a desktop's keyboard the keys are those of the keyboard.
  EXPECT_EQ(desk::CodeOfKey("F2"), 0x71U);
}

// Each file of the corpus was once worth a look; none may be read beyond its end.
TEST(TemplateTest, CorpusIsReadWithinItsBounds) {
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(TEST_CORPUS_FOLDER)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file),
                                  std::istreambuf_iterator<char>()};
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    desk::ReadDialogTemplate(input);
    const desk::ModuleResources resources(input);
    for (WORD number = 101; number <= 127; ++number) {
      if (const auto found = resources.Find(5, number)) desk::ReadDialogTemplate(*found);
    }
    ++files;
  }
  EXPECT_GT(files, 10U);
}

struct Depth {
  std::uint8_t bits;
  std::size_t colours;  // of the palette
  std::vector<std::uint8_t> above;
  std::vector<std::uint8_t> below;
};
// Red, green above, blue, white below; with two colours red, white above, white, white below.
const Depth kDepths[] = {
    {1, 2, {0x40, 0, 0, 0}, {0xC0, 0, 0, 0}},
    {4, 16, {0x02, 0, 0, 0}, {0x31, 0, 0, 0}},
    {8, 256, {0, 2, 0, 0}, {3, 1, 0, 0}},
    {16, 0, {0x00, 0x7C, 0xE0, 0x03}, {0x1F, 0x00, 0xFF, 0x7F}},
    {24, 0, {0, 0, 255, 0, 255, 0, 0, 0}, {255, 0, 0, 255, 255, 255, 0, 0}},
    {32, 0, {0, 0, 255, 0, 0, 255, 0, 0}, {255, 0, 0, 0, 255, 255, 255, 0}},
};

// A bitmap file of 2 x 2 pixels.
std::vector<std::uint8_t> BitmapFile(const Depth& depth, bool topDown) {
  std::vector<std::uint8_t> palette = {0, 0, 255, 0, 255, 255, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0};
  palette.resize(4 * depth.colours);
  const std::size_t pixels = 54 + palette.size();
  std::vector<std::uint8_t> file(54);
  file[0] = 'B';
  file[1] = 'M';
  file[10] = static_cast<std::uint8_t>(pixels);
  file[11] = static_cast<std::uint8_t>(pixels >> 8U);
  file[14] = 40;
  file[18] = 2;
  std::fill_n(&file[22], 4, topDown ? 0xFF : 0);
  file[22] = topDown ? 0xFE : 2;
  file[26] = 1;
  file[28] = depth.bits;
  const auto& first = topDown ? depth.above : depth.below;
  const auto& second = topDown ? depth.below : depth.above;
  for (const std::vector<std::uint8_t>& part : {palette, first, second}) {
    file.insert(file.end(), part.begin(), part.end());
  }
  return file;
}

TEST(BitmapTest, EveryDepthAndBothDirectionsAreRead) {
  for (const Depth& depth : kDepths) {
    for (const bool topDown : {false, true}) {
      const auto picture = desk::Picture::Read(BitmapFile(depth, topDown));
      ASSERT_NE(picture, nullptr) << int{depth.bits} << topDown;
      EXPECT_EQ(picture->At(0, 0), (desk::Colour{255, 0, 0})) << int{depth.bits} << topDown;
      EXPECT_EQ(picture->At(1, 1), (desk::Colour{255, 255, 255})) << int{depth.bits} << topDown;
      if (depth.bits == 1) continue;
      EXPECT_EQ(picture->At(1, 0), (desk::Colour{0, 255, 0})) << int{depth.bits} << topDown;
      EXPECT_EQ(picture->At(0, 1), (desk::Colour{0, 0, 255})) << int{depth.bits} << topDown;
    }
  }
}

TEST(BitmapTest, BrokenFilesCannotBeLoaded) {
  struct Case {
    const char* what;
    std::size_t at;
    std::vector<std::uint8_t> bytes;
  };
  const Case cases[] = {
      {"no signature", 0, {'X'}},
      {"pixels beyond the end", 10, {0xFF, 0xFF, 0xFF, 0x7F}},
      {"pixels within the headers", 10, {20, 0, 0, 0}},
      {"old header", 14, {12, 0, 0, 0}},
      {"header without end", 14, {0xFF, 0xFF, 0xFF, 0xFF}},
      {"no width", 18, {0, 0, 0, 0}},
      {"negative width", 18, {0xFE, 0xFF, 0xFF, 0xFF}},
      {"huge width", 18, {0xFF, 0xFF, 0xFF, 0x7F}},
      {"no height", 22, {0, 0, 0, 0}},
      {"lowest height", 22, {0, 0, 0, 0x80}},
      {"more rows than there are", 22, {9, 0, 0, 0}},
      {"two planes", 26, {2, 0}},
      {"seven bits", 28, {7, 0}},
      {"no bits", 28, {0, 0}},
      {"packed", 30, {1, 0, 0, 0}},
      {"too many colours", 46, {1, 1, 0, 0}},
  };
  BareCamera camera("KY");
  const auto loads = [&camera](const std::vector<std::uint8_t>& file) {
    camera.MakeFile("/FlashFS/x.bmp", std::string(file.begin(), file.end()));
    const HBITMAP bitmap = SHLoadDIBitmap(L"/FlashFS/x.bmp");
    if (bitmap != nullptr) DeleteObject(bitmap);
    return bitmap != nullptr;
  };
  const std::vector<std::uint8_t> good = BitmapFile(kDepths[2], false);
  EXPECT_TRUE(loads(good));
  for (const Case& each : cases) {
    std::vector<std::uint8_t> file = good;
    std::copy(each.bytes.begin(), each.bytes.end(),
              file.begin() + static_cast<std::ptrdiff_t>(each.at));
    EXPECT_FALSE(loads(file)) << each.what;
  }
  for (const std::size_t size : {0U, 1U, 13U, 53U, 60U, 1085U}) {
    EXPECT_FALSE(loads({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)})) << size;
  }
  // A JPEG file says its size further in: none beyond any display's is begun.
  std::ifstream jpeg(camera.File("/FlashFS/system/bit/images/ramp_down.jpg"), std::ios::binary);
  std::vector<char> bytes{std::istreambuf_iterator<char>(jpeg), std::istreambuf_iterator<char>()};
  std::vector<std::uint8_t> image(bytes.begin(), bytes.end());
  EXPECT_NE(desk::Picture::Read(image), nullptr);
  const std::uint8_t frame[] = {0xFF, 0xC0, 0x00, 0x11, 0x08};
  const auto header = std::search(image.begin(), image.end(), std::begin(frame), std::end(frame));
  ASSERT_NE(header, image.end());
  header[5] = 0x3E;  // 15,9xx rows
  EXPECT_EQ(desk::Picture::Read(image), nullptr);
  EXPECT_EQ(desk::Picture::Read({image.data(), 100}), nullptr);
  EXPECT_EQ(SHLoadDIBitmap(L"/FlashFS/missing.bmp"), nullptr);
  EXPECT_EQ(SHLoadDIBitmap(L"/FlashFS"), nullptr);
  EXPECT_EQ(SHLoadDIBitmap(L"/FlashFS/system/bit/images/ramp_down.jpg"), nullptr);
}

}  // namespace
}  // namespace test
