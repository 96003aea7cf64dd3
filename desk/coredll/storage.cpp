#include "coredll/storage.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace desk {

namespace fs = std::filesystem;

namespace {

bool SameName(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
    return std::tolower(x) == std::tolower(y);
  });
}

// The names between the separators; ".." never climbs above the root.
std::vector<std::string> SplitPath(std::string_view path) {
  std::vector<std::string> parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find_first_of("/\\"), path.size());
    const std::string_view part = path.substr(0, end);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.emplace_back(part);
    }
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

struct Entry {
  fs::path path;
  fs::file_status status;  // of a link itself
};

// The entry as it is spelled in the folder; of several the first in byte order.
std::optional<Entry> FindEntry(const fs::path& folder, const std::string& name) {
  std::error_code error;
  Entry exact = {folder / name, {}};
  exact.status = fs::symlink_status(exact.path, error);
  if (fs::exists(exact.status)) return exact;
  std::optional<fs::path> found;
  for (auto entry = fs::directory_iterator(folder, error);
       !error && entry != fs::directory_iterator(); entry.increment(error)) {
    if (SameName(entry->path().filename().string(), name) && (!found || entry->path() < *found)) {
      found = entry->path();
    }
  }
  if (!found) return std::nullopt;
  return Entry{*found, fs::symlink_status(*found, error)};
}

}  // namespace

std::optional<fs::path> Storage::Resolve(std::string_view cameraPath) const {
  if (cameraPath.find('\0') != std::string_view::npos) return std::nullopt;
  const std::vector<std::string> parts = SplitPath(cameraPath);
  if (!parts.empty() && IsLost(parts.back())) return std::nullopt;
  fs::path path = mRoot;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    std::optional<Entry> entry = FindEntry(path, parts[i]);
    if (!entry) {
      return i + 1 == parts.size() ? std::optional(path / parts[i]) : std::nullopt;
    }
    // The camera's file system has no links: one that somebody put here leads out of it.
    if (fs::is_symlink(entry->status)) return std::nullopt;
    path = std::move(entry->path);
  }
  return path;
}

}  // namespace desk
