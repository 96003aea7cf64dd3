#include "tests/interactive/image_list.h"

#include <algorithm>

#include "app/framework.h"
#include "items/format.h"

namespace {

constexpr std::size_t kMostImages = 100;

}  // namespace

std::wstring Widened(const char* text) {
  wchar_t* const wide = ASCIIToUnicode(text);
  if (wide == nullptr) return {};
  std::wstring copy = wide;
  delete[] wide;
  return copy;
}

FileSearch::FileSearch(const char* folder, const char* pattern)
    : mSearch(
          FindFirstFileW(Widened(FormatText("%s%s", folder, pattern).c_str()).c_str(), &mData)) {}

FileSearch::~FileSearch() {
  if (Found()) FindClose(mSearch);
}

bool FileSearch::Next() {
  return FindNextFileW(mSearch, &mData) != FALSE;
}

std::vector<std::wstring> ListImages(const char* folder) {
  std::vector<std::wstring> names;
  FileSearch search(folder, "*.bmp");
  for (bool found = search.Found(); found && names.size() < kMostImages; found = search.Next()) {
    names.emplace_back(search.Name());
  }
  // Names that are equal but for case keep their order.
  std::stable_sort(names.begin(), names.end(), [](const std::wstring& a, const std::wstring& b) {
    return _wcsicmp(a.c_str(), b.c_str()) < 0;
  });
  return names;
}
