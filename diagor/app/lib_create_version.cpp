#include "app/lib_create_version.h"

#include <chrono>
#include <string>

// Who built it, where and as which release; the build gives it.
#ifndef DIAGOR_BUILD_IDENTIFICATION
#define DIAGOR_BUILD_IDENTIFICATION "local build"
#endif

namespace {

struct BuildDay {
  std::string month;  // "Aug"
  std::string day;    // "29", " 9"
  std::string year;
};

// The compiler writes "Aug 29 2013".
BuildDay CompilersDay() {
  const std::string date = __DATE__;
  return {date.substr(0, 3), date.substr(4, 2), date.substr(7)};
}

// As a service sheet says it: "29-Aug-2013".
std::string BuildDate() {
  const BuildDay built = CompilersDay();
  std::string day = built.day;
  if (day[0] == ' ') day[0] = '0';
  return day + "-" + built.month + "-" + built.year;
}

// "Thu Aug 29 19:56:43 2013", of the same moment.
std::string BuildTimeStamp() {
  const BuildDay built = CompilersDay();
  const std::string months = "JanFebMarAprMayJunJulAugSepOctNovDec";
  const auto month = static_cast<unsigned>(months.find(built.month) / 3 + 1);
  const std::chrono::sys_days day =
      std::chrono::year(std::stoi(built.year)) / std::chrono::month(month) / std::stoi(built.day);
  static constexpr const char* kWeekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  const std::string weekday = kWeekdays[std::chrono::weekday(day).c_encoding()];
  return weekday + " " + built.month + " " + built.day + " " + __TIME__ + " " + built.year;
}

}  // namespace

DWORD CLibCreateVersion::Init() {
  TARQ::CVersionSupport support;
  const DWORD status = support.Init();
  if (status != 0) return status;

  const std::string date = BuildDate();
  const std::string timeStamp = BuildTimeStamp();
  SWrevstruct version = {};
  version.name = "Diagor";
  version.major = 23;
  version.minor = 0;
  version.revision = 1;
  version.build = 1;
  version.date = date.c_str();
  version.timeStamp = timeStamp.c_str();
  version.identification = DIAGOR_BUILD_IDENTIFICATION;
  support.CreateVersionEntrySW("sw", version);
  return 0;
}
