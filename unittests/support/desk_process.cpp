#include "support/desk_process.h"

#include <csignal>

namespace test {

DeskProcess::DeskProcess(std::map<std::string, std::string> environment)
    : mEnvironment(std::move(environment)) {
  mEnvironment.emplace("DIAGOR_VARIANT", "KY");
  mEnvironment.emplace("DIAGOR_CLOCK", "virtual");
  mEnvironment.emplace("DIAGOR_ROOT", mFolder.Path() / "root");
  StartAgain();
}

void DeskProcess::Kill() {
  mProcess->Signal(SIGKILL);
  mProcess->Wait();
}

void DeskProcess::StartAgain(const std::map<std::string, std::string>& more) {
  auto environment = more;
  environment.insert(mEnvironment.begin(), mEnvironment.end());
  mProcess.reset();
  mProcess = std::make_unique<Process>(
      "diagor", std::vector<std::string>{"-p", std::to_string(mPort)}, environment);
  mPort = PortOf(mProcess->ErrorsUntil("\n"));
}

std::string DeskProcess::Get(const std::string& path) const {
  return client::CameraClient(mPort).Get(path)["value"].get<std::string>();
}

}  // namespace test
