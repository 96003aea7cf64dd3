// Tables of a settings file (TOML), read so that each mistake is named by file, line and key. Leaf:
// the desk's variants, the station's settings and its plans stand on it.
#pragma once

#include <toml++/toml.h>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace settings {

// Where a node stands: "file:line: ".
std::string At(const std::string& file, const toml::node& node);

// std::runtime_error: the file cannot be read.
std::string FileText(const std::string& file);
// std::runtime_error: it is no TOML. file: as errors name it.
toml::table ParsedText(const std::string& text, const std::string& file);

struct ListedName {
  std::string name;
  std::string at;  // where it stands: "file:line: "
};

// A reader of one table that knows which keys it was asked for: a key that nobody reads is a
// mistake in the file. All throw std::runtime_error. The file's name and the table outlive it.
class TableReader {
 public:
  TableReader(const std::string& file, const toml::table& table) : mFile(file), mTable(table) {}

  // Value: bool, std::int64_t, double, std::string; exactly that.
  template <typename Value>
  Value Take(const std::string& key) {
    const auto value = TakeIfThere<Value>(key);
    if (!value) throw std::runtime_error(At(mFile, mTable) + "the key " + key + " is missing");
    return *value;
  }
  template <typename Value>
  std::optional<Value> TakeIfThere(const std::string& key) {
    const toml::node* const node = TakeNode(key);
    if (node == nullptr) return std::nullopt;
    const auto value = node->value_exact<Value>();
    if (!value) throw std::runtime_error(At(mFile, *node) + "the key " + key + " has a wrong type");
    return *value;
  }
  std::optional<std::int64_t> TakeWhole(const std::string& key, std::int64_t least,
                                        std::int64_t most);
  // A list of texts, none twice; empty without the key.
  std::vector<ListedName> TakeNames(const std::string& key);
  // Null without the key.
  const toml::node* TakeNode(const std::string& key);
  // Where the key stands, or its table without it.
  std::string AtKey(const std::string& key) const;
  void Finish() const;

 private:
  const std::string& mFile;
  const toml::table& mTable;
  std::vector<std::string> mTaken;
};

}  // namespace settings
