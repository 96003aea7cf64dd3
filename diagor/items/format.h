// printf formats into a text of any length.
#pragma once

#include <string>

std::string FormatText(const char* format, ...) __attribute__((format(printf, 1, 2)));
