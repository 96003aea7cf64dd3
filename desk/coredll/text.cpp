#include "coredll/text.h"

#include <cstdio>

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <cwctype>

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

namespace {

constexpr wchar_t kReplacement = 0xFFFD;

bool IsScalar(unsigned long code) {
  return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
}

// The code that starts at text[0]; length 0 when it is malformed.
unsigned long DecodeOne(std::string_view text, std::size_t& length) {
  const auto lead = static_cast<unsigned char>(text[0]);
  length = lead < 0x80         ? 1
           : lead >> 5 == 0x6  ? 2
           : lead >> 4 == 0xE  ? 3
           : lead >> 3 == 0x1E ? 4
                               : 0;
  if (length == 0 || length > text.size()) {
    length = 0;
    return 0;
  }
  unsigned long code = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if (next >> 6 != 0x2) {
      length = 0;
      return 0;
    }
    code = code << 6 | (next & 0x3FU);
  }
  static constexpr unsigned long kShortest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (code < kShortest[length] || !IsScalar(code)) length = 0;
  return code;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::string bytes;
  for (const wchar_t character : text) {
    unsigned long code = static_cast<std::uint32_t>(character);
    if (!IsScalar(code)) code = kReplacement;
    if (code < 0x80) {
      bytes += static_cast<char>(code);
      continue;
    }
    const int continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    const unsigned lead = continuations == 1 ? 0xC0 : continuations == 2 ? 0xE0 : 0xF0;
    bytes += static_cast<char>(lead | code >> (6 * continuations));
    for (int i = continuations - 1; i >= 0; --i) {
      bytes += static_cast<char>(0x80 | (code >> (6 * i) & 0x3F));
    }
  }
  return bytes;
}

std::wstring ToWide(std::string_view text) {
  std::wstring wide;
  while (!text.empty()) {
    std::size_t length = 0;
    const unsigned long code = DecodeOne(text, length);
    wide += length == 0 ? kReplacement : static_cast<wchar_t>(code);
    text.remove_prefix(length == 0 ? 1 : length);
  }
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
