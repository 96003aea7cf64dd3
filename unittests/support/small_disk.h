// A disk that is soon full.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

namespace test {

// At that folder, in a view of the file systems that ends with this process and that the processes
// it starts have too. False: only root can.
inline bool MountSmallDisk(const std::filesystem::path& folder) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("none", folder.c_str(), "tmpfs", 0, "size=2m") == 0;
}

}  // namespace test
