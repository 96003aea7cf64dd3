// Wide text to and from UTF-8.
#pragma once

#include <string>
#include <string_view>

namespace desk {

std::string ToUtf8(std::wstring_view text);
// Malformed bytes become U+FFFD.
std::wstring ToWide(std::string_view text);

}  // namespace desk
