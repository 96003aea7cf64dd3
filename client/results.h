// What a run found, as a person or a program reads it. Times are the camera's, codes and messages
// as the camera stored them, and every attempt is there: a later pass hides no earlier failure.
#pragma once

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "client/run_plan.h"

namespace client {

struct Report {
  std::string camera;  // its name
  std::string serial;
  std::vector<Attempt> attempts;
  bool isWhole = false;  // false: the run ended before its end
};

// Gives each failure the causes that are known for it.
void AddCauses(Report& report);

// A terminal obeys control characters: there a text of the camera has escapes (\n, \x1B) in their
// place, also in place of a line's end.
std::string Printable(std::string_view text);

enum class TableStyle { Plain, Terminal, Coloured };  // the last is for a terminal too
// showsCauses: a failure has a line with its causes below it.
void WriteTable(std::ostream& out, const Report& report, TableStyle style, bool showsCauses);
void WriteJson(std::ostream& out, const Report& report);
// The XML that build and test servers collect, a testcase an attempt: its status is the stored
// result; a failure has it as its type; an error is an attempt without a result.
void WriteJunit(std::ostream& out, const Report& report);
// Test Anything Protocol, version 13, with a YAML block an attempt.
void WriteTap(std::ostream& out, const Report& report);

// Attempts whose test failed, and those that have no result.
std::size_t CountFailed(const std::vector<Attempt>& attempts);
std::size_t CountWithoutResult(const std::vector<Attempt>& attempts);

}  // namespace client
