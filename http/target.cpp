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

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

// "name", or "name:22180".
bool Names(std::string_view host, std::string_view name) {
  if (!host.starts_with(name)) return false;
  std::string_view port = host.substr(name.size());
  if (port.empty()) return true;
  if (port.front() != ':') return false;
  port.remove_prefix(1);
  return port.find_first_not_of("0123456789") == std::string_view::npos;
}

// A host and perhaps a port, or an origin of them.
bool NamesThisMachine(const std::string& text) {
  const std::string lower = Lower(text);
  std::string_view host = lower;
  if (host.starts_with("http://")) host.remove_prefix(7);
  constexpr std::string_view kNames[] = {"localhost", "127.0.0.1", "[::1]"};
  return std::any_of(std::begin(kNames), std::end(kNames),
                     [host](std::string_view name) { return Names(host, name); });
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

bool IsItsOwn(const Request& request, const std::string& scheme) {
  return request.origin.empty() || Lower(request.origin) == scheme + "://" + Lower(request.host);
}

bool IsLocal(const Request& request) {
  return NamesThisMachine(request.host) &&
         (request.origin.empty() || NamesThisMachine(request.origin));
}

bool IsFor(const Request& request, const std::vector<std::string>& hosts) {
  const std::string host = Lower(request.host);
  const bool isOurs = std::any_of(hosts.begin(), hosts.end(), [&host](const std::string& name) {
    return Names(host, Lower(name));
  });
  return isOurs && IsItsOwn(request, "https");
}

std::string CookieOf(const Request& request, std::string_view name) {
  std::string_view rest = request.cookie;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    std::string_view pair = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    pair.remove_prefix(std::min(pair.find_first_not_of(' '), pair.size()));
    const std::size_t equals = std::min(pair.find('='), pair.size());
    if (pair.substr(0, equals) == name) {
      return std::string(pair.substr(std::min(equals + 1, pair.size())));
    }
  }
  return {};
}

}  // namespace http
