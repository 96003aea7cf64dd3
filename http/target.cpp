#include "http/target.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace http {

namespace {

std::optional<std::string> PercentDecoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    unsigned byte = 0;
    if (i + 2 >= text.size()) return std::nullopt;
    const char* const digits = text.data() + i + 1;
    const auto parsed = std::from_chars(digits, digits + 2, byte, 16);
    if (parsed.ptr != digits + 2 || byte == 0) return std::nullopt;
    decoded += static_cast<char>(byte);
    i += 2;
  }
  return decoded;
}

// A host and perhaps a port, or an origin of them.
bool NamesThisMachine(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  std::string_view host = text;
  if (host.starts_with("http://")) host.remove_prefix(7);
  for (const std::string_view name : {"localhost", "127.0.0.1", "[::1]"}) {
    if (!host.starts_with(name)) continue;
    std::string_view port = host.substr(name.size());
    if (port.empty()) return true;
    if (port.front() != ':') continue;
    port.remove_prefix(1);
    return port.find_first_not_of("0123456789") == std::string_view::npos;
  }
  return false;
}

}  // namespace

std::optional<std::string_view> Target::QueryValue(std::string_view name) const {
  std::string_view rest = query;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('&'), rest.size());
    const std::string_view pair = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    const std::size_t equals = std::min(pair.find('='), pair.size());
    if (pair.substr(0, equals) == name) return pair.substr(std::min(equals + 1, pair.size()));
  }
  return std::nullopt;
}

std::optional<Target> ParseTarget(std::string_view text) {
  const std::size_t mark = std::min(text.find('?'), text.size());
  std::optional<std::string> path = PercentDecoded(text.substr(0, mark));
  if (!path) return std::nullopt;
  return Target{std::move(*path), std::string(text.substr(std::min(mark + 1, text.size())))};
}

std::optional<std::string> DecodedQuery(std::string_view text) {
  std::string blanks(text);
  std::replace(blanks.begin(), blanks.end(), '+', ' ');
  return PercentDecoded(blanks);
}

bool IsLocal(const Request& request) {
  return NamesThisMachine(request.host) &&
         (request.origin.empty() || NamesThisMachine(request.origin));
}

}  // namespace http
