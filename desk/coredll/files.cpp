// Files and directories of the camera's storage.
#include <fcntl.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "coredll/machine.h"
#include "coredll/text.h"
#include "trace/observation.h"

namespace {

constexpr char kRecordFile[] = "bitlog.txt";  // what it grows by is a client's records

}  // namespace

// The linker sends every fopen of this process here (--wrap): the program opens the camera's files
// by the camera's paths.
extern "C" {
FILE* __real_fopen(const char* path, const char* mode);
FILE* __wrap_fopen(const char* path, const char* mode);
FILE* __wrap_fopen64(const char* path, const char* mode);

FILE* __wrap_fopen(const char* path, const char* mode) {
  // A library may open files before there is a camera.
  if (!desk::HasMachine()) return __real_fopen(path, mode);

  const auto mapped = desk::TheMachine().storage.Resolve(path);
  if (mapped && mode[0] == 'a' && mapped->filename() == kRecordFile &&
      desk::Observation::Current() != nullptr) {
    desk::Observation::Current()->WillAppend(*mapped);
  }
  // The camera opens no directory as a file.
  std::error_code error;
  const bool opens = mapped && !std::filesystem::is_directory(*mapped, error);
  FILE* const file = opens ? __real_fopen(mapped->c_str(), mode) : nullptr;
  // A file that one thread restarts while another appends: neither writes over the other.
  if (file != nullptr && mode[0] == 'w') fcntl(fileno(file), F_SETFL, O_APPEND);
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
