// System log and version entries.
#pragma once

#include <windows.h>

#include "tarq_value.h"

// What a program says of its own version.
struct SWrevstruct {
  const char* name;
  DWORD major;
  DWORD minor;
  DWORD revision;
  DWORD build;
  const char* date;            // "29-Aug-2013"
  const char* timeStamp;       // "Thu Aug 29 19:56:43 2013"
  const char* identification;  // builder, build host, release label
};

namespace TARQ {

class CSyslogIntf {
 public:
  // Appends one record to the camera's system log. The format makes the record's attributes; the
  // text, where there is one, its content.
  DWORD XMLLog(const char* name, DWORD priority, const char* type, const char* text,
               const char* format, ...) __attribute__((format(printf, 6, 7)));
};

class CVersionSupport {
 public:
  // 0 when the camera's version branch is there.
  DWORD Init();
  // Publishes the record below the version branch, at path.name.
  DWORD CreateVersionEntrySW(const CResourcePath& path, const SWrevstruct& version);
};

}  // namespace TARQ
