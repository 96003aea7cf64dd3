#include "tarq_helpers.h"

#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "coredll/machine.h"
#include "coredll/text.h"

namespace {

constexpr char kProgramName[] = "Diagor";

char* NewCopy(const std::string& text) {
  char* const copy = new char[text.size() + 1];
  memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

std::vector<std::string> SplitCommandLine(const std::string& line) {
  std::vector<std::string> words;
  bool quoted = false;
  bool inWord = false;
  for (const char c : line) {
    if (c == '"') {
      quoted = !quoted;
      if (!inWord) words.emplace_back();
      inWord = true;
    } else if (!quoted && (c == ' ' || c == '\t')) {
      inWord = false;
    } else {
      if (!inWord) words.emplace_back();
      inWord = true;
      words.back() += c;
    }
  }
  return words;
}

}  // namespace

void cmdline_to_argv(const wchar_t* commandLine, int* count, char*** vector) {
  const std::vector<std::string> words = SplitCommandLine(desk::ToUtf8(commandLine));
  char** const copies = new char*[words.size() + 2];
  copies[0] = NewCopy(kProgramName);
  for (std::size_t i = 0; i < words.size(); ++i) copies[i + 1] = NewCopy(words[i]);
  copies[words.size() + 1] = nullptr;
  *count = static_cast<int>(words.size() + 1);
  *vector = copies;
}

void dealloc_argv(char** vector) {
  for (char** word = vector; *word != nullptr; ++word) delete[] * word;
  delete[] vector;
}

int tarq_getopt(int count, char** vector, const char* options, int* nextWord, int* nextLetter,
                int* /*reserved*/, char** argument) {
  constexpr int kUnknown = '?';
  constexpr int kEnd = -1;
  if (*nextWord >= count) return kEnd;
  char* const word = vector[*nextWord];
  if (*nextLetter == 1) {
    if (word[0] != '-' || word[1] == '\0') return kEnd;
    if (strcmp(word, "--") == 0) {
      ++*nextWord;
      return kEnd;
    }
  }
  const char letter = word[*nextLetter];
  ++*nextLetter;
  const bool wordEnds = word[*nextLetter] == '\0';
  char* const rest = word + *nextLetter;
  const char* const option = letter == ':' ? nullptr : strchr(options, letter);
  const bool takesArgument = option != nullptr && option[1] == ':';
  if (wordEnds || takesArgument) {
    ++*nextWord;
    *nextLetter = 1;
  }
  if (option == nullptr) return kUnknown;
  if (!takesArgument) return letter;
  if (!wordEnds) {
    *argument = rest;
  } else if (*nextWord < count) {
    *argument = vector[*nextWord];
    ++*nextWord;
  } else {
    return kUnknown;
  }
  return letter;
}

const char* getFlashTmpPath() {
  return "/FlashFS/tmp";
}

DWORD unixtime() {
  return static_cast<DWORD>(desk::TheMachine().clock->UnixTime());
}

void getloctime(DWORD time, int fields[6]) {
  const desk::CalendarTime local = desk::TheMachine().clock->Local(time);
  fields[0] = local.year;
  fields[1] = local.month;
  fields[2] = local.day;
  fields[3] = local.hour;
  fields[4] = local.minute;
  fields[5] = local.second;
}

DWORD dEndian(DWORD value) {
  return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
}

wchar_t* ASCIIToUnicode(const char* text) {
  const std::wstring wide = desk::ToWide(text);
  auto* const copy = new (std::nothrow) wchar_t[wide.size() + 1];
  if (copy != nullptr) wmemcpy(copy, wide.c_str(), wide.size() + 1);
  return copy;
}
