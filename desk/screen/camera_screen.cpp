#include "screen/camera_screen.h"

#include <algorithm>
#include <cmath>

#include "coredll/text.h"
#include "coredll/window_system.h"
#include "peripherals/image_pipeline.h"
#include "peripherals/image_service.h"

namespace desk {

namespace {

constexpr Colour kBlack = {0, 0, 0};
constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kGrey = {128, 128, 128};
constexpr Colour kShadow = {128, 124, 116};
constexpr Colour kDark = {64, 64, 64};
constexpr Colour kPressed = {188, 184, 176};
constexpr Colour kCaption = {10, 36, 106};
constexpr Colour kDisabledText = {90, 88, 84};

constexpr int kLiveWidth = 80;  // pixels
constexpr int kLiveHeight = 60;

// From cold to hot, as thermal images are coloured.
Colour Iron(double share) {
  const double s = std::clamp(share, 0.0, 1.0);
  const auto level = [](double value) {
    return static_cast<std::uint8_t>(std::lround(255 * std::clamp(value, 0.0, 1.0)));
  };
  return {level(1.6 * s), level(2 * s - 0.7),
          level(s < 0.3 ? 2 * s : (s > 0.8 ? 5 * s - 4 : 0.9 - s))};
}

// The test patterns that the camera knows.
void DrawBars(Picture& screen) {
  constexpr Colour kBars[] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                              {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
  constexpr int kCount = 8;
  for (int bar = 0; bar < kCount; ++bar) {
    const int left = screen.Width() * bar / kCount;
    const int right = screen.Width() * (bar + 1) / kCount;
    screen.Fill({left, 0, right - left, screen.Height()}, kBars[bar]);
  }
}

void DrawRamp(Picture& screen) {
  constexpr int kSteps = 32;
  for (int step = 0; step < kSteps; ++step) {
    const auto level = static_cast<std::uint8_t>(255 * step / (kSteps - 1));
    const int left = screen.Width() * step / kSteps;
    const int right = screen.Width() * (step + 1) / kSteps;
    screen.Fill({left, 0, right - left, screen.Height()}, {level, level, level});
  }
}

void DrawBoard(Picture& screen) {
  constexpr int kSquare = 40;  // pixels
  for (int y = 0; y < screen.Height(); y += kSquare) {
    for (int x = 0; x < screen.Width(); x += kSquare) {
      const bool light = (x + y) / kSquare % 2 == 0;
      screen.Fill({x, y, kSquare, kSquare}, light ? kWhite : kBlack);
    }
  }
}

void DrawGrid(Picture& screen) {
  constexpr int kSpacing = 20;  // pixels
  screen.Fill({0, 0, screen.Width(), screen.Height()}, kBlack);
  for (int x = 0; x < screen.Width(); x += kSpacing)
    screen.Fill({x, 0, 1, screen.Height()}, kWhite);
  for (int y = 0; y < screen.Height(); y += kSpacing)
    screen.Fill({0, y, screen.Width(), 1}, kWhite);
}

bool DrawPattern(Picture& screen, const std::string& name) {
  if (name == "###TESTPATTERN1###") {
    DrawBars(screen);
  } else if (name == "###TESTPATTERN2###") {
    DrawRamp(screen);
  } else if (name == "###TESTPATTERN3###") {
    DrawBoard(screen);
  } else if (name == "###TESTPATTERN4###") {
    DrawGrid(screen);
  } else if (name == "###TESTPATTERN5###") {
    screen.Fill({0, 0, screen.Width(), screen.Height()}, kWhite);
  } else {
    return false;
  }
  return true;
}

// A text that does not fit is written smaller: nothing is cut.
void WriteFitting(Picture& screen, const std::string& text, TextStyle style, Colour colour,
                  const Area& area, Centring centring) {
  constexpr int kSmallest = 9;  // pixels
  constexpr int kMargin = 2;
  while (style.height > kSmallest && TextWidth(text, style) > area.width - kMargin) --style.height;
  screen.Write(text, style, colour, area, centring);
}

void DrawControl(Picture& screen, const Control& control, const Area& client,
                 const TextStyle& style, Colour face) {
  Area area = {client.x + control.area.x, client.y + control.area.y, control.area.width,
               control.area.height};
  const bool isButton = control.kind == Control::Kind::Button;
  if (isButton) {
    screen.Fill(area, control.isPressed ? kPressed : face);
    screen.Frame(area, control.isPressed ? kDark : kWhite, control.isPressed ? kWhite : kDark);
  }
  const Colour colour = isButton && !control.enabled && !control.isHit ? kDisabledText : kBlack;
  // A pressed button goes down with what stands on it.
  if (control.isPressed) {
    ++area.x;
    ++area.y;
  }
  WriteFitting(screen, ToUtf8(control.text), style, colour, area, control.centring);
}

void DrawDialog(Picture& screen, const SceneWindow& dialog) {
  screen.Fill(dialog.area, dialog.background);
  screen.Frame(dialog.area, kWhite, kDark);
  screen.Frame(
      {dialog.area.x + 1, dialog.area.y + 1, dialog.area.width - 2, dialog.area.height - 2}, kWhite,
      kShadow);
  if (dialog.hasCaption) {
    const Area caption = {dialog.area.x + kDialogBorder, dialog.area.y + kDialogBorder,
                          dialog.area.width - 2 * kDialogBorder, kCaptionHeight};
    screen.Fill(caption, kCaption);
    constexpr int kIndent = 6;  // pixels
    WriteFitting(screen, ToUtf8(dialog.title), {TextStyle::Face::Bold, 16}, kWhite,
                 {caption.x + kIndent, caption.y, caption.width - 2 * kIndent, caption.height},
                 {.down = true});
  }
  for (const Control& control : dialog.controls) {
    DrawControl(screen, control, dialog.Client(), dialog.style, dialog.background);
  }
}

}  // namespace

void DrawWindow(Picture& screen, const SceneWindow& window) {
  if (window.isDialog) {
    DrawDialog(screen, window);
  } else if (window.canvas != nullptr) {
    screen.Stretch(*window.canvas, {0, 0, window.canvas->Width(), window.canvas->Height()},
                   window.area);
  } else {
    screen.Fill(window.area, window.background);
  }
}

CameraScreen::CameraScreen(const WindowSystem& windows, const Storage& storage, std::string name,
                           const ImagePipeline* pipeline, const ImageService* service)
    : mWindows(windows),
      mStorage(storage),
      mName(std::move(name)),
      mPipeline(pipeline),
      mService(service) {}

// A warm subject before a cooler ground, as the frame's level lets it through.
std::shared_ptr<const Picture> CameraScreen::LiveImage() const {
  auto image = std::make_shared<Picture>(kLiveWidth, kLiveHeight, kGrey);
  if (mPipeline == nullptr) return image;
  const FramePreview frame = mPipeline->Preview();
  constexpr double kFullScale = 24000;  // counts
  for (int y = 0; y < kLiveHeight; ++y) {
    for (int x = 0; x < kLiveWidth; ++x) {
      const double u = (x + 0.5) / kLiveWidth;
      const double v = (y + 0.5) / kLiveHeight;
      const double away = std::hypot((u - 0.55) * 1.6, v - 0.55);
      const bool covered = frame.cover > 0 && u <= frame.cover;
      const double subject = covered ? 0.5 : 0.35 + 0.65 * std::exp(-7 * away * away);
      image->Set(x, y, Iron((covered ? frame.covered : frame.open) * 2 * subject / kFullScale));
    }
  }
  return image;
}

void CameraScreen::DrawCamera(Picture& screen, const ImageService::Shown& shown) const {
  if (DrawPattern(screen, shown.recalled)) return;
  const Area whole = {0, 0, screen.Width(), screen.Height()};
  std::shared_ptr<const Picture> image;
  const auto file = shown.recalled.empty() ? std::nullopt : mStorage.Resolve(shown.recalled);
  if (file) image = Picture::Load(*file);
  if (image == nullptr) image = shown.frozen;
  if (image == nullptr) image = LiveImage();
  screen.Stretch(*image, {0, 0, image->Width(), image->Height()}, whole);
  if (!shown.graphics) return;
  screen.Write(mName, {TextStyle::Face::Bold, 20}, kWhite, {10, 8, 200, 24}, {});
  const int x = screen.Width() / 2;
  const int y = screen.Height() / 2;
  screen.Fill({x - 12, y, 25, 1}, kWhite);
  screen.Fill({x, y - 12, 1, 25}, kWhite);
}

std::shared_ptr<Picture> CameraScreen::Render(Display display) const {
  auto screen = std::make_shared<Picture>(mWindows.Width(), mWindows.Height(), kBlack);
  ImageService::Shown shown;
  if (mService != nullptr) shown = mService->Now();
  // A camera whose LCD is off is looked at through its viewfinder.
  const bool viewFinder = shown.viewFinder || !shown.lcd;
  if (display == Display::ViewFinder ? !viewFinder : !shown.lcd) return screen;
  const std::vector<SceneWindow> scene = mWindows.Scene();
  if (scene.empty()) DrawCamera(*screen, shown);
  for (const SceneWindow& window : scene) DrawWindow(*screen, window);
  return screen;
}

}  // namespace desk
