// Looks who is at a camera's address and what happens there, on a thread of its own.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "client/camera_client.h"
#include "station/service/camera_state.h"
#include "station/store/store.h"

namespace station {

class CameraWatch {
 public:
  CameraWatch(CameraState& camera, Store& store);
  ~CameraWatch();
  CameraWatch(const CameraWatch&) = delete;
  CameraWatch& operator=(const CameraWatch&) = delete;

  // Ends without waiting for it; the destructor waits.
  void End();

 private:
  void Loop();
  void Meet(client::CameraClient& camera);
  bool Subscribes(client::CameraClient& camera);
  void Hear(const client::Event& event);
  void Follow(client::CameraClient& camera, bool isTold);
  void AskForScreen(client::CameraClient& camera, bool isEventMissed);
  void KnowLastRun(const std::string& serial, const std::function<void(CameraFacts&)>& change);

  CameraState& mCamera;
  Store& mStore;
  bool mOwesLastRun = false;   // it is to be read soon: the store did not answer, or a test ended
  bool mIsLastRunOld = false;  // a test of nobody's run here has ended
  std::uint64_t mScreensHeard = 0;
  bool mHasGap = false;  // events were missed
  std::atomic<bool> mEnds{false};
  std::mutex mLock;
  std::condition_variable mEnding;
  std::thread mThread;
};

// The latest run of that camera that has ended.
std::optional<RunRecord> LastRunOf(Store& store, const std::string& serial);

}  // namespace station
