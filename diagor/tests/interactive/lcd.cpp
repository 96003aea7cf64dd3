#include "tests/interactive/lcd.h"

#include <cwchar>
#include <iterator>
#include <string>
#include <vector>

#include "items/format.h"
#include "items/group_builder.h"
#include "items/platform.h"
#include "items/resource_access.h"
#include "tests/interactive/image_list.h"
#include "tests/interactive/key_dialogs.h"
#include "tests/interactive/test_window.h"

namespace {

constexpr char kLcdEnable[] = ".power.settings.lcdEnable";
constexpr char kViewFinder[] = ".ui.userSettings.viewFinder";
constexpr char kRecall[] = "image.state.recall.setW";
constexpr char kLive[] = "image.state.live.set";
constexpr char kHideGraphics[] = ".gui.system.hideGraphics";
constexpr char kHideGraphicsKy[] = ".ui.userSettings.hideGraphics";
constexpr char kAutoNuc[] = ".tcomp.services.autoNuc.active";

constexpr int kPatterns = 5;
constexpr DWORD kHoldTime = 10000;      // ms, of each picture
constexpr DWORD kShortHoldTime = 3000;  // ms

constexpr WORD kQuestionDialog = 114;
constexpr WORD kGoodDialog = 115;
constexpr WORD kFaultyDialog = 116;

constexpr Failure kFailedInit = {0x60, "Failed to init test"};
constexpr Failure kNoImages = {0x60, "No test images found"};
constexpr DWORD kFaultyCode = 0xF2;

void Write(const char* path, bool value) {
  WriteTo(Tree::Camera, path, TARQ::CResourceValue(value, 0));
}
void Write(const char* path, const char* value) {
  WriteTo(Tree::Camera, path, TARQ::CResourceValue(value, 0));
}

void SelectDisplay(bool viewFinder) {
  Write(kLcdEnable, !viewFinder);
  Write(kViewFinder, viewFinder ? "$ON" : "$OFF");
}

DWORD HoldTimeOf(LONG platform) {
  return platform == kPlatformR7 || platform == kPlatformR8 ? kShortHoldTime : kHoldTime;
}

std::wstring PathOf(const char* folder, const std::wstring& name) {
  const std::string path = std::string(folder) + WideToChar(name.c_str());
  return Widened(path.c_str());
}

// Shows one picture of the camera's own after the other.
class Recall {
 public:
  Recall() : mRecall(Tree::Camera, kRecall) {}
  explicit operator bool() const { return static_cast<bool>(mRecall); }
  void Show(const std::wstring& picture) {
    mRecall.Write(TARQ::CResourceValue(picture.c_str(), 0));
  }

 private:
  OpenedResource mRecall;
};

void ShowPatterns(Recall& recall, DWORD holdTime) {
  for (int pattern = 1; pattern <= kPatterns; ++pattern) {
    wchar_t name[32] = L"";
    swprintf(name, std::size(name), L"###TESTPATTERN%d###", pattern);
    recall.Show(name);
    Sleep(holdTime);
  }
}

// In the order of the file system; the next file is looked for before the picture is held.
void ShowImages(Recall& recall, const char* folder, DWORD holdTime) {
  FileSearch search(folder, "*.jpg");
  for (bool found = search.Found(); found;) {
    recall.Show(PathOf(folder, search.Name()));
    found = search.Next();
    Sleep(holdTime);
  }
}

// What an interactive run sets on the camera, and puts back.
struct Camera {
  bool viewFinder;
  bool isKy;

  void Prepare() const {
    if (isKy) Write(kAutoNuc, false);
    Write(isKy ? kHideGraphicsKy : kHideGraphics, true);
    Write(kLcdEnable, !viewFinder);
    if (isKy) Write(kViewFinder, viewFinder ? "$ON" : "$OFF");
  }
  void Restore() const {
    Write(kLive, true);
    if (isKy) {
      Write(kHideGraphicsKy, false);
      Write(kAutoNuc, true);
    }
    if (!viewFinder) return;
    Write(kLcdEnable, true);
    if (isKy) Write(kViewFinder, "$OFF");
  }
};

// The windows of a run: the red one of its start, and one for each picture, which covers the
// others. A picture stays whole until its answer, so they are closed together at the end.
class RunWindows {
 public:
  // One that could not be created is none.
  void TakeNewest() {
    if (gTestWindow != nullptr) mWindows.push_back(gTestWindow);
  }
  ~RunWindows() {
    if (mWindows.empty()) return;
    // The newest goes as every test window does, with its class and the messages that are left.
    gTestWindow = mWindows.back();
    mWindows.pop_back();
    for (const HWND window : mWindows) DestroyWindow(window);
    DestroyTestWindow();
    PumpUntilQuit();
  }
  RunWindows() = default;
  RunWindows(const RunWindows&) = delete;
  RunWindows& operator=(const RunWindows&) = delete;

