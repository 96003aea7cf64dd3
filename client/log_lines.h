// The camera's log as lines: a record that was torn, by a process that was killed or a storage that
// was full, is shown as a fragment, apart from the record that follows it on the same line.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace client {

struct LogLine {
  enum class Kind { Header, Record, Fragment };
  Kind kind = Kind::Record;
  std::string text;
  bool operator==(const LogLine&) const = default;
};

// bitlog.txt or the system log. A record is whole when it begins with its time, has all its fields
// and its line's end; what stands before the first record is the header.
std::vector<LogLine> LogLines(std::string_view log);

}  // namespace client
