// Tells those who watch the camera when its screen has changed: ten times a second at most, by the
// camera's clock. What changes sooner is told at the end of that time, all in one.
#pragma once

#include <thread>

namespace desk {

class Camera;

class ScreenWatch {
 public:
  explicit ScreenWatch(Camera& camera);
  ~ScreenWatch();
  ScreenWatch(const ScreenWatch&) = delete;
  ScreenWatch& operator=(const ScreenWatch&) = delete;

 private:
  void Run();

  Camera& mCamera;
  bool mStopped = false;  // changed under the clock's lock
  std::thread mThread;
};

}  // namespace desk
