#include "camera/variant.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <stdexcept>

namespace desk {

namespace {

using settings::At;
using settings::TableReader;

// A path of the camera's storage, which it does not leave.
void CheckPath(const std::string& path, const std::string& where) {
  const bool leaves = path.find("..") != std::string::npos;
  if (!path.starts_with("/") || leaves) {
    throw std::runtime_error(where + ": " + path + " is no path of the camera, as /FlashFS/tmp");
  }
}

std::vector<std::string> TakePaths(TableReader& reader, const std::string& key) {
  std::vector<std::string> paths;
  for (const ListedName& listed : reader.TakeNames(key)) {
    CheckPath(listed.name, listed.at + key);
    paths.push_back(listed.name);
  }
  return paths;
}

std::string TakePath(TableReader& reader, const std::string& key) {
  const auto path = reader.TakeIfThere<std::string>(key);
  if (path) CheckPath(*path, reader.AtKey(key) + key);
  return path.value_or("");
}

// Pixels; the usual ones where the file does not say.
int TakeExtent(TableReader& reader, const std::string& key, int usual) {
  constexpr std::int64_t kLeast = 64;
  constexpr std::int64_t kMost = 4096;
  return static_cast<int>(reader.TakeWhole(key, kLeast, kMost).value_or(usual));
}

ChipEntry ReadChip(const std::string& file, const toml::node& node) {
  const toml::table* const table = node.as_table();
  if (table == nullptr) throw std::runtime_error(At(file, node) + "a chip is a table");
  TableReader reader(file, *table);
  ChipEntry chip;
  chip.at = At(file, node);
  chip.bus = reader.Take<std::string>("bus");
  const auto address = reader.Take<std::int64_t>("address");
  if (address < 0 || address > 0xFE || address % 2 != 0) {
    throw std::runtime_error(At(file, node) + "address is no even number from 0x00 to 0xFE");
  }
  chip.address = static_cast<std::uint8_t>(address);
  chip.kind = reader.Take<std::string>("kind");
  chip.serves = reader.TakeNames("serves");
  reader.Finish();
  return chip;
}

NodeStart ReadNodeStart(const std::string& file, const std::string& path, const toml::node& node) {
  if (const auto truth = node.value_exact<bool>()) return *truth;
  if (const auto whole = node.value_exact<std::int64_t>()) {
    if (*whole < std::numeric_limits<std::int32_t>::min() ||
        *whole > std::numeric_limits<std::int32_t>::max()) {
      throw std::runtime_error(At(file, node) + path + " is a number of more than 32 bits");
    }
    return *whole;
  }
  if (const auto number = node.value_exact<double>()) return *number;
  if (const auto text = node.value_exact<std::string>()) return *text;
  throw std::runtime_error(At(file, node) + "node " + path + " has a value of no known type");
}

std::vector<StartEntry> ReadStarts(const std::string& file, const std::string& key,
                                   const toml::node* node) {
  std::vector<StartEntry> starts;
  if (node == nullptr) return starts;
  const toml::table* const table = node->as_table();
  if (table == nullptr) throw std::runtime_error(At(file, *node) + key + " is no table");
  for (const auto& [path, start] : *table) {
    const std::string name(path.str());
    if (name.empty() || name.ends_with(".") || name.find("..") != std::string::npos) {
      throw std::runtime_error(At(file, start)
                                   .append(key)
                                   .append(": \"")
                                   .append(name)
                                   .append("\" is no path of a node"));
    }
    starts.push_back({name, ReadNodeStart(file, name, start), At(file, start)});
  }
  return starts;
}

KeyCode ReadCode(const std::string& file, const std::string& key, const toml::node& node) {
  constexpr std::int64_t kMost = 0xFF;
  const auto code = node.value_exact<std::int64_t>();
  if (!code || *code < 1 || *code > kMost) {
    throw std::runtime_error(At(file, node) + "key " + key + " has no code from 0x01 to 0xFF");
  }
  return static_cast<KeyCode>(*code);
}

CameraKeypad ReadKeypad(const std::string& file, const toml::node* keys,
                        const toml::node* answers) {
  CameraKeypad keypad;
  if (keys != nullptr) {
    const toml::table* const table = keys->as_table();
    if (table == nullptr) throw std::runtime_error(At(file, *keys) + "keypad is no table");
    for (const auto& [name, code] : *table) {
      keypad.keys.emplace_back(name.str(), ReadCode(file, std::string(name.str()), code));
    }
  }
  if (answers != nullptr) {
    const toml::table* const table = answers->as_table();
    if (table == nullptr) throw std::runtime_error(At(file, *answers) + "answers is no table");
    TableReader reader(file, *table);
    if (const auto* const good = reader.TakeNode("good"))
      keypad.good = ReadCode(file, "good", *good);
    if (const auto* const faulty = reader.TakeNode("faulty")) {
      keypad.faulty = ReadCode(file, "faulty", *faulty);
    }
    reader.Finish();
  }
  return keypad;
}

Variant ReadVariant(const std::string& file, const toml::table& table) {
  TableReader reader(file, table);
  Variant variant;
  variant.file = file;
  variant.name = reader.Take<std::string>("name");
  variant.bsp = reader.Take<std::string>("bsp");
  variant.displayWidth = TakeExtent(reader, "display_width", 640);
  variant.displayHeight = TakeExtent(reader, "display_height", 480);
  variant.drivers = reader.TakeNames("drivers");
  variant.peripherals = reader.TakeNames("peripherals");
  variant.folders = TakePaths(reader, "folders");
  variant.files = TakePaths(reader, "files");
  if (const toml::node* const chips = reader.TakeNode("chip")) {
    const toml::array* const list = chips->as_array();
    if (list == nullptr) throw std::runtime_error(At(file, *chips) + "chip is no list of tables");
    for (const toml::node& chip : *list) variant.chips.push_back(ReadChip(file, chip));
  }
  variant.nodes = ReadStarts(file, "nodes", reader.TakeNode("nodes"));
  variant.knobs = ReadStarts(file, "knobs", reader.TakeNode("knobs"));
  variant.keypad = ReadKeypad(file, reader.TakeNode("keypad"), reader.TakeNode("answers"));
  variant.images = TakePath(reader, "images");
  reader.Finish();
  return variant;
}

}  // namespace

const std::vector<std::string>& VariantNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> found;
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(DESK_VARIANTS_FOLDER, error)) {
      if (file.path().extension() == ".toml") found.push_back(file.path().stem().string());
    }
    std::sort(found.begin(), found.end());
    return found;
  }();
  return names;
}

