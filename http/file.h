// A file whose contents a reply sends in pieces.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace http {

class File {
 public:
  // Null when it is no ordinary file, or cannot be read.
  static std::unique_ptr<File> Open(const std::filesystem::path& path);
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  std::uint64_t Size() const { return mSize; }  // when it was opened
  // Bytes from there on, as many as there are up to the span's size; 0: none.
  std::size_t Read(std::uint64_t from, std::span<char> bytes) const;

 private:
  File(int descriptor, std::uint64_t size) : mDescriptor(descriptor), mSize(size) {}
  int mDescriptor;
  std::uint64_t mSize;
};

}  // namespace http
