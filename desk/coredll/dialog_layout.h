// A dialog as the screen shows it: its template's dialog units in pixels, its font, its controls.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "coredll/dialog_template.h"
#include "picture/picture.h"

namespace desk {

struct Control {
  enum class Kind { Button, Text };
  Kind kind = Kind::Text;
  int id = 0;
  Area area = {};  // pixels, in the dialog's client area
  bool enabled = true;
  Centring centring;
  std::wstring label;      // when the dialog began
  std::wstring text;       // now
  bool isHit = false;      // the program has set the text since the dialog began
  bool isPressed = false;  // the pointer is down on it
  bool operator==(const Control&) const = default;
};

// How a dialog's font turns dialog units into pixels, and how its texts look.
struct DialogFont {
  TextStyle style;
  int baseX;  // pixels of four units across
  int baseY;  // of eight units down
};
DialogFont FontOfDialog(const std::wstring& name, int pointSize);
// A template's controls in pixels.
std::vector<Control> ControlsOf(const DialogTemplate& dialog, const DialogFont& font);

// Dialog units in pixels, rounded.
int Scaled(int units, int base, int unitsPerBase);

constexpr int kCaptionHeight = 26;  // pixels
constexpr int kDialogBorder = 3;

// A window as the screen shows it. Two that are equal are one window that looks the same.
struct SceneWindow {
  unsigned number = 0;  // no two windows have the same
  bool isDialog = false;
  int dialogTemplate = 0;  // a dialog's, by its number among the program's resources
  bool red = false;        // a test window's background
  Area area = {};          // pixels of the screen
  Colour background = {};
  std::shared_ptr<const Picture> canvas;  // what was drawn on it; null: nothing
  unsigned drawn = 0;                     // pictures drawn so far
  std::wstring title;
  bool hasCaption = false;
  TextStyle style = {};
  std::vector<Control> controls;
  // The controls' area.
  Area Client() const;
  bool operator==(const SceneWindow&) const = default;
};

// A dialog as it is made, with its top left corner there.
SceneWindow SceneOfDialog(const DialogTemplate& dialog, int x, int y);

}  // namespace desk
