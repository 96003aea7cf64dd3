#include "app/lib_create_version.h"

#include <string>

// Who built it, where and as which release; the build gives it.
#ifndef DIAGOR_BUILD_IDENTIFICATION
#define DIAGOR_BUILD_IDENTIFICATION "local build"
#endif

namespace {

// The compiler writes "Aug 29 2013"; a service sheet says "29-Aug-2013".
std::string BuildDate() {
  const std::string date = __DATE__;
  const std::string month = date.substr(0, 3);
  const std::string day = date[4] == ' ' ? "0" + date.substr(5, 1) : date.substr(4, 2);
  const std::string year = date.substr(7);
  return day + "-" + month + "-" + year;
}

}  // namespace

DWORD CLibCreateVersion::Init() {
  TARQ::CVersionSupport support;
  const DWORD status = support.Init();
  if (status != 0) return status;

  const std::string date = BuildDate();
  SWrevstruct version = {};
  version.name = "Diagor";
  version.major = 23;
  version.minor = 0;
  version.revision = 1;
  version.build = 1;
  version.date = date.c_str();
  version.timeStamp = __TIMESTAMP__;
  version.identification = DIAGOR_BUILD_IDENTIFICATION;
  support.CreateVersionEntrySW("sw", version);
  return 0;
}
