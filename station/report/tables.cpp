// CSV and JUnit.
#include <optional>

#include "client/camera_client.h"
#include "station/report/writers.h"
#include "station/store/text.h"

namespace station {

namespace {

// A spreadsheet computes a cell that begins so: an apostrophe makes it a text.
std::string Cell(const std::string& text) {
  const bool isFormula =
      !text.empty() && std::string("=+-@\t\r").find(text[0]) != std::string::npos;
  const bool isQuoted = text.find_first_of(",\"\r\n") != std::string::npos;
  std::string cell = isFormula ? "'" : "";
  for (const char each : text) cell.append(each == '"' ? 2 : 1, each);
  return isQuoted ? "\"" + cell + "\"" : cell;
}

std::string Cell(double number) {
  return client::Json(number).dump();
}
std::string Cell(std::int64_t number) {
  return std::to_string(number);
}
std::string Cell(const std::optional<double>& number) {
  return number ? Cell(*number) : std::string();
}

template <typename... Values>
void Row(std::ostream& out, const Values&... values) {
  const char* comma = "";
  ((out << comma << Cell(values), comma = ","), ...);
  out << "\r\n";
}

}  // namespace

void WriteAttempts(std::ostream& out, const RunReport& report) {
  out << "run,serial,number,item,round,retry,started_at,seconds,result,status,value,message,"
         "problem\r\n";
  for (const AttemptReport& each : report.attempts) {
    Row(out, report.run.id, report.run.serial, each.number, each.item, each.round, each.retry,
        TimeText(each.startedAt), each.seconds, ResultText(report, each), std::int64_t{each.status},
        each.value, each.message, each.problem);
  }
}

void WriteMeasurements(std::ostream& out, const RunReport& report) {
  out << "run,serial,number,item,name,unit,value,lower,upper\r\n";
  for (const AttemptReport& attempt : report.attempts) {
    for (const MeasurementRecord& each : attempt.measurements) {
      Row(out, report.run.id, report.run.serial, attempt.number, attempt.item, each.name, each.unit,
          each.value, each.lower, each.upper);
    }
  }
}

void WriteJunit(std::ostream& out, const RunReport& report) {
  client::Report results = ResultsOf(report);
  client::AddCauses(results);
  client::WriteJunit(out, results);
}

}  // namespace station
