#include "host/storage_setup.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>

#include "common_dll.h"
#include "host/variant.h"

namespace desk {

namespace fs = std::filesystem;

namespace {

std::string Reason(int error) {
  return std::generic_category().message(error);
}

// The topmost folder of the path that is not there yet; empty when all are.
fs::path FirstMissing(const fs::path& path) {
  fs::path missing;
  std::error_code error;
  for (fs::path each = path; !each.empty() && !fs::exists(each, error); each = each.parent_path()) {
    missing = each;
    if (each == each.parent_path()) break;
  }
  return missing;
}

std::string MakeFolder(const fs::path& root, const std::string& folder) {
  std::error_code error;
  fs::create_directories(root / fs::path(folder).relative_path(), error);
  return error ? "cannot make " + folder + " in " + root.string() + ": " + error.message() : "";
}

std::string CopyImages(const fs::path& root, const std::string& folder) {
  std::string problem = MakeFolder(root, folder);
  if (!problem.empty()) return problem;
  const fs::path target = root / fs::path(folder).relative_path();
  std::error_code error;
  for (fs::directory_iterator image(DESK_IMAGES_FOLDER, error), end; !error && image != end;
       image.increment(error)) {
    fs::copy_file(image->path(), target / image->path().filename(), error);
    if (error) break;
  }
  return error ? "cannot fill " + folder + ": " + error.message() : "";
}

std::string Fill(const fs::path& root, const Variant& variant) {
  std::string problem = MakeFolder(root, getFlashTmpPath());
  for (const std::string& folder : variant.folders) {
    if (problem.empty()) problem = MakeFolder(root, folder);
  }
  if (problem.empty() && !variant.images.empty()) problem = CopyImages(root, variant.images);
  for (const std::string& file : variant.files) {
    if (problem.empty()) problem = MakeFolder(root, fs::path(file).parent_path().string());
    const fs::path path = root / fs::path(file).relative_path();
    if (problem.empty() && !std::ofstream(path)) problem = "cannot make " + path.string();
  }
  return problem;
}

// Left as it is, but for the folder without which no record would be kept.
std::string CheckFilled(const fs::path& root) {
  std::string problem = MakeFolder(root, getFlashTmpPath());
  const fs::path temporary = root / fs::path(getFlashTmpPath()).relative_path();
  if (problem.empty() && access(temporary.c_str(), W_OK) != 0) {
    problem = "cannot write into " + temporary.string() + ": " + Reason(errno);
  }
  return problem;
}

}  // namespace

StorageSetup::~StorageSetup() {
  if (mFolder >= 0) close(mFolder);
}

std::string StorageSetup::Take(const fs::path& root, const Variant& variant) {
  std::error_code error;
  if (fs::exists(root, error) && !fs::is_directory(root, error)) {
    return root.string() + " is no folder";
  }
  const fs::path made = FirstMissing(fs::absolute(root, error));
  std::string problem = MakeFolder(root, "");
  if (problem.empty()) {
    mFolder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0) {
      problem = "cannot read " + root.string() + ": " + Reason(errno);
    } else if (flock(mFolder, LOCK_EX | LOCK_NB) != 0) {
      return root.string() + " is in use by another camera (another one: DIAGOR_ROOT)";
    }
  }
  const bool isEmpty = problem.empty() && fs::is_empty(root, error);
  if (problem.empty() && error) problem = "cannot read " + root.string() + ": " + error.message();
  if (!problem.empty()) {
    if (!made.empty()) fs::remove_all(made, error);
    return problem;
  }
  if (!isEmpty) return CheckFilled(root);
  problem = Fill(root, variant);
  if (problem.empty()) return problem;
  // Nothing half made: the next start finds it as this one did.
  if (!made.empty()) {
    fs::remove_all(made, error);
  } else {
    for (const auto& entry : fs::directory_iterator(root, error)) fs::remove_all(entry, error);
  }
  return problem;
}

}  // namespace desk
