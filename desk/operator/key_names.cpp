#include "operator/key_names.h"

#include <strings.h>
#include <windows.h>

#include <charconv>
#include <sstream>

namespace desk {

namespace {

// One key may have several names: its own, the one on a PC's keyboard, and the one that the desktop
// gives it.
struct NameRow {
  const char* name;
  KeyCode code;
};
constexpr NameRow kNames[] = {
    {"Backspace", VK_BACK},
    {"Tab", VK_TAB},
    {"Return", VK_RETURN},
    {"Enter", VK_RETURN},
    {"Keypad Enter", VK_RETURN},
    {"Escape", VK_ESCAPE},
    {"Space", VK_SPACE},
    {"Prior", VK_PRIOR},
    {"PageUp", VK_PRIOR},
    {"Next", VK_NEXT},
    {"PageDown", VK_NEXT},
    {"End", VK_END},
    {"Home", VK_HOME},
    {"Left", VK_LEFT},
    {"Up", VK_UP},
    {"Right", VK_RIGHT},
    {"Down", VK_DOWN},
    {"Insert", VK_INSERT},
    {"Delete", VK_DELETE},
    {"Multiply", VK_MULTIPLY},
    {"Keypad *", VK_MULTIPLY},
    {"Add", VK_ADD},
    {"Keypad +", VK_ADD},
    {"Separator", VK_SEPARATOR},
    {"Keypad ,", VK_SEPARATOR},
    {"Subtract", VK_SUBTRACT},
    {"Keypad -", VK_SUBTRACT},
    {"Decimal", VK_DECIMAL},
    {"Keypad .", VK_DECIMAL},
    {"Divide", VK_DIVIDE},
    {"Keypad /", VK_DIVIDE},
    {"Semicolon", VK_OEM_1},
    {";", VK_OEM_1},
    {"Equals", VK_OEM_PLUS},
    {"=", VK_OEM_PLUS},
    {"+", VK_OEM_PLUS},
    {"Comma", VK_OEM_COMMA},
    {",", VK_OEM_COMMA},
    {"Minus", VK_OEM_MINUS},
    {"-", VK_OEM_MINUS},
    {"Period", VK_OEM_PERIOD},
    {".", VK_OEM_PERIOD},
    {"Slash", VK_OEM_2},
    {"/", VK_OEM_2},
    {"Backquote", VK_OEM_3},
    {"`", VK_OEM_3},
    {"LeftBracket", VK_OEM_4},
    {"[", VK_OEM_4},
    {"Backslash", VK_OEM_5},
    {"\\", VK_OEM_5},
    {"RightBracket", VK_OEM_6},
    {"]", VK_OEM_6},
    {"Quote", VK_OEM_7},
    {"'", VK_OEM_7},
    {"<", VK_OEM_102},
};

// Keys that are counted: the code of the first one.
struct CountedRow {
  const char* name;
  KeyCode code;
  int first;
  int last;
};
constexpr CountedRow kCounted[] = {
    {"F", VK_F1, 1, 12},
    {"Numpad", VK_NUMPAD0, 0, 9},
    {"Keypad ", VK_NUMPAD0, 0, 9},
    {"", '0', 0, 9},
};

bool Equal(const std::string& first, const char* second) {
  return strcasecmp(first.c_str(), second) == 0;
}

std::optional<KeyCode> ParseCode(const std::string& text) {
  constexpr KeyCode kMost = 0xFF;
  if (text.size() < 3 || !(text.starts_with("0x") || text.starts_with("0X"))) return std::nullopt;
  KeyCode code = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data() + 2, end, code, 16);
  const bool fits = parsed.ec == std::errc() && parsed.ptr == end && code > 0 && code <= kMost;
  return fits ? std::optional(code) : std::nullopt;
}

}  // namespace

std::optional<KeyCode> CameraKeypad::CodeOf(const std::string& caption) const {
  for (const auto& [name, code] : keys) {
    if (Equal(name, caption.c_str())) return code;
  }
  return std::nullopt;
}

std::optional<KeyCode> CodeOfKey(const std::string& name) {
  for (const NameRow& row : kNames) {
    if (Equal(name, row.name)) return row.code;
  }
  for (const CountedRow& row : kCounted) {
    for (int number = row.first; number <= row.last; ++number) {
      if (!Equal(name, (row.name + std::to_string(number)).c_str())) continue;
      return row.code + static_cast<KeyCode>(number - row.first);
    }
  }
  // Letters are their own codes.
  if (name.size() != 1) return std::nullopt;
  const char letter = name[0];
  if (letter >= 'A' && letter <= 'Z') return static_cast<KeyCode>(letter);
  if (letter >= 'a' && letter <= 'z') return KeyCode{'A'} + static_cast<KeyCode>(letter - 'a');
  return std::nullopt;
}

std::vector<std::string> SplitNames(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream parts(list);
  for (std::string each; std::getline(parts, each, ',');) {
    const std::size_t first = each.find_first_not_of(' ');
    if (first == std::string::npos) continue;
    names.push_back(each.substr(first, each.find_last_not_of(' ') - first + 1));
  }
  return names;
}

std::optional<KeyCode> ParseKey(const std::string& text, const CameraKeypad& keypad) {
  if (const auto code = keypad.CodeOf(text)) return code;
  if (const auto code = CodeOfKey(text)) return code;
  return ParseCode(text);
}

}  // namespace desk
