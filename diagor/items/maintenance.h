// The nodes that manage all results together: test.clearLog, test.clearResult, test.errcnt.
#pragma once

#include "app/framework.h"

// Written true: restarts the log file with a report header. Its constructor does so too when there
// is no log file yet.
class CResBitClearLog : public TARQ::CTrigResource {
 public:
  explicit CResBitClearLog(const TARQ::CResourcePath& path);
  DWORD SetImpl(TARQ::CResourceValue& value, bool& changed) override;
};

// Written true: every test item back to "Untested", without a test and without a record.
class CResBitClearResult : public TARQ::CTrigResource {
 public:
  explicit CResBitClearResult(const TARQ::CResourcePath& path);
  DWORD SetImpl(TARQ::CResourceValue& value, bool& changed) override;
};

// Read: how many test items hold a failure, counted anew each time.
class CResBitErrCnt : public TARQ::CServerResource {
 public:
  explicit CResBitErrCnt(const TARQ::CResourcePath& path);
  DWORD GetImpl(TARQ::CResourceValue& value) override;
};
