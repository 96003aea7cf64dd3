// log: the camera's log file and its system log.
#include <iostream>

#include "client/log_lines.h"
#include "diagorctl/command.h"
#include "diagorctl/output.h"

namespace diagorctl {

int Log(client::CameraClient& camera, const Options& options) {
  const auto lines = client::LogLines(
      camera.File(options.systemLog ? "FlashFS/log/syslog.txt" : "FlashFS/tmp/bitlog.txt"));
  static constexpr const char* kKinds[] = {"header", "record", "fragment"};
  client::Json list = client::Json::array();
  for (const client::LogLine& line : lines) {
    const char* const kind = kKinds[static_cast<std::size_t>(line.kind)];
    if (options.json) {
      list.push_back({{"kind", kind}, {"text", line.text}});
    } else {
      std::cout << (line.kind == client::LogLine::Kind::Fragment ? "[fragment] " : "") << line.text
                << "\n";
    }
  }
  if (options.json) PrintJson(list);
  return kNothingFailed;
}

}  // namespace diagorctl
