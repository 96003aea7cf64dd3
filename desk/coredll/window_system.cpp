#include "coredll/window_system.h"

#include <algorithm>
#include <utility>

#include "coredll/text.h"

namespace desk {

namespace {

enum Row : std::size_t { kWindows, kDialogs, kTitle, kText };
constexpr KnobRow kRows[] = {
    {"windows", KnobKind::Bool, "", "true", 0, 0, "False: creating a window fails."},
    {"dialogs", KnobKind::Bool, "", "true", 0, 0, "False: showing a dialog fails."},
    {"title", KnobKind::ReadOnly, "", "", 0, 0, "The title of what is on the screen."},
    {"text", KnobKind::ReadOnly, "", "", 0, 0, "Its captions, one a line."},
};

constexpr std::uintptr_t kHandleStep = 4;
constexpr std::uintptr_t kStockWhite = 0xFFF0;  // below all handles that are made
constexpr Colour kWhite = {255, 255, 255};
constexpr Colour kDialogFace = {212, 208, 200};

HGDIOBJ StockWhite() {
  return reinterpret_cast<HGDIOBJ>(kStockWhite);
}

int Scaled(int units, int base, int unitsPerBase) {
  return (units * base + unitsPerBase / 2) / unitsPerBase;
}

}  // namespace

std::span<const KnobRow> WindowSystem::KnobRows() {
  return kRows;
}

DialogFont FontOfDialog(const std::wstring& name, int pointSize) {
  constexpr int kLarge = 20;  // points
  if (pointSize >= kLarge && _wcsicmp(name.c_str(), L"Arial") == 0) {
    return {{TextStyle::Face::Plain, 26}, 16, 30};
  }
  if (pointSize >= kLarge && _wcsicmp(name.c_str(), L"Courier New") == 0) {
    return {{TextStyle::Face::FixedPitch, 26}, 16, 30};
  }
  constexpr int kUsual = 8;
  return {{TextStyle::Face::Bold, pointSize > kUsual ? 16 : 13}, 8, 16};
}

std::vector<Control> ControlsOf(const DialogTemplate& dialog, const DialogFont& font) {
  constexpr std::uint32_t kCentredText = 0x3;  // of the static kinds: centre
  std::vector<Control> controls;
  for (const DialogItem& item : dialog.items) {
    if (item.kind == DialogItem::Kind::Other || (item.style & WS_VISIBLE) == 0) continue;
    Control control;
    const bool isButton = item.kind == DialogItem::Kind::Button;
    control.kind = isButton ? Control::Kind::Button : Control::Kind::Text;
    control.id = item.id;
    control.area = {Scaled(item.x, font.baseX, 4), Scaled(item.y, font.baseY, 8),
                    Scaled(item.width, font.baseX, 4), Scaled(item.height, font.baseY, 8)};
    control.enabled = (item.style & WS_DISABLED) == 0;
    control.centred = isButton || (item.style & kCentredText) == 1;
    control.text = item.text;
    controls.push_back(std::move(control));
  }
  return controls;
}

SceneWindow SceneOfDialog(const DialogTemplate& dialog, int x, int y) {
  const DialogFont font = FontOfDialog(dialog.fontName, dialog.pointSize);
  SceneWindow scene;
  scene.isDialog = true;
  scene.title = dialog.title;
  scene.background = kDialogFace;
  scene.hasCaption = (dialog.style & WS_CAPTION) == WS_CAPTION;
  scene.style = font.style;
  scene.controls = ControlsOf(dialog, font);
  scene.area = {x, y, Scaled(dialog.width, font.baseX, 4) + 2 * kDialogBorder,
                Scaled(dialog.height, font.baseY, 8) + 2 * kDialogBorder +
                    (scene.hasCaption ? kCaptionHeight : 0)};
  return scene;
}

Area SceneWindow::Client() const {
  if (!isDialog) return area;
  const int top = kDialogBorder + (hasCaption ? kCaptionHeight : 0);
  return {area.x + kDialogBorder, area.y + top, area.width - 2 * kDialogBorder,
          area.height - top - kDialogBorder};
}

WindowSystem::WindowSystem(Clock& clock, int width, int height)
    : mClock(clock), mWidth(width), mHeight(height), mKnobs(".desk.screen", kRows) {
  mBrushes[StockWhite()] = kWhite;
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
    text += ToUtf8(control.text);
  }
  return text;
}

// Input.

WindowSystem::Window* WindowSystem::TopDialog() {
  for (auto window = mWindows.rbegin(); window != mWindows.rend(); ++window) {
    if ((*window)->scene.isDialog && (*window)->visible && !(*window)->ended) return window->get();
  }
  return nullptr;
}

