// Fixed text buffers, always terminated.
#pragma once

#include <cstddef>
#include <cstring>

// Copies as much of the text as fits.
template <std::size_t Size>
void CopyText(char (&buffer)[Size], const char* text) {
  const std::size_t length = strnlen(text, Size - 1);
  memcpy(buffer, text, length);
  buffer[length] = '\0';
}

// Appends as much of the text as fits.
template <std::size_t Size>
void AppendText(char (&buffer)[Size], const char* text) {
  strncat(buffer, text, Size - 1 - strlen(buffer));
  buffer[Size - 1] = '\0';
}
