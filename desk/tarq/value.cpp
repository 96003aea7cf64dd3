#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <limits>
#include <optional>
#include <string_view>

#include "common_dll.h"
#include "coredll/text.h"
#include "tarq/node_access.h"

void CText::Format(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  mText = desk::FormattedText(format, arguments);
  va_end(arguments);
}

const wchar_t* CText::AsWChar() const {
  mWide = desk::ToWide(mText);
  return mWide.c_str();
}

namespace TARQ {

namespace {

template <typename... Handlers>
struct Overloaded : Handlers... {
  using Handlers::operator()...;
};
template <typename... Handlers>
Overloaded(Handlers...) -> Overloaded<Handlers...>;

std::optional<double> ParseNumber(std::string_view text) {
  double number = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool whole = parsed.ec == std::errc() && parsed.ptr == text.data() + text.size();
  return whole && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<bool> ParseBool(std::string_view text) {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  return std::nullopt;
}

bool FitsLong(double number) {
  return number >= std::numeric_limits<LONG>::min() && number <= std::numeric_limits<LONG>::max();
}

LONG TowardZero(double number) {
  if (std::isnan(number)) return 0;
  return static_cast<LONG>(std::clamp(std::trunc(number),
                                      static_cast<double>(std::numeric_limits<LONG>::min()),
                                      static_cast<double>(std::numeric_limits<LONG>::max())));
}

}  // namespace

CResourceValue::CResourceValue(ValueType type) {
  switch (type) {
    case ValueType::Bool:
      mContent = false;
      break;
    case ValueType::Int:
      mContent = LONG{0};
      break;
    case ValueType::Double:
      mContent = 0.0;
      break;
    case ValueType::Ascii:
      mContent = std::string();
      break;
    case ValueType::Wide:
      mContent = std::wstring();
      break;
    case ValueType::Enumerated:
      mContent = EnumeratedText{};
      break;
  }
}

CResourceValue::CResourceValue(bool value, DWORD /*hint*/) : mContent(value) {}

CResourceValue::CResourceValue(LONG value, DWORD /*hint*/) : mContent(value) {}

CResourceValue::CResourceValue(const char* text, DWORD /*hint*/) : mContent(std::string(text)) {}

CResourceValue::CResourceValue(const wchar_t* text, DWORD /*hint*/)
    : mContent(std::wstring(text)) {}

CResourceValue::CResourceValue(const char* text, const char* const* list, DWORD /*hint*/,
                               bool /*extensible*/) {
  EnumeratedText enumerated{text, {}};
  for (; *list != nullptr; ++list) enumerated.list.emplace_back(*list);
  mContent = std::move(enumerated);
}

CResourceValue::CResourceValue(const CResourceValue& other) : mContent(other.Copy()) {}

CResourceValue& CResourceValue::operator=(const CResourceValue& other) {
  if (this != &other) Store(other.Copy());
  return *this;
}

CResourceValue::Content CResourceValue::Copy() const {
  const std::lock_guard lock(mLock);
  return mContent;
}

// Whether it is another one, where somebody is told of it. Under the lock.
bool CResourceValue::Replace(Content&& content) {
  const bool changed = mOwner != nullptr && mContent != content;
  mContent = std::move(content);
  return changed;
}

void CResourceValue::Store(Content&& content) {
  bool changed = false;
  {
    const std::lock_guard lock(mLock);
    changed = Replace(std::move(content));
  }
  if (changed) NodeAccess::ValueChanged(*mOwner, *this);
}

ValueType CResourceValue::TypeOf(const Content& content) {
  static constexpr ValueType kTypes[] = {ValueType::Bool,  ValueType::Int,  ValueType::Double,
                                         ValueType::Ascii, ValueType::Wide, ValueType::Enumerated};
  return kTypes[content.index()];
}

// False when the value is no text.
bool CResourceValue::TextOf(const Content& content, std::string& text) {
  return std::visit(Overloaded{[&](const std::string& ascii) {
                                 text = ascii;
                                 return true;
                               },
                               [&](const std::wstring& wide) {
                                 text = desk::ToUtf8(wide);
                                 return true;
                               },
                               [&](const EnumeratedText& enumerated) {
                                 text = enumerated.text;
                                 return true;
                               },
                               [](const auto&) { return false; }},
                    content);
}

ValueType CResourceValue::Type() const {
  const std::lock_guard lock(mLock);
  return TypeOf(mContent);
}

CText CResourceValue::GetAscii() const {
  std::string text;
  TextOf(Copy(), text);
  return CText(std::move(text));
}

CText CResourceValue::GetAsAscii(bool /*withUnit*/) const {
  return CText(Written(Copy()));
}

std::string CResourceValue::Written(const Content& content) {
  std::string text;
  if (TextOf(content, text)) return text;
  if (const auto* const truth = std::get_if<bool>(&content)) return *truth ? "true" : "false";
  if (const auto* const number = std::get_if<LONG>(&content)) return std::to_string(*number);
  char digits[32] = {};
  const auto end = std::to_chars(digits, digits + sizeof digits, std::get<double>(content)).ptr;
  return {digits, end};
}

bool CResourceValue::ReadsAsTrue(const Content& content) {
  std::string text;
  if (TextOf(content, text)) return ParseBool(text).value_or(false);
  return NumberOf(content) != 0;
}

double CResourceValue::NumberOf(const Content& content) {
  if (const auto* const truth = std::get_if<bool>(&content)) return *truth ? 1 : 0;
  if (const auto* const whole = std::get_if<LONG>(&content)) return *whole;
  if (const auto* const number = std::get_if<double>(&content)) return *number;
  std::string text;
  TextOf(content, text);
  double number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

bool CResourceValue::GetBool() const {
  return ReadsAsTrue(Copy());
}

LONG CResourceValue::GetInt() const {
  return TowardZero(NumberOf(Copy()));
}

double CResourceValue::GetDouble() const {
  return NumberOf(Copy());
}

DWORD CResourceValue::GetLength() const {
  const Content content = Copy();
  std::string text;
  if (TextOf(content, text)) return static_cast<DWORD>(text.size());
  return std::holds_alternative<double>(content) ? sizeof(double) : sizeof(LONG);
}

// The content of `from` in the type (and within the list) of `like`.
bool CResourceValue::Convert(const Content& from, const Content& like, Content& result) {
  std::string text;
  const bool isText = TextOf(from, text);
  const std::optional<double> number = isText ? ParseNumber(text) : NumberOf(from);
  switch (TypeOf(like)) {
    case ValueType::Bool: {
      const std::optional<bool> truth = isText ? ParseBool(text) : NumberOf(from) != 0;
      if (truth) result = *truth;
      return truth.has_value();
    }
    case ValueType::Int:
      if (!number || std::trunc(*number) != *number || !FitsLong(*number)) return false;
      result = static_cast<LONG>(*number);
      return true;
    case ValueType::Double:
      if (number) result = *number;
      return number.has_value();
    case ValueType::Ascii:
      result = Written(from);
      return true;
    case ValueType::Wide:
      result = desk::ToWide(Written(from));
      return true;
    case ValueType::Enumerated: {
      const auto& list = std::get<EnumeratedText>(like).list;
      if (!isText || std::find(list.begin(), list.end(), text) == list.end()) return false;
      result = EnumeratedText{text, list};
      return true;
    }
  }
  return false;
}

DWORD CResourceValue::Set(const CResourceValue& value, bool keepType) {
  if (!keepType) {
    Store(value.Copy());
    return 0;
  }
  const Content content = value.Copy();
  bool changed = false;
  {
    const std::lock_guard lock(mLock);
    Content converted;
    if (!Convert(content, mContent, converted)) return kStatusRefused;
    changed = Replace(std::move(converted));
  }
  if (changed) NodeAccess::ValueChanged(*mOwner, *this);
  return 0;
}

DWORD CResourceValue::Set(LONG value) {
  Store(value);
  return 0;
}

DWORD CResourceValue::Set(double value) {
  Store(value);
  return 0;
}

int CResourceValue::Compare(const CResourceValue& other) const {
  return Copy() == other.Copy() ? 0 : 1;
}

std::vector<std::string> CResourceValue::GetList() const {
  const Content content = Copy();
  const auto* const enumerated = std::get_if<EnumeratedText>(&content);
  return enumerated != nullptr ? enumerated->list : std::vector<std::string>();
}

}  // namespace TARQ
