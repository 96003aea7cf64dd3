// Having a camera to oneself, and giving it back as it was found.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "client/camera_client.h"
#include "station/config/camera_address.h"

namespace station {

// A run cannot begin or go on: what() says why, and what to do.
class RunRefused : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One run per camera: among the processes of one folder by a file that is locked, among stations by
// the camera's lease, which a thread of its own renews. What the run changes of the camera stands
// in a file of that folder until it is given back: the next run finds it after whatever ended this
// one.
class CameraHold {
 public:
  // owner: as other stations are told. renewal: from one renewal of the lease to the next.
  // RunRefused: somebody else has it, and who. client::ConnectionError.
  CameraHold(const CameraAddress& address, const std::string& owner,
             const std::filesystem::path& folder, std::chrono::milliseconds renewal);
  ~CameraHold();  // ends the lease
  CameraHold(const CameraHold&) = delete;
  CameraHold& operator=(const CameraHold&) = delete;

  // Who took the lease meanwhile, in the camera's words: a camera that was away for longer than a
  // lease lasts is free for others. Empty: nobody.
  std::string TakenBy() const;
  // Takes the lease at once, of a camera that may have been away. RunRefused: somebody else has it.
  void Renew(client::CameraClient& camera);

  // Writes those nodes below test.description, and keeps first, on disk, what stood there. serial:
  // the camera's; what another one at that address has not got back is no longer owed to it.
  void Describe(client::CameraClient& camera, const std::string& serial,
                const std::map<std::string, std::string>& texts);
  // Puts back what Describe changed, now or in a run that was ended from outside.
  // serial: the camera's; what another one is owed stays. RunRefused: somebody else has the camera
  // now, and it stays as it is.
  void GiveBack(client::CameraClient& camera, const std::string& serial);

 private:
  class LockedFile {
   public:
    LockedFile(const std::filesystem::path& path, const std::string& camera);
    ~LockedFile();
    LockedFile(const LockedFile&) = delete;
    LockedFile& operator=(const LockedFile&) = delete;

   private:
    int mFile;
  };

  void KeepLease();

  const CameraAddress mAddress;
  const std::string mOwner;
  const std::filesystem::path mChanges;  // the file
  const LockedFile mLocked;
  const std::chrono::milliseconds mBetween;
  mutable std::mutex mLock;
  std::condition_variable mEnding;
  bool mEnds = false;
  std::atomic<bool> mIsLeased{true};  // false: the camera knows no leases
  std::string mTakenBy;
  std::thread mRenewal;
};

}  // namespace station
