#include "items/res_bit_item.h"

#include <cstdio>
#include <cstring>

#include "items/resource_access.h"
#include "items/text.h"

CResBitItem::CResBitItem(const TARQ::CResourcePath& path, const char* description)
    : CServerResource(path, TARQ::CResourceValue(kUntested, 0), kNodeAttributes),
      mDescription(),
      mMessage() {
  CopyText(mDescription, description);
}

DWORD CResBitItem::SetImpl(TARQ::CResourceValue& value, bool& changed) {
  if (strcmp(value.GetAscii().AsChar(), kUntested) == 0) {
    return CServerResource::SetImpl(value, changed);
  }
  return RunTest(value);
}

void CResBitItem::EmptyMessage() {
  CopyText(mMessage, "");
}

DWORD CResBitItem::SetResultOK(const char* message) {
  StoreResult(kResultOK);
  LogResult(message);
  return 0;
}

DWORD CResBitItem::SetResultTested(const char* message) {
  StoreResult(kResultTested);
  LogResult(message);
  return 0;
}

DWORD CResBitItem::SetResultError(const char* message, DWORD code) {
  char result[16] = "Error   ";
  if (code != 0) snprintf(result, sizeof result, "E %04X  ", code & 0xFFFF);
  StoreResult(result);
  LogResult(message);
  return 1;
}

DWORD CResBitItem::SetResult(const Finding& finding) {
  return finding.code == 0 ? SetResultOK(finding.message.c_str())
                           : SetResultError(finding.message.c_str(), finding.code);
}

// Into the stored value itself: through Set it would run the test again.
void CResBitItem::StoreResult(const char* result) {
  mValue.Set(TARQ::CResourceValue(result, 0), false);
}
