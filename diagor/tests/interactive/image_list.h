// The test images in a folder of the camera's storage.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

std::wstring Widened(const char* text);

// The files of a folder that match a pattern, in the order of the file system.
class FileSearch {
 public:
  // folder: with its final slash.
  FileSearch(const char* folder, const char* pattern);
  ~FileSearch();
  FileSearch(const FileSearch&) = delete;
  FileSearch& operator=(const FileSearch&) = delete;

  bool Found() const { return mSearch != INVALID_HANDLE_VALUE; }
  bool Next();
  // The file's name alone.
  const wchar_t* Name() const { return mData.cFileName; }

 private:
  WIN32_FIND_DATAW mData = {};
  HANDLE mSearch;
};

// The names of the bitmap files, in ascending order without regard to case: of more than a hundred
// the first that the search finds.
std::vector<std::wstring> ListImages(const char* folder);
