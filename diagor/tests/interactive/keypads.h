// The keypads: what each key is called, which codes it sends, which bit stands for it. A key keeps
// its bit on every keypad that has it; some bits are shared by keys that no keypad has together.
#pragma once

#include <windows.h>

#include <span>

struct KeyRow {
  int control;       // its button in the dialog
  DWORD bit;         // of gPendingMask
  WPARAM codes[2];   // whose release marks it; 0: none
  const char* name;  // in the list of missing keys, with its separator
};

struct Keypad {
  std::span<const KeyRow> keys;
};

extern const Keypad kKeypadN;
extern const Keypad kKeypadK;
extern const Keypad kKeypadKRem;
extern const Keypad kKeypadR;
extern const Keypad kKeypadR7;
extern const Keypad kKeypadR7Bfs;
extern const Keypad kKeypadR8;
extern const Keypad kKeypadLQ;
extern const Keypad kKeypadKy;
extern const Keypad kKeypadV8;
