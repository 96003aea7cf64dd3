#include "coredll/window_system.h"

#include <algorithm>
#include <utility>

#include "coredll/text.h"

namespace desk {

namespace {

constexpr Colour kWhite = {255, 255, 255};

constexpr char kNoWindow[] = "this camera has no test that shows something to an operator";

constexpr KnobRow kRows[] = {
    {"windows", KnobKind::Bool, "", "true", 0, 0, "False: creating a window fails.",
     Breaks({"false", "the display takes no full-screen window", "camera software", "", false,
             kNoWindow})},
    {"dialogs", KnobKind::Bool, "", "true", 0, 0, "False: showing a dialog fails.",
     Breaks({"false", "the display takes no dialog", "camera software", "", false, kNoWindow})},
    {"title", KnobKind::ReadOnly, "", "", 0, 0, "The title of what is on the screen."},
    {"text", KnobKind::ReadOnly, "", "", 0, 0,
     "Its captions, one a line; of a key or target that was hit what stood there before, too: "
     "\"Up: OK\"."},
};
constexpr KnobFamily kFamily = {"Screen", ".desk.screen", kRows};

}  // namespace

WindowSystem::WindowSystem(Clock& clock, int width, int height)
    : mClock(clock), mWidth(width), mHeight(height), mKnobs(kFamily) {
  mKnobs[kTitle].OnRead([this] { return KnobValue(TopTitle()); });
  mKnobs[kText].OnRead([this] { return KnobValue(TopText()); });
}

// Wakes whoever waits for a window, a message or a change of the screen. Without the lock.
void WindowSystem::Changed() {
  mClock.Change([this] {
    const std::lock_guard lock(mLock);
    ++mChanges;
  });
}

std::uint64_t WindowSystem::Changes() const {
  const std::lock_guard lock(mLock);
  return mChanges;
}

std::vector<SceneWindow> WindowSystem::Scene() const {
  const std::lock_guard lock(mLock);
  std::vector<SceneWindow> scene;
  for (const auto& window : mWindows) {
    if (window->visible) scene.push_back(window->scene);
  }
  return scene;
}

std::optional<SceneWindow> WindowSystem::TopOnScreen() const {
  std::vector<SceneWindow> scene = Scene();
  for (auto window = scene.rbegin(); window != scene.rend(); ++window) {
    const Area seen = Intersection(window->area, {0, 0, mWidth, mHeight});
    if (seen.width > 0 && seen.height > 0) return std::move(*window);
  }
  return std::nullopt;
}

std::string WindowSystem::TopTitle() const {
  const auto top = TopOnScreen();
  return top ? ToUtf8(top->title) : "";
}

std::string WindowSystem::TopText() const {
  std::string text;
  const auto top = TopOnScreen();
  if (!top) return text;
  for (const Control& control : top->controls) {
    if (!text.empty()) text += "\n";
    if (control.isHit) text += ToUtf8(control.label) + ": ";
    text += ToUtf8(control.text);
  }
  return text;
}

// Windows.

WindowSystem::Window* WindowSystem::Find(HWND handle) {
  const auto found = std::find_if(mWindows.begin(), mWindows.end(),
                                  [handle](const auto& each) { return each->handle == handle; });
  return found == mWindows.end() ? nullptr : found->get();
}
const WindowSystem::Window* WindowSystem::Find(HWND handle) const {
  return const_cast<WindowSystem*>(this)->Find(handle);
}

bool WindowSystem::Register(const WNDCLASSW& windowClass) {
  const std::lock_guard lock(mLock);
  return mClasses
      .try_emplace(windowClass.lpszClassName,
                   WindowClass{windowClass.lpfnWndProc, windowClass.hbrBackground})
      .second;
}

bool WindowSystem::Unregister(const std::wstring& name) {
  const std::lock_guard lock(mLock);
  const auto found = mClasses.find(name);
  if (found == mClasses.end()) return false;
  for (const auto& window : mWindows) {
    if (window->className == name) return false;
  }
  // The class owned its brush.
  mGdi.Delete(found->second.brush);
  mClasses.erase(found);
  return true;
}

// Under the lock.
HWND WindowSystem::GiveHandle(Window& window) {
  constexpr std::uintptr_t kHandleStep = 4;
  window.handle = reinterpret_cast<HWND>(mNextHandle);
  window.scene.number = ++mWindowsMade;
  mNextHandle += kHandleStep;
  return window.handle;
}

HWND WindowSystem::Create(const std::wstring& className, const std::wstring& title, Area area) {
  if (!mKnobs[kWindows].Bool()) return nullptr;
  HWND handle = nullptr;
  {
    const std::lock_guard lock(mLock);
    const auto found = mClasses.find(className);
    if (found == mClasses.end()) return nullptr;
    auto window = std::make_unique<Window>();
    handle = GiveHandle(*window);
    window->className = className;
    window->thread = std::this_thread::get_id();
    window->procedure = found->second.procedure;
    window->visible = true;
    window->needsPaint = true;
    window->scene.background = mGdi.ColourOf(found->second.brush).value_or(kWhite);
    window->scene.red = window->scene.background != kWhite;
    window->scene.area = area;
    window->scene.title = title;
    mWindows.push_back(std::move(window));
  }
  Changed();
  return handle;
}

// Under the lock.
void WindowSystem::Remove(HWND handle) {
  const auto found = std::find_if(mWindows.begin(), mWindows.end(),
                                  [handle](const auto& each) { return each->handle == handle; });
  if (found == mWindows.end()) return;
  const std::unique_ptr<Window> window = std::move(*found);
  const auto below = mWindows.erase(found);
  mQueues[window->thread].ForgetWindow(handle);
  // What it covered of the window beneath has to be painted anew: with that window's background.
  if (window->visible && below != mWindows.begin()) {
    Window& uncovered = **std::prev(below);
    Erase(uncovered, window->scene.area);
    uncovered.needsPaint = true;
  }
}

bool WindowSystem::Destroy(HWND handle) {
  WNDPROC procedure = nullptr;
  {
    const std::lock_guard lock(mLock);
    const Window* const window = Find(handle);
    if (window == nullptr || window->thread != std::this_thread::get_id()) return false;
    procedure = window->procedure;
  }
  if (procedure != nullptr) procedure(handle, WM_DESTROY, 0, 0);
  {
    const std::lock_guard lock(mLock);
    // Its dialogs go with it.
    std::vector<HWND> dialogs;
    for (const auto& each : mWindows) {
      if (each->parent == handle) dialogs.push_back(each->handle);
    }
    for (const HWND dialog : dialogs) Remove(dialog);
    Remove(handle);
  }
  Changed();
  return true;
}

bool WindowSystem::Show(HWND handle) {
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(handle);
    if (window == nullptr) return false;
    window->visible = true;
  }
  Changed();
  return true;
}

