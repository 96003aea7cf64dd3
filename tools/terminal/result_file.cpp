#include "terminal/result_file.h"

#include <unistd.h>

#include <filesystem>

namespace terminal {

ResultFile::ResultFile(const std::string& path) {
  if (path.empty()) return;
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw UsageError("cannot write " + path + ": it is no ordinary file");
  }
  mPath = std::filesystem::weakly_canonical(path, error).string();  // a link's file, not the link
  mDraft = mPath + "." + std::to_string(getpid()) + ".part";
  mStream.open(mDraft, std::ios::binary);
  if (!mStream) throw UsageError("cannot write " + mDraft);
}

ResultFile::~ResultFile() {
  std::error_code ignored;
  if (!mDraft.empty()) std::filesystem::remove(mDraft, ignored);
}

std::string ResultFile::Finish() {
  if (mPath.empty()) return {};
  mStream.close();
  std::error_code error;
  if (mStream) std::filesystem::rename(mDraft, mPath, error);
  if (!mStream || error) return "cannot write " + mPath;
  mDraft.clear();
  return {};
}

}  // namespace terminal
