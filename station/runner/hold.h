// Having a camera to oneself, and giving it back as it was found.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "client/camera_client.h"
#include "station/config/camera_address.h"
#include "station/runner/camera_lock.h"
#include "station/runner/run_refused.h"

namespace station {

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

  // The run that is under way, before it is said to be, so that a kill shows; and after its end.
  void Name(const std::string& run) { mLocked.Name(run); }
  void NameNone() { mLocked.NameNone(); }

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
  void KeepLease();

  const CameraAddress mAddress;
  const std::string mOwner;
  const std::filesystem::path mChanges;  // the file
  CameraLock mLocked;
  const std::chrono::milliseconds mBetween;
  mutable std::mutex mLock;
  std::condition_variable mEnding;
  bool mEnds = false;
  std::atomic<bool> mIsLeased{true};  // false: the camera knows no leases
  std::string mTakenBy;
  std::thread mRenewal;
};

}  // namespace station
