#include "coredll/text.h"

#include <utf8.h>
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <cwctype>
#include <iterator>

namespace desk {

std::string FormattedText(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

std::string ToUtf8(std::wstring_view text) {
  constexpr char32_t kReplacement = 0xFFFD;
  std::string bytes;
  for (const wchar_t character : text) {
    const auto code = static_cast<std::uint32_t>(character);
    // Half a pair of codes, or beyond the last one.
    const bool isText = code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
    utf8::append(isText ? code : kReplacement, std::back_inserter(bytes));
  }
  return bytes;
}

std::wstring ToWide(std::string_view text) {
  std::string sound;
  utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(sound));
  std::wstring wide;
  utf8::utf8to32(sound.begin(), sound.end(), std::back_inserter(wide));
  return wide;
}

}  // namespace desk

int WINAPI WideCharToMultiByte(UINT /*codePage*/, DWORD /*flags*/, LPCWSTR wide, int length,
                               char* text, int size, const char* /*defaultCharacter*/,
                               BOOL* /*usedDefault*/) {
  const std::size_t count =
      length < 0 ? wcslen(wide) + 1 : static_cast<std::size_t>(length);  // with the terminator
  const std::string bytes = desk::ToUtf8({wide, count});
  if (size <= 0 || bytes.size() > static_cast<std::size_t>(size)) return 0;
  std::copy(bytes.begin(), bytes.end(), text);
  return static_cast<int>(bytes.size());
}

int _wcsicmp(const wchar_t* first, const wchar_t* second) {
  for (;; ++first, ++second) {
    const auto a = static_cast<int>(towlower(static_cast<wint_t>(*first)));
    const auto b = static_cast<int>(towlower(static_cast<wint_t>(*second)));
    if (a != b || a == 0) return a - b;
  }
}
