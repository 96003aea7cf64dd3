// One run per camera among the processes of one folder, and which runs a kill has ended.
#pragma once

#include <filesystem>
#include <string>

#include "station/config/camera_address.h"
#include "station/store/store.h"

namespace station {

// The file of that camera in the folder; suffix: ".lock".
std::filesystem::path CameraFile(const std::filesystem::path& folder, const CameraAddress& address,
                                 const char* suffix);

// A file that is locked as long as this object lives, and no longer than its process. It names the
// run that is under way: one that is named while nobody has the lock was ended from outside.
class CameraLock {
 public:
  // RunRefused: another process has it. FileError.
  CameraLock(const std::filesystem::path& folder, const CameraAddress& address);
  ~CameraLock();
  CameraLock(const CameraLock&) = delete;
  CameraLock& operator=(const CameraLock&) = delete;

  // Before the run is said to be under way. FileError.
  void Name(const std::string& run);
  // After it has ended.
  void NameNone();

 private:
  const std::filesystem::path mPath;
  int mFile;
};

// Runs of the folder's processes that were ended by a kill or a power cut are kept as what they
// are: incomplete, since their last attempt. What the store refuses now waits for the next time.
void EndKilledRuns(Store& store, const std::filesystem::path& folder);

}  // namespace station
