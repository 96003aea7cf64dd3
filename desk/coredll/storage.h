// The camera's storage: a folder of this machine stands for its root.
#pragma once

#include <filesystem>
#include <functional>
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

  // Whether a file of that name is lost: neither found nor opened. Asked on any thread.
  void OnLook(std::function<bool(const std::string& name)> isLost) { mIsLost = std::move(isLost); }
  bool IsLost(const std::string& name) const { return mIsLost && mIsLost(name); }

 private:
  std::function<bool(const std::string&)> mIsLost;
  std::filesystem::path mRoot;
};

}  // namespace desk
