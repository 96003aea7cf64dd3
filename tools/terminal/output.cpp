#include "terminal/output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <sstream>

#include "client/results.h"
#include "settings/environment.h"

namespace terminal {

namespace {

std::string ShownOn(int stream, const std::string& text) {
  return isatty(stream) != 0 ? client::Printable(text) : text;
}

}  // namespace

bool IsTerminal() {
  return isatty(STDOUT_FILENO) != 0;
}

bool HasColours() {
  const std::string terminal = settings::FromEnvironment("TERM");
  const bool isAble = !terminal.empty() && terminal != "dumb";
  return IsTerminal() && isAble && settings::FromEnvironment("NO_COLOR").empty();
}

std::string Shown(const std::string& text) {
  return ShownOn(STDOUT_FILENO, text);
}

std::string ShownAsError(const std::string& text) {
  return ShownOn(STDERR_FILENO, text);
}

void Complain(const std::string& text) {
  std::cerr << std::string(program_invocation_short_name).append(": ") + ShownAsError(text) + "\n";
}

std::string ValueText(const client::Json& value) {
  if (value.is_null()) return {};
  return value.is_string() ? value.get<std::string>() : value.dump();
}

std::string Wrapped(const std::string& text, std::size_t indent) {
  constexpr std::size_t kColumns = 100;
  std::istringstream words(text);
  std::string wrapped;
  std::string line(indent, ' ');
  for (std::string word; words >> word;) {
    if (line.size() > indent && line.size() + 1 + word.size() > kColumns) {
      wrapped.append(line).append("\n");
      line.assign(indent, ' ');
    }
    line.append(line.size() > indent ? " " : "").append(word);
  }
  return wrapped.append(line).append("\n");
}

void PrintTable(const std::vector<std::vector<std::string>>& rows) {
  // A letter of several bytes is as wide as one of one.
  const auto widthOf = [](const std::string& text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char each) { return (each & 0xC0) != 0x80; }));
  };
  std::vector<std::size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], widthOf(row[i]));
  }
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      std::cout << row[i];
      if (i + 1 < row.size()) std::cout << std::string(widths[i] + 2 - widthOf(row[i]), ' ');
    }
    std::cout << "\n";
  }
}

void PrintJson(const client::Json& json) {
  std::cout << json.dump(2, ' ', false, client::Json::error_handler_t::replace) << "\n";
}

}  // namespace terminal
