// Names of keys: those of a camera's keypad, and those of the virtual-key codes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace desk {

using KeyCode = std::uintptr_t;  // virtual-key code

// A camera's keys: what stands on them, and the code that each sends.
struct CameraKeypad {
  std::vector<std::pair<std::string, KeyCode>> keys;
  KeyCode good = 0x71;    // "button2", which says that an image is good
  KeyCode faulty = 0x70;  // "button1", which says that it is faulty

  std::optional<KeyCode> CodeOf(const std::string& caption) const;
};

// By the key's name ("F1", "Up", "Return", "A", "Numpad3", "Space", "Comma", ","), whatever camera
// it is; without regard to case.
std::optional<KeyCode> CodeOfKey(const std::string& name);

// Of a list that is separated by commas.
std::vector<std::string> SplitNames(const std::string& list);

// A key's name on the keypad, one that CodeOfKey knows, or a code ("0x70").
std::optional<KeyCode> ParseKey(const std::string& text, const CameraKeypad& keypad);

}  // namespace desk