bool WindowSystem::ReleaseKey(WPARAM code) {
  {
    const std::lock_guard lock(mLock);
    const Window* const dialog = TopDialog();
    if (dialog == nullptr) return false;
    mQueues[dialog->thread].input.push_back({dialog->handle, WM_KEYUP, code, 0, 0, {}});
  }
  Changed();
  return true;
}

namespace {

// The enabled button at a point of the screen.
const Control* ButtonAt(const SceneWindow& dialog, int x, int y) {
  const Area client = dialog.Client();
  for (const Control& control : dialog.controls) {
    const bool takes = control.kind == Control::Kind::Button && control.enabled;
    if (takes && control.area.Contains(x - client.x, y - client.y)) return &control;
  }
  return nullptr;
}

}  // namespace

bool WindowSystem::Tap(int x, int y) {
  {
    const std::lock_guard lock(mLock);
    const Window* const dialog = TopDialog();
    const Control* const button = dialog == nullptr ? nullptr : ButtonAt(dialog->scene, x, y);
    if (button == nullptr) return false;
    Command(*dialog, *button);
  }
  Changed();
  return true;
}

// Under the lock.
void WindowSystem::Command(const Window& dialog, const Control& button) {
  mQueues[dialog.thread].input.push_back(
      {dialog.handle, WM_COMMAND, static_cast<WPARAM>(button.id), 0, 0, {}});
}

void WindowSystem::PressPointer(int x, int y) {
  const std::lock_guard lock(mLock);
  mPressed.reset();
  const Window* const dialog = TopDialog();
  if (dialog == nullptr) return;
  const Control* const button = ButtonAt(dialog->scene, x, y);
  if (button != nullptr) mPressed = {dialog->handle, button->id};
}

// A tap counts where it was pressed and released within the same button.
bool WindowSystem::ReleasePointer(int x, int y) {
  {
    const std::lock_guard lock(mLock);
    const auto pressed = std::exchange(mPressed, std::nullopt);
    const Window* const dialog = TopDialog();
    if (dialog == nullptr || !pressed || pressed->first != dialog->handle) return false;
    const Control* const button = ButtonAt(dialog->scene, x, y);
    if (button == nullptr || button->id != pressed->second) return false;
    Command(*dialog, *button);
  }
  Changed();
  return true;
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
  if (found->second.brush != StockWhite()) mBrushes.erase(found->second.brush);
  mClasses.erase(found);
  return true;
}

HWND WindowSystem::Create(const std::wstring& className, const std::wstring& title, Area area) {
  if (!mKnobs[kWindows].Bool()) return nullptr;
  HWND handle = nullptr;
  {
    const std::lock_guard lock(mLock);
    const auto found = mClasses.find(className);
    if (found == mClasses.end()) return nullptr;
    auto window = std::make_unique<Window>();
    window->scene.number = ++mWindowsMade;
    handle = reinterpret_cast<HWND>(mNextHandle);
    mNextHandle += kHandleStep;
    window->handle = handle;
    window->className = className;
    window->thread = std::this_thread::get_id();
    window->procedure = found->second.procedure;
    window->visible = true;
    window->needsPaint = true;
    const auto brush = mBrushes.find(found->second.brush);
    window->scene.background = brush == mBrushes.end() ? kWhite : brush->second;
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
  Queue& queue = mQueues[window->thread];
  std::erase_if(queue.timers, [handle](const Timer& timer) { return timer.window == handle; });
  std::erase_if(queue.input, [handle](const MSG& message) { return message.hwnd == handle; });
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

// Dialogs.

bool WindowSystem::DialogsAreShown() const {
  return mKnobs[kDialogs].Bool();
}

INT_PTR WindowSystem::RunDialog(const DialogTemplate& dialog, HWND parent, DLGPROC procedure,
                                LPARAM parameter) {
  constexpr std::uint32_t kCentred = 0x800;  // the system centres it
  const DialogFont font = FontOfDialog(dialog.fontName, dialog.pointSize);
  HWND handle = nullptr;
  {
    const std::lock_guard lock(mLock);
    auto window = std::make_unique<Window>();
    window->scene.number = ++mWindowsMade;
    handle = reinterpret_cast<HWND>(mNextHandle);
    mNextHandle += kHandleStep;
    window->handle = handle;
    window->parent = Find(parent) == nullptr ? nullptr : parent;
    window->thread = std::this_thread::get_id();
    window->dialogProcedure = procedure;
    const unsigned number = window->scene.number;
    window->scene =
        SceneOfDialog(dialog, Scaled(dialog.x, font.baseX, 4), Scaled(dialog.y, font.baseY, 8));
    window->scene.number = number;
    if ((dialog.style & kCentred) != 0) {
      Area& area = window->scene.area;
      area.x = (mWidth - area.width) / 2;
      area.y = (mHeight - area.height) / 2;
    }
    mWindows.push_back(std::move(window));
  }
  procedure(handle, WM_INITDIALOG, 0, parameter);
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(handle);
    if (window != nullptr) window->visible = true;
  }
  Changed();

  INT_PTR result = 0;
  for (;;) {
    {
      const std::lock_guard lock(mLock);
      const Window* const window = Find(handle);
      if (window == nullptr) break;  // destroyed by its own procedure
      if (window->ended) {
        result = window->result;
        break;
      }
    }
    MSG message = {};
    if (!Take(message)) {
      // Whoever pumps next is told again that the thread is to quit.
      PostQuit(static_cast<int>(message.wParam));
      break;
    }
    Dispatch(message);
  }
  {
    const std::lock_guard lock(mLock);
    Remove(handle);
  }
  Changed();
  return result;
}

bool WindowSystem::End(HWND dialog, INT_PTR result) {
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(dialog);
    if (window == nullptr || !window->scene.isDialog) return false;
    window->ended = true;
    window->result = result;
  }
  Changed();
  return true;
}

