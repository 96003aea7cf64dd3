#include "host/storage_setup.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <optional>
#include <system_error>

#include "common_dll.h"
#include "coredll/storage.h"
#include "host/variant.h"
#include "tarq/system_log.h"

namespace desk {

namespace fs = std::filesystem;

namespace {

std::string Reason(int error) {
  return std::generic_category().message(error);
}

// There while a storage is being filled: a start that finds it begins anew.
constexpr char kFilling[] = ".filling";

// The topmost folder of the path that is not there yet; empty when all are. A link that leads
// nowhere is there: it is somebody's.
fs::path FirstMissing(const fs::path& path) {
  fs::path missing;
  std::error_code error;
  for (fs::path each = path; !each.empty() && !fs::exists(fs::symlink_status(each, error));
       each = each.parent_path()) {
    missing = each;
  }
  return missing;
}

std::string MakeRoot(const fs::path& root) {
  std::error_code error;
  fs::create_directories(root, error);
  if (!error && !fs::is_directory(root, error))
    error = std::make_error_code(std::errc::not_a_directory);
  return error ? "cannot make " + root.string() + ": " + error.message() : "";
}

std::string MakeFolder(const fs::path& root, const std::string& folder) {
  std::error_code error;
  fs::create_directories(root / fs::path(folder).relative_path(), error);
  return error ? "cannot make " + folder + " in " + root.string() + ": " + error.message() : "";
}

void Empty(const fs::path& root) {
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(root, ignored)) {
    fs::remove_all(entry.path(), ignored);
  }
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
  if (!std::ofstream(root / kFilling)) return "cannot write into " + root.string();
  std::string problem;
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

// Whether records can be kept in that file: its folder is there, is no way out of the storage, and
// what may stand there already takes more.
std::string CheckRecordFile(const fs::path& root, const std::string& cameraPath) {
  std::string problem = MakeFolder(root, fs::path(cameraPath).parent_path().string());
  if (!problem.empty()) return problem;
  const std::optional<fs::path> path = Storage(root).Resolve(cameraPath);
  if (!path) return cameraPath + " leads out of " + root.string();
  const int file = open(path->c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (file >= 0) {
    close(file);
  } else if (errno != ENOENT) {
    problem = "cannot write " + path->string() + ": " + Reason(errno);
  } else if (access(path->parent_path().c_str(), W_OK) != 0) {
    problem = "cannot write into " + path->parent_path().string() + ": " + Reason(errno);
  }
  return problem;
}

std::string CheckRecordFiles(const fs::path& root) {
  const std::string problem =
      CheckRecordFile(root, std::string(getFlashTmpPath()).append("/bitlog.txt"));
  return problem.empty() ? CheckRecordFile(root, kSystemLogPath) : problem;
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
  std::string problem = MakeRoot(root);
  if (problem.empty()) {
    mFolder = open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (mFolder < 0) {
      problem = "cannot read " + root.string() + ": " + Reason(errno);
    } else if (flock(mFolder, LOCK_EX | LOCK_NB) != 0) {
      return root.string() + " is in use by another camera (another one: DIAGOR_ROOT)";
    }
  }
  if (problem.empty() && fs::exists(root / kFilling, error)) Empty(root);
  const bool isNew = problem.empty() && fs::is_empty(root, error);
  if (problem.empty() && isNew) problem = Fill(root, variant);
  if (problem.empty()) problem = CheckRecordFiles(root);
  if (problem.empty()) {
    fs::remove(root / kFilling, error);
    return problem;
  }
  // Nothing half made: the next start finds it as this one did.
  if (isNew) Empty(root);
  if (!made.empty()) fs::remove_all(made, error);
  return problem;
}

}  // namespace desk
