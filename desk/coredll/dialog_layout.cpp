#include "coredll/dialog_layout.h"

#include <windows.h>

#include <cwchar>
#include <utility>

namespace desk {

namespace {

constexpr Colour kDialogFace = {212, 208, 200};

}  // namespace

int Scaled(int units, int base, int unitsPerBase) {
  return (units * base + unitsPerBase / 2) / unitsPerBase;
}

DialogFont FontOfDialog(const std::wstring& name, int pointSize) {
  constexpr int kLarge = 20;  // points
  if (pointSize >= kLarge && _wcsicmp(name.c_str(), L"Arial") == 0) {
    return {{TextStyle::Face::Plain, 30}, 16, 30};
  }
  if (pointSize >= kLarge && _wcsicmp(name.c_str(), L"Courier New") == 0) {
    return {{TextStyle::Face::FixedPitch, 30}, 16, 30};
  }
  // "System" is a bitmap: whatever size is asked for, it has the one.
  return {{TextStyle::Face::Bold, 16}, 8, 16};
}

std::vector<Control> ControlsOf(const DialogTemplate& dialog, const DialogFont& font) {
  constexpr std::uint32_t kStaticKind = 0x1F;  // these bits of the style
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
    control.centring = {isButton || (item.style & kStaticKind) == SS_CENTER,
                        isButton || (item.style & SS_CENTERIMAGE) != 0};
    control.label = item.text;
    control.text = item.text;
    controls.push_back(std::move(control));
  }
  return controls;
}

SceneWindow SceneOfDialog(const DialogTemplate& dialog, int x, int y) {
  const DialogFont font = FontOfDialog(dialog.fontName, dialog.pointSize);
  SceneWindow scene;
  scene.isDialog = true;
  scene.dialogTemplate = dialog.number;
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

}  // namespace desk
