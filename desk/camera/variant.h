// One camera that the desk can be, as its file lists it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "operator/key_names.h"
#include "settings/table_reader.h"

namespace desk {

using settings::ListedName;

// The replaceable unit that a chip sits on, by the test items that ask it: the battery's chip in
// the battery, a sensor in the part whose temperature it takes, a memory on the board that it is
// named after.
std::string PartOf(const std::vector<ListedName>& serves);

struct ChipEntry {
  std::string at;
  std::string bus;  // "i2c1"
  std::uint8_t address = 0;
  std::string kind;
  std::vector<ListedName> serves;  // test items that ask it, below test.items: "eeprom.main"
};

using NodeStart = std::variant<bool, std::int64_t, double, std::string>;
struct StartEntry {
  std::string path;
  NodeStart start;
  std::string at;
};

struct Variant {
  std::string file;
  std::string name;
  std::string bsp;       // the registry's platform code
  int displayWidth = 0;  // pixels
  int displayHeight = 0;
  std::vector<ListedName> drivers;  // "i2c1"
  std::vector<ChipEntry> chips;
  std::vector<StartEntry> nodes;        // camera-wide paths
  std::vector<StartEntry> knobs;        // where it starts from another value
  std::vector<ListedName> peripherals;  // "gps", "display": whose nodes a device drives
  CameraKeypad keypad;
  std::string images;                // the storage's folder of test images; empty: none
  std::vector<std::string> folders;  // of the storage, made when it is filled
  std::vector<std::string> files;    // likewise; empty ones
};

// name: a variant's ("KY"), or the path of a file (with a '/'). Throws std::runtime_error that
// says which file, line and key are wrong.
Variant LoadVariant(const std::string& name);

// The names of all variants: of the files in their folder.
const std::vector<std::string>& VariantNames();

}  // namespace desk