bool WindowSystem::Move(HWND handle, std::optional<POINT> to, std::optional<POINT> size) {
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(handle);
    if (window == nullptr) return false;
    if (to) window->scene.area.x = to->x;
    if (to) window->scene.area.y = to->y;
    if (size) window->scene.area.width = size->x;
    if (size) window->scene.area.height = size->y;
  }
  Changed();
  return true;
}

bool WindowSystem::Rectangle(HWND handle, RECT& rectangle) const {
  const std::lock_guard lock(mLock);
  const Window* const window = Find(handle);
  if (window == nullptr) return false;
  const Area& area = window->scene.area;
  rectangle = {area.x, area.y, area.x + area.width, area.y + area.height};
  return true;
}

bool WindowSystem::ClientRectangle(HWND handle, RECT& rectangle) const {
  const std::lock_guard lock(mLock);
  const Window* const window = Find(handle);
  if (window == nullptr) return false;
  const Area client = window->scene.Client();
  rectangle = {0, 0, client.width, client.height};
  return true;
}

HWND WindowSystem::Parent(HWND handle) const {
  const std::lock_guard lock(mLock);
  const Window* const window = Find(handle);
  return window == nullptr ? nullptr : window->parent;
}

std::optional<std::wstring> WindowSystem::Title(HWND handle) const {
  const std::lock_guard lock(mLock);
  const Window* const window = Find(handle);
  if (window == nullptr) return std::nullopt;
  return window->scene.title;
}

bool WindowSystem::Exists(HWND handle) const {
  const std::lock_guard lock(mLock);
  return Find(handle) != nullptr;
}

// Drawing.

// Under the lock. A picture that a reader of the scene still holds stays as it is.
void WindowSystem::Erase(Window& window, const Area& area) {
  if (window.scene.canvas == nullptr) return;
  const Area& own = window.scene.area;
  const Area covered = Intersection(own, area);
  if (covered.width == 0 || covered.height == 0) return;
  auto canvas = std::make_shared<Picture>(*window.scene.canvas);
  canvas->Fill({covered.x - own.x, covered.y - own.y, covered.width, covered.height},
               window.scene.background);
  window.scene.canvas = std::move(canvas);
}

void WindowSystem::Invalidate(HWND handle, bool erase) {
  const std::lock_guard lock(mLock);
  Window* const window = Find(handle);
  if (window == nullptr) return;
  window->needsPaint = true;
  if (erase) Erase(*window, window->scene.area);
}

bool WindowSystem::Validate(HWND handle) {
  const std::lock_guard lock(mLock);
  Window* const window = Find(handle);
  if (window == nullptr) return false;
  window->needsPaint = false;
  return true;
}

// Only the window's own thread draws on it: what takes its time is done without the lock.
bool WindowSystem::Draw(HWND handle, const Picture& picture, const Area& from, const Area& to) {
  SceneWindow scene;
  {
    const std::lock_guard lock(mLock);
    const Window* const window = Find(handle);
    if (window == nullptr) return false;
    scene = window->scene;
  }
  auto canvas = scene.canvas == nullptr ? std::make_shared<Picture>(
                                              scene.area.width, scene.area.height, scene.background)
                                        : std::make_shared<Picture>(*scene.canvas);
  canvas->Stretch(picture, from, to);
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(handle);
    if (window == nullptr) return false;
    window->scene.canvas = std::move(canvas);
    ++window->scene.drawn;
  }
  Changed();
  return true;
}

std::size_t WindowSystem::Windows() const {
  const std::lock_guard lock(mLock);
  return mWindows.size();
}

}  // namespace desk
