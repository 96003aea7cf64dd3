// The camera's storage: a folder of this machine stands for its root.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace desk {

class Storage {
 public:
  explicit Storage(std::filesystem::path root) : mRoot(std::move(root)) {}

  const std::filesystem::path& Root() const { return mRoot; }

  // Where a path of the camera ("/FlashFS/tmp\\bitlog.txt") lies: parts separated by / or \, names
  // matched without regard to case. The last part need not exist. None when a part before it does
  // not, or when the path would leave the storage.
  std::optional<std::filesystem::path> Resolve(std::string_view cameraPath) const;

 private:
  std::filesystem::path mRoot;
};

}  // namespace desk
