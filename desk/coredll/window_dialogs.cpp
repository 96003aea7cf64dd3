// Modal dialogs.
#include <algorithm>
#include <utility>

#include "coredll/window_system.h"

namespace desk {

bool WindowSystem::DialogsAreShown() const {
  return mKnobs[kDialogs].Bool();
}

// Not to be seen before its procedure has set it up.
HWND WindowSystem::MakeDialog(const DialogTemplate& dialog, HWND parent, DLGPROC procedure) {
  const DialogFont font = FontOfDialog(dialog.fontName, dialog.pointSize);
  auto window = std::make_unique<Window>();
  window->thread = std::this_thread::get_id();
  window->dialogProcedure = procedure;
  window->scene =
      SceneOfDialog(dialog, Scaled(dialog.x, font.baseX, 4), Scaled(dialog.y, font.baseY, 8));
  if ((dialog.style & DS_CENTER) != 0) {
    Area& area = window->scene.area;
    area.x = (mWidth - area.width) / 2;
    area.y = (mHeight - area.height) / 2;
  }
  const std::lock_guard lock(mLock);
  window->parent = Find(parent) == nullptr ? nullptr : parent;
  const HWND handle = GiveHandle(*window);
  mWindows.push_back(std::move(window));
  return handle;
}

// What the dialog's call gives; none while it goes on.
std::optional<INT_PTR> WindowSystem::ResultOfDialog(HWND dialog) const {
  const std::lock_guard lock(mLock);
  const Window* const window = Find(dialog);
  if (window == nullptr) return -1;  // destroyed, alone or with its parent
  return window->ended ? std::optional(window->result) : std::nullopt;
}

INT_PTR WindowSystem::RunDialog(const DialogTemplate& dialog, HWND parent, DLGPROC procedure,
                                LPARAM parameter) {
  const HWND handle = MakeDialog(dialog, parent, procedure);
  procedure(handle, WM_INITDIALOG, 0, parameter);
  Show(handle);

  std::optional<INT_PTR> result;
  while (!(result = ResultOfDialog(handle))) {
    MSG message = {};
    if (Take(message)) {
      Dispatch(message);
      continue;
    }
    // Whoever pumps next is told again that the thread is to quit.
    PostQuit(static_cast<int>(message.wParam));
    result = 1;
    break;
  }
  {
    const std::lock_guard lock(mLock);
    Remove(handle);
  }
  Changed();
  return *result;
}

// Of its timers the slowest is its time-out: the others are for what it looks at meanwhile.
std::optional<WaitingDialog> WindowSystem::DialogNow() const {
  const std::lock_guard lock(mLock);
  const Window* const dialog = TopDialog();
  if (dialog == nullptr) return std::nullopt;
  const auto queue = mQueues.find(dialog->thread);
  return WaitingDialog{dialog->scene, queue == mQueues.end()
                                          ? std::nullopt
                                          : queue->second.SlowestTimer(dialog->handle)};
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
    // What is set before anybody can see it stands there from the start.
    control->isHit = window->visible;
    if (!control->isHit) control->label = text;
  }
  Changed();
  return true;
}

}  // namespace desk