bool WindowSystem::SetText(HWND dialog, int id, const std::wstring& text) {
  {
    const std::lock_guard lock(mLock);
    Window* const window = Find(dialog);
    if (window == nullptr) return false;
    std::vector<Control>& controls = window->scene.controls;
    const auto control = std::find_if(controls.begin(), controls.end(),
                                      [id](const Control& each) { return each.id == id; });
    if (control == controls.end()) return false;
    control->text = text;
  }
  Changed();
  return true;
}

// Messages.

WindowSystem::Queue& WindowSystem::OwnQueue() {
  return mQueues[std::this_thread::get_id()];
}

// Under the lock: what waits already, but for timers.
bool WindowSystem::TakeWaiting(MSG& message) {
  Queue& queue = OwnQueue();
  if (!queue.input.empty()) {
    message = queue.input.front();
    queue.input.pop_front();
    return true;
  }
  if (queue.quit) {
    queue.quit = false;
    message = {nullptr, WM_QUIT, static_cast<WPARAM>(queue.exitCode), 0, 0, {}};
    return true;
  }
  for (const auto& window : mWindows) {
    if (!window->needsPaint || !window->visible || window->thread != std::this_thread::get_id()) {
      continue;
    }
    message = {window->handle, WM_PAINT, 0, 0, 0, {}};
    return true;
  }
  return false;
}

std::optional<TimePoint> WindowSystem::NearestTimer() {
  const std::lock_guard lock(mLock);
  std::optional<TimePoint> nearest;
  for (const Timer& timer : OwnQueue().timers) {
    if (!nearest || timer.due < *nearest) nearest = timer.due;
  }
  return nearest;
}

// Under the lock. Of two that are due the earlier comes first.
bool WindowSystem::TakeTimer(MSG& message, TimePoint now) {
  Timer* next = nullptr;
  for (Timer& timer : OwnQueue().timers) {
    if (timer.due <= now && (next == nullptr || timer.due < next->due)) next = &timer;
  }
  if (next == nullptr) return false;
  next->due = now + next->period;
  message = {next->window, WM_TIMER, next->id, 0, 0, {}};
  return true;
}

// Under the lock: threads come and go, and leave no queue behind.
void WindowSystem::ForgetIdleQueue() {
  const std::thread::id self = std::this_thread::get_id();
  const Queue& queue = mQueues[self];
  const bool isIdle = queue.input.empty() && queue.timers.empty() && !queue.quit;
  const bool hasWindow = std::any_of(mWindows.begin(), mWindows.end(),
                                     [self](const auto& window) { return window->thread == self; });
  if (isIdle && !hasWindow) mQueues.erase(self);
}

// False for the quit message.
bool WindowSystem::Take(MSG& message) {
  for (;;) {
    {
      const std::lock_guard lock(mLock);
      if (TakeWaiting(message)) {
        if (message.message != WM_QUIT) return true;
        ForgetIdleQueue();
        return false;
      }
    }
    const std::optional<TimePoint> nearest = NearestTimer();
    if (nearest && *nearest <= mClock.Now()) {
      // A key released in the same instant as the time-out still counts.
      mClock.Settle();
      const TimePoint now = mClock.Now();
      const std::lock_guard lock(mLock);
      if (OwnQueue().input.empty() && TakeTimer(message, now)) return true;
      continue;
    }
    const std::thread::id thread = std::this_thread::get_id();
    mClock.Wait(
        [this, thread] {
          const std::lock_guard lock(mLock);
          const Queue& queue = mQueues[thread];
          return !queue.input.empty() || queue.quit;
        },
        nearest.value_or(kNever));
  }
}

