// The log file of the tests: where it is, what time it says, how a text gets into it.
#pragma once

#include <string>

struct LocalTime {
  int year;
  int month;
  int day;
  int hour;
  int minute;
  int second;
};

LocalTime ReadLocalTime();

bool BitLogExists();
// Each opens the file, writes the text in one piece and closes it: records of several threads do
// not mix, and a killed process leaves at most the last one torn. A file that cannot be opened is
// left alone, silently: a test never fails for its log.
void AppendToBitLog(const std::string& text);
void RestartBitLog(const std::string& text);
