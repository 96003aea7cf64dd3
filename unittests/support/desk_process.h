// A desk camera as a process of its own, as stations meet it.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "client/camera_client.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {

class DeskProcess {
 public:
  // environment: over a healthy KY on the virtual clock.
  explicit DeskProcess(std::map<std::string, std::string> environment = {});
  std::uint16_t Port() const { return mPort; }
  std::string Address() const { return "127.0.0.1:" + std::to_string(mPort); }
  // SIGKILL, of a camera that runs; then the same one, at the same port, with its storage as it was
  // left. One that runs still is killed first.
  void Kill();
  // more: over its environment.
  void StartAgain(const std::map<std::string, std::string>& more = {});
  // A text node's value; a leading dot: of the camera-wide tree.
  std::string Get(const std::string& path) const;

 private:
  TemporaryFolder mFolder;
  std::map<std::string, std::string> mEnvironment;
  std::unique_ptr<Process> mProcess;
  std::uint16_t mPort = 0;
};

}  // namespace test
