// What a request's target and its headers of origin say.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "http/message.h"

namespace http {

struct Target {
  std::string path;   // decoded
  std::string query;  // as sent, without its mark

  // The value of "name=value" in the query; none when it is not there.
  std::optional<std::string_view> QueryValue(std::string_view name) const;
};

// None where an escape is malformed, or stands for a NUL.
std::optional<Target> ParseTarget(std::string_view text);

// A name or value of a query: "+" stands for a blank. None where an escape is malformed.
std::optional<std::string> DecodedQuery(std::string_view text);

// Whether the request comes from this machine: neither from a page elsewhere, nor by a name that
// somebody made point here.
bool IsLocal(const Request& request);

// Whether it comes from no page, or from one of the very server that it is for.
bool IsItsOwn(const Request& request, const std::string& scheme);

// Whether the request's host is one of those, with any port or none, and the request comes from a
// page of that very server, or from no page.
bool IsFor(const Request& request, const std::vector<std::string>& hosts);

// The value of a request's cookie; empty: it has none of that name.
std::string CookieOf(const Request& request, std::string_view name);

}  // namespace http
