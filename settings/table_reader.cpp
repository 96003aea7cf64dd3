#include "settings/table_reader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace settings {

std::string At(const std::string& file, const toml::node& node) {
  return file + ":" + std::to_string(node.source().begin.line) + ": ";
}

std::string FileText(const std::string& file) {
  std::error_code error;
  std::ifstream stream(file, std::ios::binary);
  if (!stream || std::filesystem::is_directory(file, error)) {
    throw std::runtime_error("cannot read " + file);
  }
  return {std::istreambuf_iterator<char>(stream), {}};
}

toml::table ParsedText(const std::string& text, const std::string& file) {
  try {
    return toml::parse(text, file);
  } catch (const toml::parse_error& error) {
    throw std::runtime_error(file + ":" + std::to_string(error.source().begin.line) + ": " +
                             std::string(error.description()));
  }
}

std::optional<std::int64_t> TableReader::TakeWhole(const std::string& key, std::int64_t least,
                                                   std::int64_t most) {
  const auto number = TakeIfThere<std::int64_t>(key);
  if (number && (*number < least || *number > most)) {
    throw std::runtime_error(AtKey(key) + key + " is no number from " + std::to_string(least) +
                             " to " + std::to_string(most));
  }
  return number;
}

std::vector<ListedName> TableReader::TakeNames(const std::string& key) {
  std::vector<ListedName> names;
  const toml::node* const node = TakeNode(key);
  if (node == nullptr) return names;
  const toml::array* const array = node->as_array();
  if (array == nullptr) throw std::runtime_error(At(mFile, *node) + key + " is no list");
  for (const toml::node& element : *array) {
    const auto text = element.value_exact<std::string>();
    if (!text) {
      throw std::runtime_error(At(mFile, element) + key + " lists something else than texts");
    }
    for (const ListedName& each : names) {
      if (each.name != *text) continue;
      throw std::runtime_error(At(mFile, element) + key + " lists " + *text + " twice");
    }
    names.push_back({*text, At(mFile, element)});
  }
  return names;
}

const toml::node* TableReader::TakeNode(const std::string& key) {
  mTaken.push_back(key);
  return mTable.get(key);
}

std::string TableReader::AtKey(const std::string& key) const {
  const toml::node* const node = mTable.get(key);
  return At(mFile, node == nullptr ? mTable : *node);
}

void TableReader::Finish() const {
  for (const auto& [key, node] : mTable) {
    const std::string name(key.str());
    if (std::find(mTaken.begin(), mTaken.end(), name) == mTaken.end()) {
      throw std::runtime_error(At(mFile, node) + "unknown key " + name);
    }
  }
}

}  // namespace settings
