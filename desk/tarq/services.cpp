// System log and version entries.
#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>

#include "common_dll.h"
#include "coredll/machine.h"
#include "coredll/text.h"
#include "tarq/node_access.h"
#include "tarq/system_log.h"

namespace TARQ {

namespace {

std::string TimeStamp() {
  int now[6] = {};
  getloctime(unixtime(), now);
  CText text;
  text.Format("%04d-%02d-%02d %02d:%02d:%02d", now[0], now[1], now[2], now[3], now[4], now[5]);
  return text.AsChar();
}

// In one write on an append-mode file: records of several threads do not mix.
bool AppendLine(const std::string& line) {
  const auto path = desk::TheMachine().storage.Resolve(desk::kSystemLogPath);
  if (!path) return false;
  const int file = open(path->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (file < 0) return false;
  const std::string text = line + "\n";
  const bool written = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  close(file);
  return written;
}

}  // namespace

DWORD CSyslogIntf::XMLLog(const char* name, DWORD priority, const char* type, const char* text,
                          const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string attributes = desk::FormattedText(format, arguments);
  va_end(arguments);

  std::string line = TimeStamp() + " <" + name + " priority=\"" + std::to_string(priority) +
                     "\" type=\"" + type + "\" " + attributes;
  if (text == nullptr) {
    line += "/>";
  } else {
    line.append(">").append(text).append("</").append(name).append(">");
  }
  // One record, one line, whatever stands in a message.
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  if (!AppendLine(line)) return kStatusFailed;
  desk::RecordWritten(line);
  return 0;
}

DWORD CVersionSupport::Init() {
  CResource* version = nullptr;
  CResourceTree* const tree = CSupervisor::mpGlobalResourceTree;
  if (tree == nullptr || tree->OpenResource("version", version, nullptr) != 0) {
    return kStatusNotFound;
  }
  return version->Close();
}

DWORD CVersionSupport::CreateVersionEntrySW(const CResourcePath& path, const SWrevstruct& version) {
  CServerResource& entry =
      NodeAccess::MakeBranch(NodeAccess::Root(*CSupervisor::mpGlobalResourceTree),
                             "version." + path.AsString() + "." + version.name);
  CText number;
  number.Format("%u.%u.%u.%u", version.major, version.minor, version.revision, version.build);
  const auto add = [&entry](const char* name, const char* text) {
    entry.AddChild(new CServerResource(name, CResourceValue(text), kPlainNode), nullptr);
  };
  add("number", number.AsChar());
  add("date", version.date);
  add("timeStamp", version.timeStamp);
  add("identification", version.identification);
  return 0;
}

}  // namespace TARQ
