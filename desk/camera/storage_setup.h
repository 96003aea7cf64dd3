// The folder that stands for the camera's storage: taken for one process at a time, and filled as a
// new camera's when it is missing or empty.
#pragma once

#include <filesystem>
#include <string>

namespace desk {

struct Variant;

class StorageSetup {
 public:
  // wanted: the folder; empty: the variant's own, in the user's folder of the session, else in the
  // one for temporary files, which all users share. There another user's folder, a link, and a
  // folder into which others may write are refused.
  StorageSetup(const std::filesystem::path& wanted, const std::string& variant);
  ~StorageSetup();
  StorageSetup(const StorageSetup&) = delete;
  StorageSetup& operator=(const StorageSetup&) = delete;

  const std::filesystem::path& Root() const { return mRoot; }
  // Takes the folder until this object's end. An error's text, and nothing of it made; or empty.
  std::string Take(const Variant& variant);

 private:
  // Makes the folder where it is missing, and opens it.
  std::string Open();

  const bool mMustBeOurs;
  const std::filesystem::path mRoot;
  int mFolder = -1;  // open and locked
};

}  // namespace desk
