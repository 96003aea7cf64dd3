// A file that is there whole or not at all.
#pragma once

#include <fstream>
#include <string>

#include "terminal/exit_code.h"

namespace terminal {

class ResultFile {
 public:
  // UsageError: it cannot be written. Of an empty path nothing is written.
  explicit ResultFile(const std::string& path);
  ~ResultFile();
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;

  std::ostream& Stream() { return mStream; }
  // Puts the file in its place; an error's text, or empty.
  std::string Finish();

 private:
  std::string mPath;
  std::string mDraft;  // empty: there is none
  std::ofstream mStream;
};

}  // namespace terminal
