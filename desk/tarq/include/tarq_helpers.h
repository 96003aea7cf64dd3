// The framework's small helper functions.
#pragma once

#include <windows.h>

// Splits a command line as received by the process: blanks separate, double quotes keep together.
// The vector's first entry stands for the program's name; a null pointer ends it.
void cmdline_to_argv(const wchar_t* commandLine, int* count, char*** vector);
void dealloc_argv(char** vector);

// The next option letter; '?' for an unknown one or a missing argument, nothing printed; -1 at the
// end or at the first word that is no option. The three state words (next word, next letter,
// reserved) start at 1 each. *argument points into the vector.
int tarq_getopt(int count, char** vector, const char* options, int* nextWord, int* nextLetter,
                int* reserved, char** argument);

// The flash temporary directory, without a separator at its end.
const char* getFlashTmpPath();

// Seconds since 1970-01-01, and the camera's local year, month, day, hour, minute, second of them.
DWORD unixtime();
void getloctime(DWORD time, int fields[6]);

// Reverses the four bytes.
DWORD dEndian(DWORD value);

// A new wide copy, to be freed with delete[]; null when there is no memory.
wchar_t* ASCIIToUnicode(const char* text);
