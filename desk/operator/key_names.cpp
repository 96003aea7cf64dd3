#include "operator/key_names.h"

#include <strings.h>

#include <charconv>

namespace desk {

namespace {

struct NameRow {
  const char* name;
  KeyCode code;
};
constexpr NameRow kNames[] = {
    {"Return", 0x0D},  {"Enter", 0x0D},    {"Escape", 0x1B},   {"Prior", 0x21},
    {"PageUp", 0x21},  {"Next", 0x22},     {"PageDown", 0x22}, {"End", 0x23},
    {"Home", 0x24},    {"Left", 0x25},     {"Up", 0x26},       {"Right", 0x27},
    {"Down", 0x28},    {"Numpad0", 0x60},  {"Numpad1", 0x61},  {"Numpad2", 0x62},
    {"Numpad3", 0x63}, {"Numpad4", 0x64},  {"Numpad5", 0x65},  {"Numpad6", 0x66},
    {"Numpad7", 0x67}, {"Numpad8", 0x68},  {"Numpad9", 0x69},  {"Multiply", 0x6A},
    {"Add", 0x6B},     {"Subtract", 0x6D}, {"F1", 0x70},       {"F2", 0x71},
    {"F3", 0x72},      {"F4", 0x73},       {"F5", 0x74},       {"F6", 0x75},
    {"F7", 0x76},      {"F8", 0x77},       {"F9", 0x78},       {"F10", 0x79},
    {"F11", 0x7A},     {"F12", 0x7B},
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

std::optional<KeyCode> ParseKey(const std::string& text, const CameraKeypad& keypad) {
  if (const auto code = keypad.CodeOf(text)) return code;
  for (const NameRow& row : kNames) {
    if (Equal(text, row.name)) return row.code;
  }
  if (const auto code = ParseCode(text)) return code;
  // Letters and digits are their own codes.
  if (text.size() != 1) return std::nullopt;
  const char character = text[0];
  if (character >= '0' && character <= '9') return static_cast<KeyCode>(character);
  if (character >= 'A' && character <= 'Z') return static_cast<KeyCode>(character);
  if (character >= 'a' && character <= 'z')
    return KeyCode{'A'} + static_cast<KeyCode>(character - 'a');
  return std::nullopt;
}

}  // namespace desk
