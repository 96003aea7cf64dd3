#include "coredll/resources.h"

#include <windows.h>

#include "coredll/byte_reader.h"

// The program's resources, linked in where there is a program.
extern "C" {
extern const std::uint8_t gModuleResourcesBegin __attribute__((weak));
extern const std::uint8_t gModuleResourcesEnd __attribute__((weak));
}

namespace desk {

namespace {

// A type or name: a number, or a text (which nobody here asks for).
std::optional<std::uint16_t> ReadIdentifier(ByteReader& reader) {
  constexpr std::uint16_t kNumberFollows = 0xFFFF;
  std::uint16_t unit = reader.Word();
  if (unit == kNumberFollows) return reader.Word();
  while (unit != 0 && reader.Ok()) unit = reader.Word();
  return std::nullopt;
}

struct Resource {
  std::optional<std::uint16_t> type;
  std::optional<std::uint16_t> name;
  std::span<const std::uint8_t> data;
};

// The next one, from a position that moves on; none at the end or where the file is damaged.
std::optional<Resource> ReadNext(std::span<const std::uint8_t> file, std::size_t& position) {
  ByteReader reader(file.subspan(position));
  const std::uint32_t dataSize = reader.Dword();
  const std::uint32_t headerSize = reader.Dword();
  Resource resource;
  resource.type = ReadIdentifier(reader);
  resource.name = ReadIdentifier(reader);
  const std::size_t rest = file.size() - position;
  const bool fits = reader.Ok() && headerSize >= reader.Position() && headerSize <= rest &&
                    dataSize <= rest - headerSize;
  if (!fits) return std::nullopt;
  resource.data = file.subspan(position + headerSize, dataSize);
  const std::size_t next = position + headerSize + dataSize;
  position = std::min((next + 3) / 4 * 4, file.size());
  return resource;
}

}  // namespace

std::optional<std::span<const std::uint8_t>> ModuleResources::Find(std::uint16_t type,
                                                                   std::uint16_t name) const {
  std::size_t position = 0;
  while (position < mFile.size()) {
    const std::optional<Resource> resource = ReadNext(mFile, position);
    if (!resource) break;
    if (resource->type == type && resource->name == name) return resource->data;
  }
  return std::nullopt;
}

std::optional<ModuleResources::Entry> ModuleResources::StartingAt(const void* data) const {
  std::size_t position = 0;
  while (position < mFile.size()) {
    const std::optional<Resource> resource = ReadNext(mFile, position);
    if (!resource) break;
    if (!resource->data.empty() && resource->data.data() == data) {
      return Entry{resource->name.value_or(0), resource->data};
    }
  }
  return std::nullopt;
}

ModuleResources TheModuleResources() {
  const std::uint8_t* const begin = &gModuleResourcesBegin;
  const std::uint8_t* const end = &gModuleResourcesEnd;
  if (begin == nullptr || end == nullptr) return ModuleResources({});
  return ModuleResources({begin, end});
}

}  // namespace desk

HRSRC WINAPI FindResourceW(HINSTANCE /*module*/, LPCWSTR name, LPCWSTR type) {
  const auto nameNumber = reinterpret_cast<std::uintptr_t>(name);
  const auto typeNumber = reinterpret_cast<std::uintptr_t>(type);
  // Named resources are texts' addresses; this system has none.
  if (nameNumber > 0xFFFF || typeNumber > 0xFFFF) return nullptr;
  const auto data = desk::TheModuleResources().Find(static_cast<std::uint16_t>(typeNumber),
                                                    static_cast<std::uint16_t>(nameNumber));
  if (!data || data->empty()) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
  }
  return reinterpret_cast<HRSRC>(const_cast<std::uint8_t*>(data->data()));
}

HGLOBAL WINAPI LoadResource(HINSTANCE /*module*/, HRSRC resource) {
  return resource;
}
