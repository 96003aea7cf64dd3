// Searches for files.
#include <fnmatch.h>
#include <windows.h>

#include <algorithm>
#include <cwchar>

#include "coredll/handles.h"
#include "coredll/machine.h"
#include "coredll/text.h"

namespace desk {

namespace {

// The names are taken when the search begins, in byte order.
class Search : public KernelObject {
 public:
  explicit Search(std::vector<std::string> names) : mNames(std::move(names)) {}
  bool Next(WIN32_FIND_DATAW& data) {
    if (mNext == mNames.size()) return false;
    const std::wstring name = ToWide(mNames[mNext++]);
    data = {};
    const std::size_t length = std::min<std::size_t>(name.size(), MAX_PATH - 1);
    wmemcpy(data.cFileName, name.data(), length);
    return true;
  }

 private:
  std::vector<std::string> mNames;
  std::size_t mNext = 0;
};

std::vector<std::string> NamesOf(const std::string& pattern) {
  std::vector<std::string> names;
  const std::size_t slash = pattern.find_last_of("/\\");
  if (slash == std::string::npos) return names;
  const auto folder = TheMachine().storage.Resolve(pattern.substr(0, slash));
  if (!folder) return names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(*folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (!entry->is_regular_file(error) || TheMachine().storage.IsLost(name)) continue;
    const bool matches =
        fnmatch(pattern.c_str() + slash + 1, name.c_str(), FNM_NOESCAPE | FNM_CASEFOLD) == 0;
    if (matches) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

}  // namespace desk

HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data) {
  auto search = std::make_shared<desk::Search>(desk::NamesOf(desk::ToUtf8(pattern)));
  if (!search->Next(*data)) {
    SetLastError(ERROR_FILE_NOT_FOUND);
    return INVALID_HANDLE_VALUE;
  }
  return desk::NewHandle(std::move(search));
}

BOOL WINAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data) {
  const auto open = std::dynamic_pointer_cast<desk::Search>(desk::ObjectOf(search));
  return open != nullptr && open->Next(*data) ? TRUE : FALSE;
}

BOOL WINAPI FindClose(HANDLE search) {
  return CloseHandle(search);
}
