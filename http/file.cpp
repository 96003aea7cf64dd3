#include "http/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace http {

// Without waiting for somebody at the other end, should it be a pipe after all.
std::unique_ptr<File> File::Open(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return nullptr;
  struct stat status = {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(descriptor);
    return nullptr;
  }
  return std::unique_ptr<File>(new File(descriptor, static_cast<std::uint64_t>(status.st_size)));
}

File::~File() {
  close(mDescriptor);
}

std::size_t File::Read(std::uint64_t from, std::span<char> bytes) const {
  std::size_t count = 0;
  while (count < bytes.size()) {
    const ssize_t read = pread(mDescriptor, bytes.data() + count, bytes.size() - count,
                               static_cast<off_t>(from + count));
    if (read <= 0) break;
    count += static_cast<std::size_t>(read);
  }
  return count;
}

}  // namespace http
