// log and reset: the camera's log file and its system log, and back to the start.
#include <algorithm>
#include <iostream>

#include "client/log_lines.h"
#include "diagorctl/command.h"
#include "terminal/output.h"

namespace diagorctl {

namespace {

using Kind = client::LogLine::Kind;

constexpr char kLog[] = "FlashFS/tmp/bitlog.txt";
constexpr char kSystemLog[] = "FlashFS/log/syslog.txt";
constexpr unsigned kNotThere = 404;

std::vector<client::LogLine> Lines(client::CameraClient& camera, const char* file) {
  return client::LogLines(camera.File(file));
}

// None where there is no such file.
std::vector<client::LogLine> LinesIfAny(client::CameraClient& camera, const char* file) {
  try {
    return Lines(camera, file);
  } catch (const client::RefusedError& error) {
    if (error.status != kNotThere) throw;
    return {};
  }
}

std::string FirstRecord(const std::vector<client::LogLine>& lines) {
  const auto record = std::find_if(lines.begin(), lines.end(), [](const client::LogLine& line) {
    return line.kind != Kind::Header;
  });
  return record == lines.end() ? "" : record->text;
}

// The camera's answer is the same whether it could restart the file or not: the file tells. Others
// may have written a record since.
bool RestartLog(client::CameraClient& camera) {
  const std::string before = FirstRecord(LinesIfAny(camera, kLog));
  camera.Set("test.clearLog", true);
  const auto lines = LinesIfAny(camera, kLog);
  const bool hasHeader = !lines.empty() && lines.front().kind == Kind::Header;
  return hasHeader && (before.empty() || FirstRecord(lines) != before);
}

}  // namespace

int Log(client::CameraClient& camera, const Options& options) {
  // A healthy camera has no system log until something is written to it.
  const auto lines = options.systemLog ? LinesIfAny(camera, kSystemLog) : Lines(camera, kLog);
  static constexpr const char* kKinds[] = {"header", "record", "fragment"};
  client::Json list = client::Json::array();
  for (const client::LogLine& line : lines) {
    const char* const kind = kKinds[static_cast<std::size_t>(line.kind)];
    if (options.json) {
      list.push_back({{"kind", kind}, {"text", line.text}});
    } else {
      std::cout << (line.kind == Kind::Fragment ? "[fragment] " : "") << Shown(line.text) << "\n";
    }
  }
  if (options.json) PrintJson(list);
  return kNothingFailed;
}

int Reset(client::CameraClient& camera, const Options& options) {
  bool isDone = camera.Set("test.clearResult", true)["status"] == 0;
  if (options.resetCamera) camera.Set(".desk.restore", true);
  if (options.resetLog && !RestartLog(camera)) {
    Complain("the camera did not restart its log file");
    isDone = false;
  }
  return isDone ? kNothingFailed : kTestFailed;
}

}  // namespace diagorctl
