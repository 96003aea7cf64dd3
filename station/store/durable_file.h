// Small files that outlive a power cut.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace station {

// A file of the station cannot be made, read or written; what() names it.
class FileError : public std::runtime_error {
 public:
  FileError(const char* what, const std::filesystem::path& path, int problem);
};

enum class IfThere { Replace, Keep };

// Whole or not at all, and on disk with its name when it returns. mode: as chmod has it. Throws
// FileError.
void WriteDurably(const std::filesystem::path& path, std::string_view bytes, unsigned mode,
                  IfThere ifThere);

}  // namespace station