Variant LoadVariant(const std::string& name) {
  std::string file = name;
  if (name.find('/') == std::string::npos) {
    const auto& names = VariantNames();
    if (std::find(names.begin(), names.end(), name) == names.end()) {
      std::string known;
      for (const std::string& each : names) known += " " + each;
      throw std::runtime_error("there is no variant " + name + "; there are" + known);
    }
    file = std::string(DESK_VARIANTS_FOLDER) + "/" + name + ".toml";
  }
  if (std::error_code error; !std::filesystem::is_regular_file(file, error)) {
    throw std::runtime_error("there is no variant file " + file);
  }
  return ReadVariant(file, settings::ParsedText(settings::FileText(file), file));
}

std::string PartOf(const std::vector<ListedName>& serves) {
  static constexpr std::pair<std::string_view, std::string_view> kParts[] = {
      {"eeprom", "main board"},
      {"eeprom.main", "main board"},
      {"eeprom.fpa", "detector"},
      {"eeprom.batt", "battery"},
      {"eeprom.vcam", "visual camera"},
      {"battery", "battery"},
      {"battery.battery", "battery"},
      {"clock", "main board"},
      {"clock.clock", "main board"},
      {"tempsens", "main board"},
      {"tempsens.TSBoard", "main board"},
      {"tempsens.TSShutter", "shutter"},
      {"tempsens.TSLens", "lens"},
      {"tempsens.TSVcam", "visual camera"},
      {"tempsens.TSFront", "sensor board"},
  };
  constexpr std::string_view kMemories = "eeprom.";
  if (serves.empty()) return "main board";
  const std::string& first = serves.front().name;
  const bool isMemory = first.starts_with(kMemories);
  if (serves.size() > 1 && !isMemory) return "sensor board";
  for (const auto& [item, part] : kParts) {
    if (item == first) return std::string(part);
  }
  if (!isMemory) return "main board";
  std::string board = first.substr(kMemories.size());
  std::transform(board.begin(), board.end(), board.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return board + " board";
}

}  // namespace desk
