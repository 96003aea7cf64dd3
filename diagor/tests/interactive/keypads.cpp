#include "tests/interactive/keypads.h"

namespace {

// Rows: control in the dialog, bit, virtual-key codes, name in the list of missing keys. The names
// stand as the technicians' sheets have them.

// N and V.
constexpr KeyRow kKeysN[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {15, 0x200, {VK_RETURN, VK_F1}, "F1, "},
    {13, 0x400, {VK_F2}, "F2, "},
    {17, 0x800, {'L', 'R'}, "Recall, "},
    {16, 0x1000, {'P'}, "Power, "},
    {18, 0x2000, {'S'}, "Store, "},
};

// K and H; the last key is on H alone.
constexpr KeyRow kKeysK[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {1007, 0x10, {VK_PRIOR}, "Prior, "},
    {1011, 0x20, {VK_NEXT}, "Next, "},
    {1009, 0x40, {VK_HOME}, "Home, "},
    {1010, 0x80, {VK_END}, "End, "},
    {15, 0x100, {VK_RETURN}, "Push, "},
    {1027, 0x200, {VK_F1, VK_F3}, "F1, "},
    {13, 0x400, {VK_F2, VK_F4}, "F2, "},
    {16, 0x1000, {'P', VK_F8}, "Power, "},
    {1016, 0x20000, {VK_ADD, VK_F11}, "Focus Far, "},
    {1017, 0x40000, {VK_SUBTRACT, VK_F9}, "Focus Near, "},
    {1012, 0x80000, {VK_MULTIPLY, VK_F10}, "Autofocus, "},
    {1013, 0x100000, {'A', VK_F5}, "Man/Auto, "},
    {1015, 0x200000, {VK_ESCAPE, 'M'}, "Gallery, "},
    {1014, 0x400000, {'F', VK_F6}, "Live/Freeze, "},
    {1032, 0x4000, {VK_F12}, "IR/Vis "},
};

// The remote control of K.
constexpr KeyRow kKeysKRem[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {15, 0x100, {VK_RETURN}, "Push, "},
    {1046, 0x800000, {VK_F6}, "Zoom, "},
    {1047, 0x100000, {VK_F7}, "Auto/Man, "},
    {1048, 0x1000000, {VK_ESCAPE}, "Escape, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {1044, 0x20000000, {VK_NUMPAD3}, "Focus Near, "},
    {1042, 0x40000000, {VK_NUMPAD1}, "Focus Far, "},
    {1043, 0x80000000, {VK_NUMPAD2}, "Autofocus, "},
    {18, 0x2000, {VK_F9}, "Store, "},
};

// R.
constexpr KeyRow kKeysR[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {15, 0x100, {VK_RETURN}, "Push, "},
    {1046, 0x800000, {VK_F6}, "Zoom, "},
    {1047, 0x100000, {VK_F7}, "Auto/Man, "},
    {1048, 0x1000000, {VK_ESCAPE}, "Escape, "},
    {1028, 0x2000000, {VK_F1}, "Measure, "},
    {1029, 0x4000000, {VK_F2}, "Info, "},
    {1030, 0x8000000, {VK_F3}, "Setup, "},
    {1015, 0x200000, {VK_F4}, "Gallery, "},
    {1032, 0x10000000, {VK_F5}, "Mode, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {1044, 0x20000000, {VK_NUMPAD3}, "Focus Near, "},
    {1042, 0x40000000, {VK_NUMPAD1}, "Focus Far, "},
    {1043, 0x80000000, {VK_NUMPAD2}, "Autofocus, "},
    {18, 0x2000, {VK_F9}, "Store, "},
};

// R7.
constexpr KeyRow kKeysR7[] = {
    {1000, 0x1, {VK_UP}, "Up, "},           {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},         {11, 0x8, {VK_RIGHT}, "Right, "},
    {1030, 0x8000000, {VK_F1}, "Setup, "},  {1047, 0x100000, {VK_RETURN}, "Auto/Man, "},
    {1015, 0x200000, {VK_F7}, "Gallery, "}, {16, 0x1000, {VK_F8}, "Power, "},
    {18, 0x2000, {VK_F6}, "Store, "},
};

// R7 when it runs from its second flash file system.
constexpr KeyRow kKeysR7Bfs[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {1030, 0x8000000, {VK_RETURN}, "Setup, "},
    {1042, 0x400, {VK_F1}, "Back, "},
    {1015, 0x200000, {VK_F7}, "Gallery, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {18, 0x2000, {VK_F6}, "Store, "},
};

// R8.
constexpr KeyRow kKeysR8[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {15, 0x100, {VK_RETURN}, "Push, "},
    {1039, 0x8000000, {VK_F1}, "Setup, "},
    {1047, 0x100000, {VK_F5}, "Auto/Man, "},
    {1043, 0x80000000, {VK_NUMPAD2}, "Autofocus, "},
    {1016, 0x200000, {VK_F7}, "Gallery, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {18, 0x2000, {VK_F6}, "Store, "},
    {1046, 0x800000, {VK_NUMPAD4}, "Zoom , "},
    {1040, 0x2000000, {VK_F9}, "Prog, "},
    {1035, 0x4000, {VK_F2}, "Camera "},
    {1042, 0x40000000, {VK_NUMPAD1}, "Focus Far, "},
    {1044, 0x20000000, {VK_NUMPAD3}, "Focus Near, "},
};

// LQ.
constexpr KeyRow kKeysLQ[] = {
    {1046, 0x800000, {VK_F1}, "Zoom, "},
    {1032, 0x10000000, {VK_F7}, "Mode, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {18, 0x2000, {VK_F6}, "Store, "},
};

// KY; model 090 has neither D/V (0x200) nor Camera (0x4000).
constexpr KeyRow kKeysKy[] = {
    {1000, 0x1, {VK_UP}, "Up, "},
    {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},
    {11, 0x8, {VK_RIGHT}, "Right, "},
    {15, 0x100, {VK_RETURN}, "Push, "},
    {1039, 0x8000000, {VK_F1}, "Setup, "},
    {1036, 0x100000, {VK_F5}, "Auto/Man, "},
    {1043, 0x80000000, {VK_NUMPAD2}, "Autofocus, "},
    {1015, 0x200000, {VK_F7}, "Gallery, "},
    {16, 0x1000, {VK_F8}, "Power, "},
    {19, 0x2000, {VK_F6}, "Store, "},
    {1037, 0x200, {VK_F3}, "VF / D, "},
    {1038, 0x400, {VK_NUMPAD4}, "Zoom N, "},
    {1049, 0x8000, {VK_NUMPAD6}, "Zoom F, "},
    {1035, 0x4000, {VK_F2}, "IR/Vis, "},
    {1040, 0x2000000, {VK_F9}, "Prog, "},
};

// V8.
constexpr KeyRow kKeysV8[] = {
    {1000, 0x1, {VK_UP}, "Up, "},          {14, 0x2, {VK_DOWN}, "Down, "},
    {12, 0x4, {VK_LEFT}, "Left, "},        {11, 0x8, {VK_RIGHT}, "Right, "},
    {1041, 0x200, {VK_F7}, "Lib, "},       {1042, 0x400, {VK_F1}, "Back, "},
    {1040, 0x800, {VK_RETURN}, "Enter, "}, {16, 0x1000, {VK_F8}, "Power, "},
    {18, 0x2000, {VK_F6}, "Store, "},
};

}  // namespace

const Keypad kKeypadN = {kKeysN};
const Keypad kKeypadK = {kKeysK};
const Keypad kKeypadKRem = {kKeysKRem};
const Keypad kKeypadR = {kKeysR};
const Keypad kKeypadR7 = {kKeysR7};
const Keypad kKeypadR7Bfs = {kKeysR7Bfs};
const Keypad kKeypadR8 = {kKeysR8};
const Keypad kKeypadLQ = {kKeysLQ};
const Keypad kKeypadKy = {kKeysKy};
const Keypad kKeypadV8 = {kKeysV8};
