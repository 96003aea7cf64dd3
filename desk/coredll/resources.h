// The module's resources, as the resource compiler wrote them (a .res file).
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace desk {

// Numbered resources of a file. Damaged entries end the reading; what came before them is there.
class ModuleResources {
 public:
  explicit ModuleResources(std::span<const std::uint8_t> file) : mFile(file) {}

  // The data of one; none when there is no such resource.
  std::optional<std::span<const std::uint8_t>> Find(std::uint16_t type, std::uint16_t name) const;
  // The number of the resource whose data starts there, with the data; none: no resource does.
  struct Entry {
    std::uint16_t name;
    std::span<const std::uint8_t> data;
  };
  std::optional<Entry> StartingAt(const void* data) const;

 private:
  std::span<const std::uint8_t> mFile;
};

// Those of this process' program; empty where there is none.
ModuleResources TheModuleResources();

}  // namespace desk
