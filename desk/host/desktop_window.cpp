#include "host/desktop_window.h"

#include <SDL.h>

#include <cstdlib>
#include <future>
#include <memory>
#include <stdexcept>

#include "camera/camera.h"
#include "operator/key_names.h"

namespace desk {

namespace {

constexpr int kRedrawPeriod = 50;  // ms

void Show(SDL_Window& window, const Picture& screen) {
  SDL_Surface* const surface = SDL_GetWindowSurface(&window);
  if (surface == nullptr) return;
  const std::vector<std::uint32_t>& pixels = screen.Pixels();
  SDL_Surface* const drawn = SDL_CreateRGBSurfaceWithFormatFrom(
      const_cast<std::uint32_t*>(pixels.data()), screen.Width(), screen.Height(), 32,
      4 * screen.Width(), SDL_PIXELFORMAT_XRGB8888);
  if (drawn == nullptr) return;
  SDL_BlitSurface(drawn, nullptr, surface, nullptr);
  SDL_FreeSurface(drawn);
  SDL_UpdateWindowSurface(&window);
}

struct WindowCloser {
  void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
};

bool IsSet(const char* variable) {
  const char* const value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe)
  return value != nullptr && *value != '\0';
}

// What the toolkit may draw on, as it lists them: it would also draw where nobody sees it. Empty:
// there is no display.
std::string Displays() {
  std::string displays;
  if (IsSet("DISPLAY")) displays = "x11";
  if (IsSet("WAYLAND_DISPLAY")) displays += displays.empty() ? "wayland" : ",wayland";
  return displays;
}

// The toolkit, for as long as it is needed.
struct Toolkit {
  explicit Toolkit(const std::string& displays) {
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_VIDEODRIVER, displays.c_str());
  }
  ~Toolkit() {
    SDL_Quit();
    SDL_TLSCleanup();
  }
  Toolkit(const Toolkit&) = delete;
  Toolkit& operator=(const Toolkit&) = delete;
};

}  // namespace

DesktopWindow::DesktopWindow(Camera& camera, std::function<void()> closed)
    : mCamera(camera), mClosed(std::move(closed)) {
  // Shared: the thread may still be telling when it has been heard.
  const auto opened = std::make_shared<std::promise<std::string>>();
  mThread = std::thread(
      [this, opened] { Run([opened](const std::string& error) { opened->set_value(error); }); });
  const std::string error = opened->get_future().get();
  if (error.empty()) return;
  mThread.join();
  throw std::runtime_error("DIAGOR_SCREEN=window: " + error);
}

DesktopWindow::~DesktopWindow() {
  mStopped = true;
  if (mThread.joinable()) mThread.join();
}

// The toolkit wants its windows and events on one thread. The desktop's own waiting has nothing to
// do with the camera's time.
void DesktopWindow::Run(const std::function<void(const std::string&)>& opened) {
  const std::string displays = Displays();
  if (displays.empty()) {
    opened("there is no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
    return;
  }
  const Toolkit toolkit(displays);
  if (SDL_InitSubSystem(SDL_INIT_VIDEO) != 0) {
    opened(SDL_GetError());
    return;
  }
  WindowSystem& windows = mCamera.Windows();
  const std::string title = "Camera " + mCamera.Variant().name;
  const std::unique_ptr<SDL_Window, WindowCloser> window(
      SDL_CreateWindow(title.c_str(), SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED,
                       windows.Width(), windows.Height(), 0));
  opened(window == nullptr ? SDL_GetError() : "");
  while (window != nullptr && !mStopped) {
    SDL_Event event = {};
    for (int waited = SDL_WaitEventTimeout(&event, kRedrawPeriod); waited != 0;
         waited = SDL_PollEvent(&event)) {
      if (event.type == SDL_QUIT) mClosed();
      if (event.type == SDL_KEYUP) {
        const auto code = CodeOfKey(SDL_GetKeyName(event.key.keysym.sym));
        if (code) windows.ReleaseKey(*code);
      }
      const bool isFinger =
          (event.type == SDL_MOUSEBUTTONDOWN || event.type == SDL_MOUSEBUTTONUP) &&
          event.button.button == SDL_BUTTON_LEFT;
      if (isFinger && event.type == SDL_MOUSEBUTTONDOWN) {
        windows.PressPointer(event.button.x, event.button.y);
      } else if (isFinger) {
        windows.ReleasePointer(event.button.x, event.button.y);
      }
    }
    Show(*window, *mCamera.Screen().Render(CameraScreen::Display::Lcd));
  }
}

}  // namespace desk
