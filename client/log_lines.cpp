#include "client/log_lines.h"

#include <algorithm>
#include <cctype>

namespace client {

namespace {

constexpr std::string_view kFileStart = "dd:dd:dd;dddd-dd-dd;";  // d: a digit
constexpr std::string_view kSystemStart = "dddd-dd-dd dd:dd:dd <";
constexpr std::ptrdiff_t kFileSeparators = 9;  // before the message

bool HasAt(std::string_view text, std::size_t at, std::string_view mask) {
  if (text.size() - at < mask.size()) return false;
  return std::equal(mask.begin(), mask.end(), text.begin() + static_cast<std::ptrdiff_t>(at),
                    [](char wanted, char c) {
                      return wanted == 'd' ? std::isdigit(static_cast<unsigned char>(c)) != 0
                                           : c == wanted;
                    });
}

bool StartsRecord(std::string_view text, std::size_t at) {
  return HasAt(text, at, kFileStart) || HasAt(text, at, kSystemStart);
}

// Where the next record begins, from there on; the text's end when none does.
std::size_t NextStart(std::string_view text, std::size_t from) {
  while (from < text.size() && !StartsRecord(text, from)) ++from;
  return from;
}

bool HasAllFields(std::string_view record) {
  if (HasAt(record, 0, kSystemStart)) return record.back() == '>';
  return std::count(record.begin(), record.end(), ';') >= kFileSeparators;
}

}  // namespace

std::vector<LogLine> LogLines(std::string_view log) {
  using Kind = LogLine::Kind;
  std::vector<LogLine> lines;
  bool isHeader = true;
  while (!log.empty()) {
    const std::size_t end = log.find('\n');
    const bool hasEnd = end != std::string_view::npos;
    std::string_view line = log.substr(0, end);
    log.remove_prefix(hasEnd ? end + 1 : log.size());
    // All but the last record on a line have lost their ends.
    for (std::size_t next = NextStart(line, 1); next < line.size(); next = NextStart(line, 1)) {
      lines.push_back({Kind::Fragment, std::string(line.substr(0, next))});
      line.remove_prefix(next);
      isHeader = false;
    }
    const bool isRecord = StartsRecord(line, 0);
    isHeader = isHeader && !isRecord;
    const bool isWhole = hasEnd && (isHeader || (isRecord && HasAllFields(line)));
    const Kind kind = isHeader ? Kind::Header : Kind::Record;
    lines.push_back({isWhole ? kind : Kind::Fragment, std::string(line)});
  }
  return lines;
}

}  // namespace client
