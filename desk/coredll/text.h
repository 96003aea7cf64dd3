// Wide text to and from UTF-8.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace desk {

std::string ToUtf8(std::wstring_view text);
// Malformed bytes become U+FFFD.
std::wstring ToWide(std::string_view text);

// As vsnprintf writes it, however long.
std::string FormattedText(const char* format, std::va_list arguments);

}  // namespace desk
