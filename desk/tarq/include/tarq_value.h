// Values of resources, and the framework's text type.
#pragma once

#include <windows.h>

#include <mutex>
#include <string>
#include <variant>
#include <vector>

// Statuses of the framework. A task's own codes live in its facility and never meet these.
namespace TARQ {
constexpr DWORD kStatusNotFound = 0xA0020001;    // no such resource
constexpr DWORD kStatusRefused = 0xA0020002;     // the value does not fit the resource
constexpr DWORD kStatusUnreadable = 0xA0020004;  // the resource has no value, or cannot give it
constexpr DWORD kStatusInvalid = 0xA0020005;     // an argument that nothing can be done with
constexpr DWORD kStatusNoServer = 0xA0020006;    // another task's server was asked for
constexpr DWORD kStatusEmpty = 0xA0020007;       // no record is waiting
constexpr DWORD kStatusNoPort = 0xA0020008;      // the local port cannot be served
constexpr DWORD kStatusFailed = 0xA0020009;      // the call failed
}  // namespace TARQ

// A text, readable as ASCII (UTF-8 passes through unchanged) and as wide text.
class CText {
 public:
  CText() = default;
  explicit CText(std::string text) : mText(std::move(text)) {}

  void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));
  // Both stay valid until the text changes.
  const char* AsChar() const { return mText.c_str(); }
  const wchar_t* AsWChar() const;
  bool IsEmpty() const { return mText.empty(); }

 private:
  std::string mText;
  mutable std::wstring mWide;
};

namespace TARQ {

class CServerResource;

enum class ValueType : DWORD {
  Bool = 0,
  Int = 1,  // LONG and int have one width
  Double = 3,
  Ascii = 4,
  Wide = 5,
  Enumerated = 6,  // a text limited to a list
};

// One value of a resource. It may be read on one thread while another stores it.
class CResourceValue {
 public:
  // The zero of its type: false, 0, 0.0 or the empty text.
  explicit CResourceValue(ValueType type);
  explicit CResourceValue(bool value, DWORD hint = 0);
  explicit CResourceValue(LONG value, DWORD hint = 0);
#ifdef _WIN32  // LONG is a long there, and int a type of its own
  explicit CResourceValue(int value, DWORD hint = 0) : CResourceValue(LONG{value}, hint) {}
#endif
  explicit CResourceValue(const char* text, DWORD hint = 0);
  explicit CResourceValue(const wchar_t* text, DWORD hint = 0);
  // An enumerated text: the list ends with a null pointer. The flag says whether a client may
  // extend the list; here it never may.
  CResourceValue(const char* text, const char* const* list, DWORD hint, bool extensible);

  CResourceValue(const CResourceValue& other);
  CResourceValue& operator=(const CResourceValue& other);
  ~CResourceValue() = default;

  ValueType Type() const;
  // The text of a text value of any kind; the empty text for every other value.
  CText GetAscii() const;
  // The value written out as text, whatever its type; unused flag: with units.
  CText GetAsAscii(bool withUnit) const;
  // True for a true bool, a number that is not 0, the texts "true" and "1".
  bool GetBool() const;
  // Numbers toward zero, texts as far as they read as a decimal number; else 0.
  LONG GetInt() const;
  double GetDouble() const;
  // Characters of a text, bytes of another value.
  DWORD GetLength() const;

  // Stores the other value. keepType: in this value's own type (and list), refused with a status,
  // and nothing changed, when it does not convert; otherwise its type comes along.
  DWORD Set(const CResourceValue& value, bool keepType);
  DWORD Set(LONG value);
  DWORD Set(double value);

  // 0 when type and content are the same.
  int Compare(const CResourceValue& other) const;
  // The texts that an enumerated text allows; else none.
  std::vector<std::string> GetList() const;

 private:
  friend class CServerResource;
  struct EnumeratedText {
    std::string text;
    std::vector<std::string> list;
    bool operator==(const EnumeratedText&) const = default;
  };
  using Content = std::variant<bool, LONG, double, std::string, std::wstring, EnumeratedText>;

  Content Copy() const;
  void Store(Content&& content);
  bool Replace(Content&& content);
  static ValueType TypeOf(const Content& content);
  static bool TextOf(const Content& content, std::string& text);
  static std::string Written(const Content& content);
  static bool ReadsAsTrue(const Content& content);
  static double NumberOf(const Content& content);
  static bool Convert(const Content& from, const Content& like, Content& result);

  mutable std::mutex mLock;
  Content mContent;
  const CServerResource* mOwner = nullptr;  // the resource that is told of changes
};

// The name of a resource: components separated by dots; a leading dot changes nothing.
class CResourcePath {
 public:
  CResourcePath(const char* text) : mText(text) {}  // NOLINT(google-explicit-constructor)
  explicit CResourcePath(std::string text) : mText(std::move(text)) {}
  const std::string& AsString() const { return mText; }

 private:
  std::string mText;
};

}  // namespace TARQ
