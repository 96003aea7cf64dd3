// Dialogs as the resource compiler writes them: the standard binary template.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace desk {

struct DialogItem {
  enum class Kind { Button, Static, Other };
  Kind kind = Kind::Other;
  std::uint32_t style = 0;
  int x = 0;  // dialog units, in the dialog's client area
  int y = 0;
  int width = 0;
  int height = 0;
  int id = 0;
  std::wstring text;
};

struct DialogTemplate {
  int number = 0;  // of the resource, where it is known
  std::uint32_t style = 0;
  int x = 0;
  int y = 0;
  int width = 0;  // dialog units, of the client area
  int height = 0;
  std::wstring title;
  int pointSize = 8;
  std::wstring fontName = L"System";
  std::vector<DialogItem> items;
};

// None for a template that is malformed, ends too soon, or is of the extended kind.
std::optional<DialogTemplate> ReadDialogTemplate(std::span<const std::uint8_t> bytes);

}  // namespace desk
