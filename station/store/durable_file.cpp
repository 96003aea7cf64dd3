#include "station/store/durable_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

namespace station {

namespace {

// The name of a new file is on disk when its folder is.
bool SyncFolder(const std::filesystem::path& folder) {
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0) return false;
  const bool isSynced = fsync(opened) == 0;
  const int problem = errno;
  close(opened);
  errno = problem;
  return isSynced;
}

bool WriteAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return fsync(file) == 0;
}

bool GiveName(const std::string& draft, const std::filesystem::path& path, IfThere ifThere) {
  if (ifThere == IfThere::Replace) return rename(draft.c_str(), path.c_str()) == 0;
  // Not every file system has such a rename, nor each of the others hard links.
  if (renameat2(AT_FDCWD, draft.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
    return true;
  const bool isUnknown = errno == EINVAL || errno == ENOSYS;
  return (isUnknown && link(draft.c_str(), path.c_str()) == 0) || errno == EEXIST;
}

}  // namespace

FileError::FileError(const char* what, const std::filesystem::path& path, int problem)
    : std::runtime_error(std::string(what) + " " + path.string() + ": " +
                         std::generic_category().message(problem)) {}

void WriteDurably(const std::filesystem::path& path, std::string_view bytes, unsigned mode,
                  IfThere ifThere) {
  const std::string draft = path.string() + "." + std::to_string(getpid()) + ".part";
  unlink(draft.c_str());  // of a process that was killed
  const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (file < 0) throw FileError("cannot write", path, errno);
  bool isWritten = WriteAll(file, bytes);
  int problem = errno;
  close(file);
  if (isWritten) {
    isWritten =
        GiveName(draft, path, ifThere) && SyncFolder(std::filesystem::absolute(path).parent_path());
    problem = errno;
  }
  unlink(draft.c_str());
  if (!isWritten) throw FileError("cannot write", path, problem);
}

}  // namespace station
