// Files and directories of the camera's storage.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <set>
#include <sstream>

#include "coredll/machine.h"
#include "coredll/text.h"
#include "trace/observation.h"

namespace {

constexpr char kRecordFile[] = "bitlog.txt";  // each line that is appended to it is a record

// Which open files are record files being appended to. A stream's address is used again: every
// opening says anew what it is.
class RecordFiles {
 public:
  void Opened(FILE* file, bool isRecordFile) {
    const std::lock_guard lock(mLock);
    if (isRecordFile) {
      mFiles.insert(file);
    } else {
      mFiles.erase(file);
    }
  }
  bool Has(FILE* file) {
    const std::lock_guard lock(mLock);
    return mFiles.contains(file);
  }

 private:
  std::mutex mLock;
  std::set<FILE*> mFiles;
};

RecordFiles& TheRecordFiles() {
  static RecordFiles files;
  return files;
}

}  // namespace

// The linker sends every fopen and fwrite of this process here (--wrap): the program opens the
// camera's files by the camera's paths, and its records are heard of as they are written.
extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode);
FILE* __wrap_fopen64(const char* path, const char* mode);
std::size_t __real_fwrite(const void* data, std::size_t size, std::size_t count, FILE* file);
std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, FILE* file);

FILE* __wrap_fopen(const char* path, const char* mode) {
  // A library may open files before there is a camera.
  if (!desk::HasMachine()) return __real_fopen(path, mode);

  const auto mapped = desk::TheMachine().storage.Resolve(path);
  // The camera opens no directory as a file.
  std::error_code error;
  const bool opens = mapped && !std::filesystem::is_directory(*mapped, error);
  FILE* const file = opens ? __real_fopen(mapped->c_str(), mode) : nullptr;
  if (file != nullptr) {
    TheRecordFiles().Opened(file, mode[0] == 'a' && mapped->filename() == kRecordFile);
  }
  if (desk::Observation::IsTraced()) {
    std::string canonical = path;
    std::replace(canonical.begin(), canonical.end(), '\\', '/');
    desk::Observation::Step("file", {{"path", canonical}, {"mode", mode}, {"ok", file != nullptr}});
  }
  return file;
}

FILE* __wrap_fopen64(const char* path, const char* mode) {
  return __wrap_fopen(path, mode);
}

// Of a record that did not find room whole, nobody is told.
std::size_t __wrap_fwrite(const void* data, std::size_t size, std::size_t count, FILE* file) {
  const bool isRecordFile = desk::HasMachine() && TheRecordFiles().Has(file);
  const std::size_t written = __real_fwrite(data, size, count, file);
  if (!isRecordFile || written != count) return written;
  std::istringstream lines(std::string(static_cast<const char*>(data), size * count));
  for (std::string line; std::getline(lines, line);) desk::RecordWritten(line);
  return written;
}
}

BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* /*security*/) {
  const auto mapped = desk::TheMachine().storage.Resolve(desk::ToUtf8(path));
  std::error_code error;
  if (!mapped) {
    SetLastError(ERROR_PATH_NOT_FOUND);
    return FALSE;
  }
  if (std::filesystem::exists(*mapped, error)) {
    SetLastError(ERROR_ALREADY_EXISTS);
    return FALSE;
  }
  if (!std::filesystem::create_directory(*mapped, error)) {
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
  }
  return TRUE;
}
