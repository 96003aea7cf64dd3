// How texts, values and JSON are printed, and what a terminal makes of them.
#pragma once

#include <string>
#include <vector>

#include "client/camera_client.h"

namespace terminal {

// Of standard output.
bool IsTerminal();
bool HasColours();

// A text of the camera as standard output and standard error take it: as it is, with its control
// characters as escapes on a terminal.
std::string Shown(const std::string& text);
std::string ShownAsError(const std::string& text);

// A line on standard error, behind the program's name.
void Complain(const std::string& text);

// A text as it is, anything else as JSON; nothing of null.
std::string ValueText(const client::Json& value);

// A text in lines of at most a hundred columns, each behind so many blanks.
std::string Wrapped(const std::string& text, std::size_t indent);

// Columns as wide as what stands in them; the first row is the heading.
void PrintTable(const std::vector<std::vector<std::string>>& rows);

void PrintJson(const client::Json& json);

}  // namespace terminal