LRESULT WindowSystem::Dispatch(const MSG& message) {
  WNDPROC procedure = nullptr;
  DLGPROC dialogProcedure = nullptr;
  {
    const std::lock_guard lock(mLock);
    const Window* const window = Find(message.hwnd);
    if (window == nullptr) return 0;
    procedure = window->procedure;
    dialogProcedure = window->dialogProcedure;
  }
  if (procedure != nullptr) {
    return procedure(message.hwnd, message.message, message.wParam, message.lParam);
  }
  if (message.message == WM_PAINT) Validate(message.hwnd);
  return dialogProcedure(message.hwnd, message.message, message.wParam, message.lParam);
}

void WindowSystem::PostQuit(int exitCode) {
  const std::lock_guard lock(mLock);
  OwnQueue().quit = true;
  OwnQueue().exitCode = exitCode;
}

bool WindowSystem::HasQuit() const {
  const std::lock_guard lock(mLock);
  const auto queue = mQueues.find(std::this_thread::get_id());
  return queue != mQueues.end() && queue->second.quit;
}

bool WindowSystem::StartTimer(HWND window, std::uintptr_t id, Duration period) {
  period = std::max<Duration>(period, std::chrono::milliseconds(1));
  const TimePoint due = mClock.Now() + period;
  const std::lock_guard lock(mLock);
  if (Find(window) == nullptr) return false;
  std::vector<Timer>& timers = OwnQueue().timers;
  std::erase_if(timers, [&](const Timer& each) { return each.window == window && each.id == id; });
  timers.push_back({window, id, period, due});
  return true;
}

bool WindowSystem::StopTimer(HWND window, std::uintptr_t id) {
  const std::lock_guard lock(mLock);
  return std::erase_if(OwnQueue().timers, [&](const Timer& each) {
           return each.window == window && each.id == id;
         }) > 0;
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

HGDIOBJ WindowSystem::WhiteBrush() {
  return StockWhite();
}

HBRUSH WindowSystem::MakeBrush(Colour colour) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HBRUSH>(mNextHandle);
  mNextHandle += kHandleStep;
  mBrushes[handle] = colour;
  return handle;
}

HBITMAP WindowSystem::MakeBitmap(std::shared_ptr<Picture> picture) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HBITMAP>(mNextHandle);
  mNextHandle += kHandleStep;
  mBitmaps[handle] = std::move(picture);
  return handle;
}

std::shared_ptr<Picture> WindowSystem::BitmapOf(HGDIOBJ object) const {
  const std::lock_guard lock(mLock);
  const auto found = mBitmaps.find(object);
  return found == mBitmaps.end() ? nullptr : found->second;
}

bool WindowSystem::Delete(HGDIOBJ object) {
  const std::lock_guard lock(mLock);
  if (object == StockWhite()) return true;
  return mBitmaps.erase(object) + mBrushes.erase(object) > 0;
}

HDC WindowSystem::MakeContext(HWND window) {
  const std::lock_guard lock(mLock);
  const auto handle = reinterpret_cast<HDC>(mNextHandle);
  mNextHandle += kHandleStep;
  mContexts[handle] = {window, nullptr};
  return handle;
}

bool WindowSystem::DeleteContext(HDC context) {
  const std::lock_guard lock(mLock);
  return mContexts.erase(context) > 0;
}

HGDIOBJ WindowSystem::Select(HDC context, HGDIOBJ object) {
  const std::lock_guard lock(mLock);
  const auto found = mContexts.find(context);
  if (found == mContexts.end() || !mBitmaps.contains(object)) return nullptr;
  return std::exchange(found->second.bitmap, object);
}

std::optional<WindowSystem::Context> WindowSystem::ContextOf(HDC context) const {
  const std::lock_guard lock(mLock);
  const auto found = mContexts.find(context);
  if (found == mContexts.end()) return std::nullopt;
  return found->second;
}

std::size_t WindowSystem::Objects() const {
  const std::lock_guard lock(mLock);
  return mBitmaps.size() + mBrushes.size() - 1 + mContexts.size();
}

std::size_t WindowSystem::Windows() const {
  const std::lock_guard lock(mLock);
  return mWindows.size();
}

}  // namespace desk
