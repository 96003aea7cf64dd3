// The folder that stands for the camera's storage: taken for one process at a time, and filled as a
// new camera's when it is missing or empty.
#pragma once

#include <filesystem>
#include <string>

namespace desk {

struct Variant;

class StorageSetup {
 public:
  StorageSetup() = default;
  ~StorageSetup();
  StorageSetup(const StorageSetup&) = delete;
  StorageSetup& operator=(const StorageSetup&) = delete;

  // Takes the folder until this object's end. An error's text, and nothing of it made; or empty.
  std::string Take(const std::filesystem::path& root, const Variant& variant);

 private:
  int mFolder = -1;  // open and locked
};

}  // namespace desk
