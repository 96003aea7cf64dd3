// A window of this desktop that shows the camera's screen. Its keyboard is the camera's keypad, its
// mouse the operator's finger.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace desk {

class Camera;

class DesktopWindow {
 public:
  // closed: somebody closed the window. Throws std::runtime_error where there is no desktop.
  DesktopWindow(Camera& camera, std::function<void()> closed);
  ~DesktopWindow();
  DesktopWindow(const DesktopWindow&) = delete;
  DesktopWindow& operator=(const DesktopWindow&) = delete;

 private:
  void Run(const std::function<void(const std::string&)>& opened);

  Camera& mCamera;
  std::function<void()> mClosed;
  std::atomic<bool> mStopped{false};
  std::thread mThread;
};

}  // namespace desk