 private:
  std::vector<HWND> mWindows;
};

// Asks about one image after the other, until one is faulty.
void AskAboutImages(const std::vector<std::wstring>& images, const char* folder,
                    const Camera& camera, RunWindows& windows) {
  for (const std::wstring& image : images) {
    gLcdAnswer = kLcdWaiting;
    ShowBitmapFile(PathOf(folder, image).c_str(), 0);
    windows.TakeNewest();
    if (!camera.isKy) Write(kLcdEnable, !camera.viewFinder);
    RunTestDialog(kQuestionDialog, LcdKeyDialogProc);
    if (gLcdAnswer == kLcdFaulty) return;
  }
}

Finding AskOperator(const char* folder, const Camera& camera) {
  const std::vector<std::wstring> images = ListImages(folder);
  if (images.empty()) return kNoImages;
  if (CreateTestWindow(true) == 0) return kFailedInit;
  RunWindows windows;
  windows.TakeNewest();
  AskAboutImages(images, folder, camera, windows);
  // An answer to the last image may still come here.
  RunTestDialog(gLcdAnswer == kLcdGood ? kGoodDialog : kFaultyDialog, LcdKeyDialogProc);
  if (gLcdAnswer == kLcdFaulty) {
    return {kFaultyCode, camera.viewFinder ? "ViewFinder Failed (interactive test)"
                                           : "LCD Failed (interactive test)"};
  }
  return {0, camera.viewFinder ? "ViewFinder tested (interactive)" : "LCD tested (interactive)",
          Passed::Tested};
}

}  // namespace

CResBitLCD::CResBitLCD(const TARQ::CResourcePath& path, const char* description, LONG platform,
                       LONG mode, bool viewFinder)
    : CResBitItem(path, description), mPlatform(platform), mMode(mode), mViewFinder(viewFinder) {}

void CResBitLCD::ChooseImageFolder() {
  mImageFolder = mPlatform == kPlatformV8 || gBfsInUse ? "/FlashBFS/system/bit/images/"
                                                       : "/FlashFS/system/bit/images/";
}

// False when the camera's image service cannot be reached.
bool CResBitLCD::ShowRecalled() {
  {
    Recall recall;
    if (!recall) {
      SelectDisplay(false);
      return false;
    }
    if (mMode == kLcdImages) {
      ShowImages(recall, mImageFolder, HoldTimeOf(mPlatform));
    } else {
      ShowPatterns(recall, HoldTimeOf(mPlatform));
    }
  }
  SelectDisplay(false);
  Write(kLive, true);
  return true;
}

void CResBitLCD::ShowBitmaps() {
  FileSearch search(mImageFolder, "*.bmp");
  for (bool found = search.Found(); found; found = search.Next()) {
    ShowBitmapFile(PathOf(mImageFolder, search.Name()).c_str(), HoldTimeOf(mPlatform));
  }
  SelectDisplay(false);
}

DWORD CResBitLCD::RunInteractively(bool viewFinder, bool isKy) {
  return RunInTurn(ScreenTurns(), [&] {
    ChooseImageFolder();
    const Camera camera = {viewFinder, isKy};
    camera.Prepare();
    Finding finding = AskOperator(mImageFolder, camera);
    camera.Restore();
    return finding;
  });
}

DWORD CResBitLCD::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInTurn(ScreenTurns(), [this]() -> Finding {
    SelectDisplay(mViewFinder);
    ChooseImageFolder();
    if (mMode == kLcdBitmaps) {
      ShowBitmaps();
    } else if (!ShowRecalled()) {
      return kFailedInit;
    }
    return {0, "LCD tested", Passed::Tested};
  });
}

CResBitLCD_I::CResBitLCD_I(const TARQ::CResourcePath& path, const char* description, LONG platform,
                           bool viewFinder)
    : CResBitLCD(path, description, platform, kLcdBitmaps, viewFinder),
      mForViewFinder(viewFinder) {}

DWORD CResBitLCD_I::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInteractively(mForViewFinder, false);
}

CResBitLCD_I_Ky::CResBitLCD_I_Ky(const TARQ::CResourcePath& path, const char* description,
                                 LONG platform, bool viewFinder)
    : CResBitLCD(path, description, platform, kLcdBitmaps, viewFinder),
      mForViewFinder(viewFinder) {}

DWORD CResBitLCD_I_Ky::RunTest(const TARQ::CResourceValue& /*written*/) {
  return RunInteractively(mForViewFinder, true);
}

namespace {

constexpr ItemRow<LcdMode> kItems[] = {{"images", "LCD JPG images", kLcdImages},
                                       {"testpattern", "LCD Testpattern", kLcdPatterns},
                                       {"bitmaps", "LCD Bitmaps", kLcdBitmaps}};

// Cameras whose image service recalls no pictures show bitmaps alone.
bool Recalls(DWORD platform) {
  return platform != kPlatformRRem && platform != kPlatformN7;
}

}  // namespace

DWORD CreateLcdGroup(CBitTask* /*task*/, DWORD platform, bool viewFinder) {
  return CreateGroup(viewFinder ? "viewFinder" : "lcd", [&](GroupBuilder& group) {
    for (const auto& [node, description, mode] : kItems) {
      if (mode != kLcdBitmaps && !Recalls(platform)) continue;
      group.Add(new CResBitLCD(node, description, static_cast<LONG>(platform), mode, viewFinder));
    }
  });
}

DWORD CreateLcdInteractiveGroup(CBitTask* /*task*/, DWORD platform, bool viewFinder) {
  return CreateGroup(viewFinder ? "viewFinder_i" : "lcd_i", [&](GroupBuilder& group) {
    const LONG number = static_cast<LONG>(platform);
    if (platform == kPlatformKY) {
      group.Add(new CResBitLCD_I_Ky("bitmaps", "LCD BitMaps", number, viewFinder));
    } else if (platform != kPlatformRRem) {
      group.Add(new CResBitLCD_I("bitmaps", "LCD BitMaps", number, viewFinder));
    }
  });
}
