// One record per stored result: who tested what, where, on which camera, with which outcome.
#include <cstring>
#include <string>

#include "items/bit_log_file.h"
#include "items/format.h"
#include "items/res_bit_item.h"
#include "items/resource_access.h"
#include "items/text.h"

namespace {

// What clients said of the test run. A missing node leaves a blank.
struct RunDescription {
  TARQ::CResourceValue tester{" ", 0};
  TARQ::CResourceValue env{" ", 0};
  TARQ::CResourceValue article{" ", 0};
  TARQ::CResourceValue serial{" ", 0};
  TARQ::CResourceValue category{" ", 0};
  TARQ::CResourceValue format{false, 0};
};

RunDescription ReadDescription(TARQ::CResourceTree* tree) {
  RunDescription run;
  const OpenedResource description(tree, "test.description");
  OpenedResource(description, "tester").ReadInto(run.tester);
  OpenedResource(description, "env").ReadInto(run.env);
  OpenedResource(description, "article").ReadInto(run.article);
  OpenedResource(description, "serial").ReadInto(run.serial);
  OpenedResource(description, "category").ReadInto(run.category);
  OpenedResource(description, "format").ReadInto(run.format);
  return run;
}

std::string FileLine(const RunDescription& run, const char* item, const char* result,
                     const char* message) {
  const LocalTime now = ReadLocalTime();
  return FormatText("%02d:%02d:%02d;%04d-%02d-%02d;", now.hour, now.minute, now.second, now.year,
                    now.month, now.day) +
         FormatText("%-7s;%-19s;%-10s;%-8s;%-19s;", run.tester.GetAscii().AsChar(),
                    run.env.GetAscii().AsChar(), run.article.GetAscii().AsChar(),
                    run.serial.GetAscii().AsChar(), run.category.GetAscii().AsChar()) +
         FormatText("%-13s;%-7s;%s", item, result, message) + "\n";
}

}  // namespace

void CResBitItem::LogResult(const char* message) {
  const Trees trees;
  if (trees.task == nullptr) return;

  AppendText(mMessage, message);

  const RunDescription run = ReadDescription(trees.task);
  const CText result = mValue.GetAscii();
  if (strcmp(run.format.GetAscii().AsChar(), "XML") == 0) {
    TARQ::CSyslogIntf log;
    log.XMLLog("bitLog", 1, "Test", nullptr, "id=\"%s\" data=\"%s:%s\" datatype=\"%s\"",
               mDescription, result.AsChar(), mMessage, "string");
  } else {
    AppendToBitLog(FileLine(run, mDescription, result.AsChar(), mMessage));
  }
}
