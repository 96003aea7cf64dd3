#include "camera/storage_setup.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <optional>
#include <string_view>
#include <system_error>

#include "camera/variant.h"
#include "common_dll.h"
#include "coredll/storage.h"
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

constexpr mode_t kOthersMayWrite = S_IWGRP | S_IWOTH;

// Nobody but this user can put anything there, or something else in its place.
bool IsOurs(const struct stat& folder) {
  return S_ISDIR(folder.st_mode) && folder.st_uid == geteuid() &&
         (folder.st_mode & kOthersMayWrite) == 0;
}

fs::path DefaultRoot(const std::string& variant) {
  const std::string name = fs::path(variant).stem().string();
  const char* const session = std::getenv("XDG_RUNTIME_DIR");  // NOLINT(concurrency-mt-unsafe)
  struct stat folder = {};
  if (session != nullptr && *session == '/' && lstat(session, &folder) == 0 && IsOurs(folder)) {
    return fs::path(session) / ("diagor-" + name);
  }
  return fs::temp_directory_path() / ("diagor-" + std::to_string(geteuid()) + "-" + name);
}

std::string MakeRoot(const fs::path& root, bool mustBeOurs) {
  std::error_code error;
  if (mustBeOurs) {
    if (mkdir(root.c_str(), S_IRWXU) == 0 || errno == EEXIST) return {};
    return "cannot make " + root.string() + ": " + Reason(errno);
  }
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

// As the standard's own copying and streams do, but they do not say why they failed.
std::string MakeFile(const fs::path& path, std::string_view contents) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return "cannot make " + path.string() + ": " + Reason(errno);
  std::string problem;
  while (!contents.empty() && problem.empty()) {
    const ssize_t written = write(file, contents.data(), contents.size());
    if (written < 0) {
      problem = "cannot fill " + path.string() + ": " + Reason(errno);
    } else {
      contents.remove_prefix(static_cast<std::size_t>(written));
    }
  }
  close(file);
  return problem;
}

std::string CopyImages(const fs::path& root, const std::string& folder) {
  std::string problem = MakeFolder(root, folder);
  if (!problem.empty()) return problem;
  const fs::path target = root / fs::path(folder).relative_path();
  std::error_code error;
  for (fs::directory_iterator image(DESK_IMAGES_FOLDER, error), end;
       !error && problem.empty() && image != end; image.increment(error)) {
    std::ifstream file(image->path(), std::ios::binary);
    const std::string contents((std::istreambuf_iterator<char>(file)), {});
    problem = file ? MakeFile(target / image->path().filename(), contents)
                   : "cannot read " + image->path().string();
  }
  if (error) return "cannot read " DESK_IMAGES_FOLDER ": " + error.message();
  return problem;
}

std::string Fill(const fs::path& root, const Variant& variant) {
  std::string problem = MakeFile(root / kFilling, "");
  for (const std::string& folder : variant.folders) {
    if (problem.empty()) problem = MakeFolder(root, folder);
  }
  if (problem.empty() && !variant.images.empty()) problem = CopyImages(root, variant.images);
  for (const std::string& file : variant.files) {
    if (problem.empty()) problem = MakeFolder(root, fs::path(file).parent_path().string());
    if (problem.empty()) problem = MakeFile(root / fs::path(file).relative_path(), "");
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
  // A pipe would keep its writer waiting for a reader.
  std::error_code error;
  if (fs::exists(*path, error) && !fs::is_regular_file(*path, error)) {
    return path->string() + " is no ordinary file";
  }
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

StorageSetup::StorageSetup(const fs::path& wanted, const std::string& variant)
    : mMustBeOurs(wanted.empty()), mRoot(wanted.empty() ? DefaultRoot(variant) : wanted) {}

StorageSetup::~StorageSetup() {
  if (mFolder >= 0) close(mFolder);
}

std::string StorageSetup::Open() {
  std::string problem = MakeRoot(mRoot, mMustBeOurs);
  if (!problem.empty()) return problem;
  const int noLink = mMustBeOurs ? O_NOFOLLOW : 0;
  mFolder = open(mRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | noLink);
  const int reason = errno;
  struct stat folder = {};
  const bool isTaken = mFolder >= 0 && fstat(mFolder, &folder) == 0;
  if (mMustBeOurs && !(isTaken && IsOurs(folder))) {
    return mRoot.string() +
           " is a link, or of another user, or others may write into it (another folder: "
           "DIAGOR_ROOT)";
  }
  return isTaken ? "" : "cannot read " + mRoot.string() + ": " + Reason(reason);
}

std::string StorageSetup::Take(const Variant& variant) {
  std::error_code error;
  if (fs::exists(mRoot, error) && !fs::is_directory(mRoot, error)) {
    return mRoot.string() + " is no folder";
  }
  const fs::path made = FirstMissing(fs::absolute(mRoot, error));
  std::string problem = Open();
  if (problem.empty() && flock(mFolder, LOCK_EX | LOCK_NB) != 0) {
    return mRoot.string() + " is in use by another camera (another one: DIAGOR_ROOT)";
  }
  if (problem.empty() && fs::exists(mRoot / kFilling, error)) Empty(mRoot);
  const bool isNew = problem.empty() && fs::is_empty(mRoot, error);
  if (problem.empty() && isNew) problem = Fill(mRoot, variant);
  if (problem.empty()) problem = CheckRecordFiles(mRoot);
  if (problem.empty()) {
    fs::remove(mRoot / kFilling, error);
    return problem;
  }
  // Nothing half made: the next start finds it as this one did.
  if (isNew) Empty(mRoot);
  if (!made.empty()) fs::remove_all(made, error);
  return problem;
}

}  // namespace desk
